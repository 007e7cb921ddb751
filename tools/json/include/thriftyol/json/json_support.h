// The JSON mapping's building blocks: the error it raises, the path of the
// value being read, and the codecs of the scalar types and of lists. The
// generated header <thriftyol/json/yol_json.h> adds a codec for every record
// and enumeration of the contract, and nlohmann's to_json/from_json hooks.
//
// The mapping:
//   bool        true / false
//   i32         an integer in [-2147483648, 2147483647]
//   double      a number; NaN and the infinities as "NaN", "Infinity" and
//               "-Infinity" (JSON has no literal for them)
//   string      a string (the bytes as they are)
//   enumeration the member's name; read from a name or from any i32 number;
//               a value that has no member is written as its number
//   record      an object keyed by field names; an unset optional field is
//               left out; required and default fields are always written
//   list        an array
// A read starts from a default-constructed value and raises exactly the
// presence flags of the keys present; a missing required field, an unknown
// key, a null or a value of the wrong JSON type is an error.
#ifndef THRIFTYOL_JSON_JSON_SUPPORT_H
#define THRIFTYOL_JSON_JSON_SUPPORT_H

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

namespace yol {
namespace json {

// A value that does not fit the mapping. what() is "<path>: <problem>", e.g.
// "stFileInfo.association.type: expected an integer or a member of
// eFTAssociationType".
class JsonError : public std::runtime_error {
 public:
  JsonError(std::string path, std::string problem);

  // Where: the root (a record's name, or whatever the caller named it)
  // followed by ".field" and "[index]" steps.
  const std::string& path() const noexcept { return path_; }
  // What: the problem alone, without the path.
  const std::string& problem() const noexcept { return problem_; }

 private:
  std::string path_;
  std::string problem_;
};

// The path of the value being read, grown and shrunk as the reader descends.
class Path {
 public:
  explicit Path(std::string root) : text_(std::move(root)) {}

  const std::string& text() const noexcept { return text_; }

  // Throws JsonError for the value at this path.
  [[noreturn]] void fail(const std::string& problem) const;

 private:
  friend class PathStep;
  std::string text_;
};

// One step down a Path (".name" or "[index]") for the lifetime of the object.
class PathStep {
 public:
  PathStep(Path& path, const char* field);
  PathStep(Path& path, std::size_t index);
  ~PathStep() { path_.text_.resize(size_); }

  PathStep(const PathStep&) = delete;
  PathStep& operator=(const PathStep&) = delete;

 private:
  Path& path_;
  std::size_t size_;
};

// Codec<T>::read(json, T&, Path&) replaces the value with the one the JSON
// describes; Codec<T>::write(const T&) gives the JSON of a value.
template <class T>
struct Codec;

template <>
struct Codec<bool> {
  static void read(const nlohmann::json& j, bool& out, Path& path);
  static nlohmann::json write(bool value) { return value; }
};

template <>
struct Codec<std::int32_t> {
  static void read(const nlohmann::json& j, std::int32_t& out, Path& path);
  static nlohmann::json write(std::int32_t value) { return value; }
};

template <>
struct Codec<double> {
  static void read(const nlohmann::json& j, double& out, Path& path);
  static nlohmann::json write(double value);
};

template <>
struct Codec<std::string> {
  static void read(const nlohmann::json& j, std::string& out, Path& path);
  static nlohmann::json write(const std::string& value) { return value; }
};

template <class T>
struct Codec<std::vector<T>> {
  static void read(const nlohmann::json& j, std::vector<T>& out, Path& path) {
    if (!j.is_array()) {
      path.fail("expected an array");
    }
    out.clear();
    out.reserve(j.size());
    for (std::size_t i = 0; i < j.size(); ++i) {
      PathStep step(path, i);
      T element{};
      Codec<T>::read(j[i], element, path);
      out.push_back(std::move(element));
    }
  }

  static nlohmann::json write(const std::vector<T>& list) {
    nlohmann::json j = nlohmann::json::array();
    for (const T& element : list) {
      j.push_back(Codec<T>::write(element));
    }
    return j;
  }
};

// Reads `value` from `j`; errors name `root` as the start of their path.
template <class T>
void fromJson(const nlohmann::json& j, T& value, std::string root) {
  Path path(std::move(root));
  Codec<T>::read(j, value, path);
}

template <class T>
T fromJson(const nlohmann::json& j, std::string root) {
  T value{};
  fromJson(j, value, std::move(root));
  return value;
}

template <class T>
nlohmann::json toJson(const T& value) {
  return Codec<T>::write(value);
}

// The pieces that the generated codecs are made of.
namespace detail {

struct EnumMember {
  const char* name;
  std::int32_t value;
};

// An enumeration value from a member name or an i32 number.
std::int32_t readEnum(const nlohmann::json& j, const char* enumName,
                      const EnumMember* members, std::size_t count, Path& path);
// The member's name, or the number when no member has that value.
nlohmann::json writeEnum(std::int32_t value, const EnumMember* members,
                         std::size_t count);

// The object that a record is read from, or a JsonError.
const nlohmann::json::object_t& recordObject(const nlohmann::json& j,
                                             Path& path);

template <class T>
void readField(const nlohmann::json& j, T& out, Path& path, const char* name) {
  PathStep step(path, name);
  Codec<T>::read(j, out, path);
}

[[noreturn]] void unknownKey(const Path& path, const std::string& key);
[[noreturn]] void missingField(const Path& path, const char* name);

}  // namespace detail
}  // namespace json
}  // namespace yol

#endif  // THRIFTYOL_JSON_JSON_SUPPORT_H
