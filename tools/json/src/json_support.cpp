#include <thriftyol/json/json_support.h>

#include <cmath>
#include <limits>

namespace yol {
namespace json {

JsonError::JsonError(std::string path, std::string problem)
    : std::runtime_error(path + ": " + problem),
      path_(std::move(path)),
      problem_(std::move(problem)) {}

void Path::fail(const std::string& problem) const {
  throw JsonError(text_, problem);
}

PathStep::PathStep(Path& path, const char* field)
    : path_(path), size_(path.text_.size()) {
  path_.text_ += '.';
  path_.text_ += field;
}

PathStep::PathStep(Path& path, std::size_t index)
    : path_(path), size_(path.text_.size()) {
  path_.text_ += '[';
  path_.text_ += std::to_string(index);
  path_.text_ += ']';
}

namespace {

constexpr const char* kNaN = "NaN";
constexpr const char* kInfinity = "Infinity";
constexpr const char* kMinusInfinity = "-Infinity";

// The integer in `j` if it is one and fits an i32; fails otherwise with
// `expected` as the problem for values that are no integer at all.
std::int32_t readInteger(const nlohmann::json& j, Path& path,
                         const std::string& expected) {
  if (j.is_number_unsigned()) {
    const auto value = j.get<std::uint64_t>();
    if (value > static_cast<std::uint64_t>(std::numeric_limits<std::int32_t>::max())) {
      path.fail(std::to_string(value) + " is out of range for i32");
    }
    return static_cast<std::int32_t>(value);
  }
  if (j.is_number_integer()) {
    const auto value = j.get<std::int64_t>();
    if (value < std::numeric_limits<std::int32_t>::min() ||
        value > std::numeric_limits<std::int32_t>::max()) {
      path.fail(std::to_string(value) + " is out of range for i32");
    }
    return static_cast<std::int32_t>(value);
  }
  path.fail(expected);
}

}  // namespace

void Codec<bool>::read(const nlohmann::json& j, bool& out, Path& path) {
  if (!j.is_boolean()) {
    path.fail("expected true or false");
  }
  out = j.get<bool>();
}

void Codec<std::int32_t>::read(const nlohmann::json& j, std::int32_t& out,
                               Path& path) {
  out = readInteger(j, path, "expected an integer");
}

void Codec<double>::read(const nlohmann::json& j, double& out, Path& path) {
  if (j.is_number()) {
    out = j.get<double>();
    return;
  }
  if (j.is_string()) {
    const auto& text = j.get_ref<const std::string&>();
    if (text == kNaN) {
      out = std::numeric_limits<double>::quiet_NaN();
      return;
    }
    if (text == kInfinity) {
      out = std::numeric_limits<double>::infinity();
      return;
    }
    if (text == kMinusInfinity) {
      out = -std::numeric_limits<double>::infinity();
      return;
    }
  }
  path.fail("expected a number");
}

nlohmann::json Codec<double>::write(double value) {
  if (std::isnan(value)) {
    return kNaN;
  }
  if (std::isinf(value)) {
    return value > 0 ? kInfinity : kMinusInfinity;
  }
  return value;
}

void Codec<std::string>::read(const nlohmann::json& j, std::string& out,
                              Path& path) {
  if (!j.is_string()) {
    path.fail("expected a string");
  }
  out = j.get_ref<const std::string&>();
}

namespace detail {

std::int32_t readEnum(const nlohmann::json& j, const char* enumName,
                      const EnumMember* members, std::size_t count,
                      Path& path) {
  if (j.is_string()) {
    const auto& name = j.get_ref<const std::string&>();
    for (std::size_t i = 0; i < count; ++i) {
      if (name == members[i].name) {
        return members[i].value;
      }
    }
    path.fail("'" + name + "' is not a member of " + enumName);
  }
  return readInteger(j, path,
                     std::string("expected an integer or a member of ") + enumName);
}

nlohmann::json writeEnum(std::int32_t value, const EnumMember* members,
                         std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    if (members[i].value == value) {
      return members[i].name;
    }
  }
  return value;
}

const nlohmann::json::object_t& recordObject(const nlohmann::json& j,
                                             Path& path) {
  if (!j.is_object()) {
    path.fail("expected an object");
  }
  return j.get_ref<const nlohmann::json::object_t&>();
}

void unknownKey(const Path& path, const std::string& key) {
  path.fail("unknown key '" + key + "'");
}

void missingField(const Path& path, const char* name) {
  path.fail(std::string("missing required field '") + name + "'");
}

}  // namespace detail
}  // namespace json
}  // namespace yol
