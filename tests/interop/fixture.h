// The interoperability fixture (written by make_fixture.py): per call, the
// arguments a client sends and the answer a handler gives, as JSON that the
// C++ and the Python ends both load.
//
// The fixture's own type descriptions drive a small codec between its JSON
// values and any TProtocol. That codec is independent of the generated code:
// a typed value built from the fixture goes through the generated `read`, and
// a received typed value is turned back into JSON through the generated
// `write`, so that a fault on either path shows up as a JSON difference.
#ifndef THRIFTYOL_TESTS_INTEROP_FIXTURE_H
#define THRIFTYOL_TESTS_INTEROP_FIXTURE_H

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include <nlohmann/json.hpp>
#include <thrift/protocol/TBinaryProtocol.h>
#include <thrift/protocol/TProtocol.h>
#include <thrift/transport/TBufferTransports.h>

namespace interop {

using apache::thrift::protocol::TProtocol;
using nlohmann::json;

class Fixture {
 public:
  // Throws std::runtime_error when the file is missing or malformed.
  static Fixture load(const std::string& path);

  const json& calls() const { return doc_.at("calls"); }
  // Throws std::out_of_range for a call the fixture does not have.
  const json& call(const std::string& name) const;
  // The request that a serving handler fails: {name, arguments, message}.
  const json& failing() const { return doc_.at("failing"); }

  // A value of a fixture type, through a protocol.
  void write(TProtocol& out, const json& type, const json& value) const;
  json read(TProtocol& in, const json& type) const;
  // A structure with the given fields ([{id, name, type}], id order). Fields
  // the value lacks are not written. Reading keeps an unexpected field id or
  // wire type as a "?<id>" member, so that it cannot compare equal.
  void writeStruct(TProtocol& out, const json& fields, const json& value) const;
  json readStruct(TProtocol& in, const json& fields) const;

  // The value as the other end receives it: a default-requiredness field is
  // always written, so one that the fixture leaves out arrives as its zero
  // value.
  json arriving(const json& type, const json& value) const;

 private:
  explicit Fixture(json doc);
  const json& fields(const json& recordType) const;
  json zero(const json& type) const;

  json doc_;
  std::map<std::string, std::size_t> callIndex_;
};

// The fields of a call's result envelope: none, or "success" with id 0.
json resultFields(const json& call);
// The answer of a call wrapped as its result envelope's value.
json resultValue(const json& call);
// One-line JSON text for messages; invalid UTF-8 is shown replaced.
std::string text(const json& value);
// "name: got X, expected Y" for each member in which two objects differ.
std::string differences(const json& got, const json& expected);

// A structure of the generated code built from a fixture value, through the
// structure's own `read`.
template <class Struct>
Struct decode(const Fixture& fixture, const json& fields, const json& value) {
  auto buffer = std::make_shared<apache::thrift::transport::TMemoryBuffer>();
  apache::thrift::protocol::TBinaryProtocol protocol(buffer);
  fixture.writeStruct(protocol, fields, value);
  Struct result;
  result.read(&protocol);
  return result;
}

// Typed values back to fixture JSON; records through their own `write`.
inline json toJson(const Fixture&, const json&, bool value) { return value; }
inline json toJson(const Fixture&, const json&, int32_t value) { return value; }
inline json toJson(const Fixture&, const json&, double value) { return value; }
inline json toJson(const Fixture&, const json&, const std::string& value) { return value; }

template <class Enum, std::enable_if_t<std::is_enum<Enum>::value, int> = 0>
json toJson(const Fixture&, const json&, Enum value) {
  return static_cast<int32_t>(value);
}

template <class Record>
auto toJson(const Fixture& fixture, const json& type, const Record& record)
    -> decltype(record.write(static_cast<TProtocol*>(nullptr)), json()) {
  auto buffer = std::make_shared<apache::thrift::transport::TMemoryBuffer>();
  apache::thrift::protocol::TBinaryProtocol protocol(buffer);
  record.write(&protocol);
  return fixture.read(protocol, type);
}

template <class T>
json toJson(const Fixture& fixture, const json& type, const std::vector<T>& list) {
  json out = json::array();
  for (const T& element : list) {
    out.push_back(toJson(fixture, type.at("list"), element));
  }
  return out;
}

}  // namespace interop

#endif  // THRIFTYOL_TESTS_INTEROP_FIXTURE_H
