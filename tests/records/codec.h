// Encoding and decoding records through the runtime's protocols, for tests.
#ifndef THRIFTYOL_TESTS_RECORDS_CODEC_H
#define THRIFTYOL_TESTS_RECORDS_CODEC_H

#include <gtest/gtest.h>
#include <thrift/protocol/TBinaryProtocol.h>
#include <thrift/protocol/TCompactProtocol.h>
#include <thrift/protocol/TJSONProtocol.h>
#include <thrift/protocol/TProtocolException.h>
#include <thrift/transport/TBufferTransports.h>
#include <thriftyol/testing/yol_samples.h>

#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>

namespace codec {

using ::apache::thrift::protocol::TProtocol;
using ::apache::thrift::protocol::TProtocolException;
using ::apache::thrift::transport::TMemoryBuffer;

enum class Protocol { binary, compact, json };
constexpr Protocol kAllProtocols[] = {Protocol::binary, Protocol::compact, Protocol::json};

inline const char* name(Protocol p) {
  switch (p) {
    case Protocol::binary:
      return "binary";
    case Protocol::compact:
      return "compact";
    case Protocol::json:
      return "json";
  }
  return "?";
}

inline std::shared_ptr<TProtocol> make_protocol(Protocol p, std::shared_ptr<TMemoryBuffer> buffer) {
  switch (p) {
    case Protocol::binary:
      return std::make_shared<::apache::thrift::protocol::TBinaryProtocol>(buffer);
    case Protocol::compact:
      return std::make_shared<::apache::thrift::protocol::TCompactProtocol>(buffer);
    case Protocol::json:
      return std::make_shared<::apache::thrift::protocol::TJSONProtocol>(buffer);
  }
  return nullptr;
}

inline std::shared_ptr<TMemoryBuffer> buffer_of(const std::string& bytes) {
  auto buffer = std::make_shared<TMemoryBuffer>();
  buffer->write(reinterpret_cast<const uint8_t*>(bytes.data()), static_cast<uint32_t>(bytes.size()));
  return buffer;
}

// What `write_with(protocol)` writes, as bytes.
inline std::string build(Protocol p, const std::function<void(TProtocol&)>& write_with) {
  auto buffer = std::make_shared<TMemoryBuffer>();
  auto protocol = make_protocol(p, buffer);
  write_with(*protocol);
  return buffer->getBufferAsString();
}

template <class R>
std::string encode(const R& record, Protocol p = Protocol::binary) {
  return build(p, [&](TProtocol& out) { record.write(&out); });
}

// Reads `bytes` into `record` (not reset first); returns read's count.
template <class R>
uint32_t decode_into(R& record, const std::string& bytes, Protocol p = Protocol::binary) {
  auto protocol = make_protocol(p, buffer_of(bytes));
  return record.read(protocol.get());
}

template <class R>
R decode(const std::string& bytes, Protocol p = Protocol::binary) {
  R record;
  decode_into(record, bytes, p);
  return record;
}

// The type of a TProtocolException that `f` throws; fails the test when
// it throws nothing or something else.
template <class F>
TProtocolException::TProtocolExceptionType protocol_error(F&& f) {
  try {
    f();
  } catch (const TProtocolException& e) {
    return e.getType();
  }
  ADD_FAILURE() << "no TProtocolException";
  return TProtocolException::UNKNOWN;
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

}  // namespace codec

#endif  // THRIFTYOL_TESTS_RECORDS_CODEC_H
