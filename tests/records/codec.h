// Encoding and decoding records through the runtime's binary and compact
// protocols for tests, and a protocol that watches and adds to what a
// record writes, for the field ids on the wire and for input to skip.
#ifndef THRIFTYOL_TESTS_RECORDS_CODEC_H
#define THRIFTYOL_TESTS_RECORDS_CODEC_H

#include <gtest/gtest.h>
#include <thrift/protocol/TBinaryProtocol.h>
#include <thrift/protocol/TCompactProtocol.h>
#include <thrift/protocol/TProtocolDecorator.h>
#include <thrift/protocol/TProtocolException.h>
#include <thrift/transport/TBufferTransports.h>
#include <thriftyol/testing/yol_samples.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace codec {

using ::apache::thrift::protocol::TProtocol;
using ::apache::thrift::protocol::TProtocolException;
using ::apache::thrift::protocol::TType;
using ::apache::thrift::transport::TMemoryBuffer;
namespace proto = ::apache::thrift::protocol;

enum class Protocol { binary, compact };
constexpr Protocol kProtocols[] = {Protocol::binary, Protocol::compact};

inline const char* name(Protocol p) { return p == Protocol::binary ? "binary" : "compact"; }

inline std::shared_ptr<TProtocol> make_protocol(Protocol p, std::shared_ptr<TMemoryBuffer> buffer) {
  if (p == Protocol::binary) {
    return std::make_shared<proto::TBinaryProtocol>(std::move(buffer));
  }
  return std::make_shared<proto::TCompactProtocol>(std::move(buffer));
}

// What `write_with(protocol)` writes, as bytes.
inline std::string build(Protocol p, const std::function<void(TProtocol&)>& write_with) {
  auto buffer = std::make_shared<TMemoryBuffer>();
  write_with(*make_protocol(p, buffer));
  return buffer->getBufferAsString();
}

template <class R>
std::string encode(const R& record, Protocol p = Protocol::binary) {
  return build(p, [&](TProtocol& out) { record.write(&out); });
}

// Reads `bytes` into `record` (not reset first) with `limit` as the
// protocol's recursion limit; returns read's count.
template <class R>
uint32_t decode_into(R& record, const std::string& bytes, Protocol p = Protocol::binary, uint32_t limit = 64) {
  auto buffer = std::make_shared<TMemoryBuffer>();
  buffer->write(reinterpret_cast<const uint8_t*>(bytes.data()), static_cast<uint32_t>(bytes.size()));
  auto protocol = make_protocol(p, buffer);
  protocol->setRecurisionLimit(limit);
  return record.read(protocol.get());
}

// Expects `f` to throw a TProtocolException of `type` whose text is `text`.
template <class F>
void expect_protocol_error(F&& f, TProtocolException::TProtocolExceptionType type, const std::string& text) {
  try {
    f();
    ADD_FAILURE() << "no TProtocolException";
  } catch (const TProtocolException& e) {
    EXPECT_EQ(e.getType(), type);
    EXPECT_EQ(std::string(e.what()), text);
  }
}

template <class R, class = void>
struct HasIsset : std::false_type {};
template <class R>
struct HasIsset<R, std::void_t<decltype(std::declval<R&>().__isset)>> : std::true_type {};

// Whether two records hold the same presence flags (true for records that
// have none). The flag structure holds only bools, so bytes compare.
template <class R>
bool same_flags(const R& a, const R& b) {
  if constexpr (HasIsset<R>::value) {
    static_assert(std::is_trivially_copyable_v<decltype(a.__isset)>);
    return std::memcmp(&a.__isset, &b.__isset, sizeof a.__isset) == 0;
  } else {
    return true;
  }
}

// ::testing::Types of every record, named after the record.
template <class L>
struct GTestTypes;
template <class... T>
struct GTestTypes<yol::testing::TypeList<T...>> {
  using type = ::testing::Types<T...>;
};
using AllRecordTypes = GTestTypes<yol::testing::AllRecords>::type;

struct RecordName {
  template <class R>
  static std::string GetName(int) {
    return yol::testing::RecordInfo<R>::name;
  }
};

// Fields no record declares, one of every wire type, with content that
// needs real skipping: nested structures and lists.
inline void write_unknown_fields(TProtocol& out) {
  auto field = [&](TType type, int16_t id, const std::function<void()>& value) {
    out.writeFieldBegin("unknown", type, id);
    value();
    out.writeFieldEnd();
  };
  auto record = [&](const std::function<void()>& fields) {
    out.writeStructBegin("Unknown");
    fields();
    out.writeFieldStop();
    out.writeStructEnd();
  };
  field(proto::T_BOOL, 1001, [&] { out.writeBool(true); });
  field(proto::T_BYTE, 1002, [&] { out.writeByte(-7); });
  field(proto::T_I16, 1003, [&] { out.writeI16(-300); });
  field(proto::T_I64, 1004, [&] { out.writeI64(int64_t{1} << 40); });
  field(proto::T_DOUBLE, 1005, [&] { out.writeDouble(2.5); });
  field(proto::T_STRING, 1006, [&] { out.writeString("stray, text"); });
  field(proto::T_STRUCT, 1007, [&] {  // a record holding a list of records
    record([&] {
      field(proto::T_LIST, 1, [&] {
        out.writeListBegin(proto::T_STRUCT, 1);
        record([&] { field(proto::T_I32, 1, [&] { out.writeI32(5); }); });
        out.writeListEnd();
      });
    });
  });
}

// Writes through to `inner` (on a TMemoryBuffer), noting the outermost
// record's fields in order (id, and where their bytes lie) and the deepest
// nesting of records. With `stray`, before every field stop (nested records
// too) it adds the unknown fields above and each field of that record again
// under a wrong wire type.
class Edit : public proto::TProtocolDecorator {
 public:
  Edit(std::shared_ptr<TProtocol> inner, bool stray) : TProtocolDecorator(inner), inner_(inner), stray_(stray) {}

  struct Field { int16_t id; uint32_t begin, end; };  // offsets of its bytes in the output
  std::vector<Field> fields;
  int deepest = 0;

 protected:
  uint32_t writeStructBegin_virt(const char* name) override {
    deepest = std::max(deepest, static_cast<int>(open_.size()) + 1);
    open_.emplace_back();
    return TProtocolDecorator::writeStructBegin_virt(name);
  }
  uint32_t writeStructEnd_virt() override {
    open_.pop_back();
    return TProtocolDecorator::writeStructEnd_virt();
  }
  uint32_t writeFieldBegin_virt(const char* name, const TType type, const int16_t id) override {
    if (open_.size() == 1) {
      fields.push_back({id, written(), 0});
    }
    open_.back().emplace_back(id, type);
    return TProtocolDecorator::writeFieldBegin_virt(name, type, id);
  }
  uint32_t writeFieldEnd_virt() override {
    const uint32_t count = TProtocolDecorator::writeFieldEnd_virt();
    if (open_.size() == 1) {
      fields.back().end = written();
    }
    return count;
  }
  uint32_t writeFieldStop_virt() override {
    if (stray_) {
      write_unknown_fields(*inner_);
      for (const auto& [id, type] : open_.back()) {
        inner_->writeFieldBegin("wrong", type == proto::T_STRING ? proto::T_I32 : proto::T_STRING, id);
        type == proto::T_STRING ? inner_->writeI32(-1) : inner_->writeString("not the field");
        inner_->writeFieldEnd();
      }
    }
    return TProtocolDecorator::writeFieldStop_virt();
  }

 private:
  uint32_t written() { return static_cast<TMemoryBuffer&>(*getTransport()).available_read(); }

  std::shared_ptr<TProtocol> inner_;
  bool stray_;
  std::vector<std::vector<std::pair<int16_t, TType>>> open_;  // each open record's fields so far
};

}  // namespace codec

#endif  // THRIFTYOL_TESTS_RECORDS_CODEC_H
