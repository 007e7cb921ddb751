// Protocols that edit what a record writes on its way to a real protocol,
// so that tests get well-formed input that lacks a field or carries fields
// a reader has to skip, for every record type alike.
#ifndef THRIFTYOL_TESTS_RECORDS_STREAM_EDITS_H
#define THRIFTYOL_TESTS_RECORDS_STREAM_EDITS_H

#include <thrift/protocol/TProtocolDecorator.h>

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace stream_edits {

using ::apache::thrift::protocol::TProtocol;
using ::apache::thrift::protocol::TType;
namespace proto = ::apache::thrift::protocol;

// Fields no record declares, one of every wire type, with content that
// needs real skipping: nested structures, lists, sets and maps.
inline void write_unknown_fields(TProtocol& out) {
  out.writeFieldBegin("b", proto::T_BOOL, 1001);
  out.writeBool(true);
  out.writeFieldEnd();
  out.writeFieldBegin("y", proto::T_BYTE, 1002);
  out.writeByte(-7);
  out.writeFieldEnd();
  out.writeFieldBegin("h", proto::T_I16, 1003);
  out.writeI16(-300);
  out.writeFieldEnd();
  out.writeFieldBegin("i", proto::T_I32, 1004);
  out.writeI32(-70000);
  out.writeFieldEnd();
  out.writeFieldBegin("l", proto::T_I64, 1005);
  out.writeI64(int64_t{1} << 40);
  out.writeFieldEnd();
  out.writeFieldBegin("d", proto::T_DOUBLE, 1006);
  out.writeDouble(2.5);
  out.writeFieldEnd();
  out.writeFieldBegin("s", proto::T_STRING, 1007);
  out.writeString("stray, text");
  out.writeFieldEnd();
  out.writeFieldBegin("st", proto::T_STRUCT, 1008);
  out.writeStructBegin("Outer");
  out.writeFieldBegin("inner", proto::T_STRUCT, 1);
  out.writeStructBegin("Inner");
  out.writeFieldBegin("n", proto::T_I32, 1);
  out.writeI32(5);
  out.writeFieldEnd();
  out.writeFieldStop();
  out.writeStructEnd();
  out.writeFieldEnd();
  out.writeFieldBegin("s", proto::T_STRING, 2);
  out.writeString("x");
  out.writeFieldEnd();
  out.writeFieldStop();
  out.writeStructEnd();
  out.writeFieldEnd();
  out.writeFieldBegin("li", proto::T_LIST, 1009);
  out.writeListBegin(proto::T_I32, 2);
  out.writeI32(1);
  out.writeI32(2);
  out.writeListEnd();
  out.writeFieldEnd();
  out.writeFieldBegin("ls", proto::T_LIST, 1010);
  out.writeListBegin(proto::T_STRUCT, 1);
  out.writeStructBegin("E");
  out.writeFieldBegin("n", proto::T_STRING, 3);
  out.writeString("e");
  out.writeFieldEnd();
  out.writeFieldStop();
  out.writeStructEnd();
  out.writeListEnd();
  out.writeFieldEnd();
  out.writeFieldBegin("se", proto::T_SET, 1011);
  out.writeSetBegin(proto::T_STRING, 2);
  out.writeString("a");
  out.writeString("b");
  out.writeSetEnd();
  out.writeFieldEnd();
  out.writeFieldBegin("m", proto::T_MAP, 1012);
  out.writeMapBegin(proto::T_I32, proto::T_LIST, 1);
  out.writeI32(7);
  out.writeListBegin(proto::T_DOUBLE, 1);
  out.writeDouble(-1.5);
  out.writeListEnd();
  out.writeMapEnd();
  out.writeFieldEnd();
}

// A value of some type other than `type`, under the given field id.
inline void write_wrongly_typed_field(TProtocol& out, int16_t id, TType type) {
  if (type == proto::T_STRING) {
    out.writeFieldBegin("wrong", proto::T_STRUCT, id);
    out.writeStructBegin("Wrong");
    out.writeFieldBegin("s", proto::T_STRING, 1);
    out.writeString("not the field");
    out.writeFieldEnd();
    out.writeFieldStop();
    out.writeStructEnd();
  } else {
    out.writeFieldBegin("wrong", proto::T_STRING, id);
    out.writeString("not the field");
  }
  out.writeFieldEnd();
}

// Passes on the outermost record with only some of its fields: all but
// one (`drop`), or just that one (`keep_only`), each with all its content.
class FieldFilter : public proto::TProtocolDecorator {
 public:
  enum Mode { drop, keep_only };

  FieldFilter(std::shared_ptr<TProtocol> inner, Mode mode, int16_t id)
      : TProtocolDecorator(std::move(inner)), mode_(mode), id_(id) {}

 protected:
  uint32_t writeStructBegin_virt(const char* name) override {
    const bool pass = passes();
    ++level_;
    return pass ? TProtocolDecorator::writeStructBegin_virt(name) : 0;
  }
  uint32_t writeStructEnd_virt() override {
    --level_;
    return passes() ? TProtocolDecorator::writeStructEnd_virt() : 0;
  }
  uint32_t writeFieldBegin_virt(const char* name, const TType type, const int16_t id) override {
    if (level_ == 1) {
      in_field_ = true;
      field_passes_ = (id == id_) == (mode_ == keep_only);
    }
    return passes() ? TProtocolDecorator::writeFieldBegin_virt(name, type, id) : 0;
  }
  uint32_t writeFieldEnd_virt() override {
    const bool pass = passes();
    if (level_ == 1) {
      in_field_ = false;
    }
    return pass ? TProtocolDecorator::writeFieldEnd_virt() : 0;
  }
  uint32_t writeFieldStop_virt() override { return passes() ? TProtocolDecorator::writeFieldStop_virt() : 0; }
  uint32_t writeListBegin_virt(const TType type, const uint32_t size) override {
    return passes() ? TProtocolDecorator::writeListBegin_virt(type, size) : 0;
  }
  uint32_t writeListEnd_virt() override { return passes() ? TProtocolDecorator::writeListEnd_virt() : 0; }
  uint32_t writeBool_virt(const bool v) override { return passes() ? TProtocolDecorator::writeBool_virt(v) : 0; }
  uint32_t writeI32_virt(const int32_t v) override { return passes() ? TProtocolDecorator::writeI32_virt(v) : 0; }
  uint32_t writeDouble_virt(const double v) override { return passes() ? TProtocolDecorator::writeDouble_virt(v) : 0; }
  uint32_t writeString_virt(const std::string& v) override {
    return passes() ? TProtocolDecorator::writeString_virt(v) : 0;
  }

 private:
  // Outside the outermost record's fields everything passes.
  bool passes() const { return !in_field_ || field_passes_; }

  Mode mode_;
  int16_t id_;
  int level_ = 0;
  bool in_field_ = false;
  bool field_passes_ = true;
};

// Before the field stop of every record (nested ones too), adds the
// unknown fields above and, for each field the record wrote, the same id
// again with a wrong wire type. A reader must skip all of them.
class AddStrayFields : public proto::TProtocolDecorator {
 public:
  explicit AddStrayFields(std::shared_ptr<TProtocol> inner) : TProtocolDecorator(inner), inner_(std::move(inner)) {}

 protected:
  uint32_t writeStructBegin_virt(const char* name) override {
    written_.emplace_back();
    return TProtocolDecorator::writeStructBegin_virt(name);
  }
  uint32_t writeStructEnd_virt() override {
    written_.pop_back();
    return TProtocolDecorator::writeStructEnd_virt();
  }
  uint32_t writeFieldBegin_virt(const char* name, const TType type, const int16_t id) override {
    written_.back().emplace_back(id, type);
    return TProtocolDecorator::writeFieldBegin_virt(name, type, id);
  }
  uint32_t writeFieldStop_virt() override {
    write_unknown_fields(*inner_);
    for (const auto& [id, type] : written_.back()) {
      write_wrongly_typed_field(*inner_, id, type);
    }
    return TProtocolDecorator::writeFieldStop_virt();
  }

 private:
  std::shared_ptr<TProtocol> inner_;
  std::vector<std::vector<std::pair<int16_t, TType>>> written_;
};

}  // namespace stream_edits

#endif  // THRIFTYOL_TESTS_RECORDS_STREAM_EDITS_H
