#include "fixture.h"

#include <fstream>
#include <set>
#include <stdexcept>
#include <utility>

namespace interop {

using apache::thrift::protocol::TType;

namespace {

bool isRecord(const json& type) { return type.is_object() && type.contains("record"); }
bool isList(const json& type) { return type.is_object() && type.contains("list"); }
bool isEnum(const json& type) { return type.is_object() && type.contains("enum"); }

TType wireType(const json& type) {
  if (isRecord(type)) return apache::thrift::protocol::T_STRUCT;
  if (isList(type)) return apache::thrift::protocol::T_LIST;
  if (isEnum(type) || type == "i32") return apache::thrift::protocol::T_I32;
  if (type == "bool") return apache::thrift::protocol::T_BOOL;
  if (type == "double") return apache::thrift::protocol::T_DOUBLE;
  if (type == "string") return apache::thrift::protocol::T_STRING;
  throw std::logic_error("fixture: unknown type " + type.dump());
}

}  // namespace

Fixture::Fixture(json doc) : doc_(std::move(doc)) {
  const json& list = doc_.at("calls");
  for (std::size_t i = 0; i < list.size(); ++i) {
    callIndex_[list[i].at("name").get<std::string>()] = i;
  }
}

Fixture Fixture::load(const std::string& path) {
  std::ifstream in(path);
  if (!in) {
    throw std::runtime_error("cannot open the fixture " + path);
  }
  try {
    return Fixture(json::parse(in));
  } catch (const json::exception& e) {
    throw std::runtime_error("malformed fixture " + path + ": " + e.what());
  }
}

const json& Fixture::call(const std::string& name) const {
  return doc_.at("calls").at(callIndex_.at(name));
}

const json& Fixture::fields(const json& recordType) const {
  return doc_.at("records").at(recordType.at("record").get<std::string>());
}

void Fixture::write(TProtocol& out, const json& type, const json& value) const {
  switch (wireType(type)) {
    case apache::thrift::protocol::T_BOOL:
      out.writeBool(value.get<bool>());
      break;
    case apache::thrift::protocol::T_I32:
      out.writeI32(value.get<int32_t>());
      break;
    case apache::thrift::protocol::T_DOUBLE:
      out.writeDouble(value.get<double>());
      break;
    case apache::thrift::protocol::T_STRING:
      out.writeString(value.get<std::string>());
      break;
    case apache::thrift::protocol::T_LIST: {
      const json& element = type.at("list");
      out.writeListBegin(wireType(element), static_cast<uint32_t>(value.size()));
      for (const json& item : value) {
        write(out, element, item);
      }
      out.writeListEnd();
      break;
    }
    default:
      writeStruct(out, fields(type), value);
      break;
  }
}

void Fixture::writeStruct(TProtocol& out, const json& fields, const json& value) const {
  std::set<std::string> known;
  for (const json& field : fields) {
    known.insert(field.at("name").get<std::string>());
  }
  for (const auto& member : value.items()) {
    if (known.count(member.key()) == 0) {
      throw std::logic_error("fixture: no field " + member.key());
    }
  }
  out.writeStructBegin("fixture");
  for (const json& field : fields) {
    const std::string name = field.at("name").get<std::string>();
    if (!value.contains(name)) {
      continue;
    }
    const json& type = field.at("type");
    out.writeFieldBegin(name.c_str(), wireType(type), field.at("id").get<int16_t>());
    write(out, type, value.at(name));
    out.writeFieldEnd();
  }
  out.writeFieldStop();
  out.writeStructEnd();
}

json Fixture::read(TProtocol& in, const json& type) const {
  switch (wireType(type)) {
    case apache::thrift::protocol::T_BOOL: {
      bool value = false;
      in.readBool(value);
      return value;
    }
    case apache::thrift::protocol::T_I32: {
      int32_t value = 0;
      in.readI32(value);
      return value;
    }
    case apache::thrift::protocol::T_DOUBLE: {
      double value = 0;
      in.readDouble(value);
      return value;
    }
    case apache::thrift::protocol::T_STRING: {
      std::string value;
      in.readString(value);
      return value;
    }
    case apache::thrift::protocol::T_LIST: {
      const json& element = type.at("list");
      TType elementType = apache::thrift::protocol::T_STOP;
      uint32_t size = 0;
      in.readListBegin(elementType, size);
      if (elementType != wireType(element)) {
        throw std::runtime_error("a list of " + text(element) + " carries elements of wire type " +
                                 std::to_string(elementType));
      }
      json out = json::array();
      for (uint32_t i = 0; i < size; ++i) {
        out.push_back(read(in, element));
      }
      in.readListEnd();
      return out;
    }
    default:
      return readStruct(in, fields(type));
  }
}

json Fixture::readStruct(TProtocol& in, const json& fields) const {
  json out = json::object();
  std::string name;
  in.readStructBegin(name);
  for (;;) {
    TType type = apache::thrift::protocol::T_STOP;
    int16_t id = 0;
    in.readFieldBegin(name, type, id);
    if (type == apache::thrift::protocol::T_STOP) {
      break;
    }
    const json* field = nullptr;
    for (const json& candidate : fields) {
      if (candidate.at("id").get<int16_t>() == id) {
        field = &candidate;
      }
    }
    if (field != nullptr && wireType(field->at("type")) == type) {
      out[field->at("name").get<std::string>()] = read(in, field->at("type"));
    } else {
      out["?" + std::to_string(id)] = "unexpected field of wire type " + std::to_string(type);
      in.skip(type);
    }
    in.readFieldEnd();
  }
  in.readStructEnd();
  return out;
}

json Fixture::zero(const json& type) const {
  switch (wireType(type)) {
    case apache::thrift::protocol::T_BOOL:
      return false;
    case apache::thrift::protocol::T_I32:
      return 0;
    case apache::thrift::protocol::T_DOUBLE:
      return 0.0;
    case apache::thrift::protocol::T_STRING:
      return "";
    case apache::thrift::protocol::T_LIST:
      return json::array();
    default:
      return arriving(type, json::object());
  }
}

json Fixture::arriving(const json& type, const json& value) const {
  if (isList(type)) {
    json out = json::array();
    for (const json& item : value) {
      out.push_back(arriving(type.at("list"), item));
    }
    return out;
  }
  if (!isRecord(type)) {
    return value;
  }
  json out = json::object();
  for (const json& field : fields(type)) {
    const std::string name = field.at("name").get<std::string>();
    if (value.contains(name)) {
      out[name] = arriving(field.at("type"), value.at(name));
    } else if (field.at("req") == "default") {
      out[name] = zero(field.at("type"));
    }
  }
  return out;
}

json resultFields(const json& call) {
  if (call.at("result").is_null()) {
    return json::array();
  }
  return json::array({{{"id", 0}, {"name", "success"}, {"type", call.at("result")}}});
}

json resultValue(const json& call) {
  if (call.at("result").is_null()) {
    return json::object();
  }
  return {{"success", call.at("answer")}};
}

std::string text(const json& value) {
  return value.dump(-1, ' ', false, json::error_handler_t::replace);
}

std::string differences(const json& got, const json& expected) {
  std::set<std::string> names;
  for (const auto& member : got.items()) names.insert(member.key());
  for (const auto& member : expected.items()) names.insert(member.key());
  std::string out;
  for (const std::string& name : names) {
    const bool inGot = got.contains(name);
    const bool inExpected = expected.contains(name);
    if (inGot && inExpected && got.at(name) == expected.at(name)) {
      continue;
    }
    if (!out.empty()) out += "; ";
    out += name + ": got " + (inGot ? text(got.at(name)) : "nothing") + ", expected " +
           (inExpected ? text(expected.at(name)) : "nothing");
  }
  return out;
}

}  // namespace interop
