// Input that a writer of this library would not produce: enumeration values
// off the list, and lists that announce negative sizes or far more elements
// than they hold, which must fail without taking room for them.
#include <gtest/gtest.h>
#include <thrift/TConfiguration.h>
#include <thrift/transport/TTransportException.h>
#include <thriftyol/types/yol_types.h>

#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "codec.h"

namespace {

using apache::thrift::transport::TTransportException;
using codec::Protocol;
using codec::TProtocol;
using codec::TProtocolException;
namespace proto = apache::thrift::protocol;

TEST(OddInput, EnumerationValueOffTheListIsKeptAsRead) {
  for (const Protocol p : codec::kProtocols) {
    for (const int32_t value : {99, -4, std::numeric_limits<int32_t>::min()}) {
      SCOPED_TRACE(std::string(codec::name(p)) + ", " + std::to_string(value));
      yol::stFeatures sent;
      sent.feature = static_cast<yol::eMGTFeature::type>(value);
      const std::string input = codec::encode(sent, p);
      yol::stFeatures features;
      codec::decode_into(features, input, p);
      EXPECT_EQ(static_cast<int32_t>(features.feature), value);
      EXPECT_EQ(codec::encode(features, p), input);
    }
  }
}

// Reads an `R` whose list (`list`, field `id`) announces `count` elements
// and holds at most one, from a buffer whose message size budget (the
// runtime's check of the bytes left) is as large as it can be. The read
// must fail as bad input having taken room for less than a MiB of elements.
// Returns the TProtocolException's type, or -1 for a transport failure.
template <class R, class T>
int read_announcing(Protocol p, std::vector<T> R::*list, int16_t id, uint32_t count, bool with_one_element) {
  constexpr bool records = std::is_class_v<T> && !std::is_same_v<T, std::string>;
  const std::string input = codec::build(p, [&](TProtocol& out) {
    out.writeStructBegin("Odd");
    out.writeFieldBegin("list", proto::T_LIST, id);
    if (p == Protocol::compact && count > 0x7fffffffu) {
      // The compact protocol's writer would take a negative size for a short
      // one: the header by hand, the size as a five-byte varint.
      out.writeByte(static_cast<int8_t>(0xf0 | (records ? 12 : 8)));
      for (uint32_t rest = count; rest != 0; rest >>= 7) {
        out.writeByte(static_cast<int8_t>((rest & 0x7f) | (rest > 0x7f ? 0x80 : 0)));
      }
    } else {
      out.writeListBegin(records ? proto::T_STRUCT : proto::T_STRING, count);
    }
    if (with_one_element) {
      if constexpr (records) {
        T().write(&out);
      } else {
        out.writeString("first");
      }
    }
  });
  auto buffer = std::make_shared<codec::TMemoryBuffer>(
      std::make_shared<apache::thrift::TConfiguration>(std::numeric_limits<int>::max()));
  buffer->write(reinterpret_cast<const uint8_t*>(input.data()), static_cast<uint32_t>(input.size()));
  R record;
  int failure = -1;
  try {
    record.read(codec::make_protocol(p, buffer).get());
    ADD_FAILURE() << "read succeeded";
  } catch (const TProtocolException& e) {
    failure = e.getType();
  } catch (const TTransportException&) {
  }
  EXPECT_LT((record.*list).capacity() * sizeof(T), size_t{1} << 20);
  return failure;
}

TEST(OddInput, ListAnnouncingMoreThanItHoldsFailsHavingTakenLittleRoom) {
  // The runtime checks an announced count against the bytes left times the
  // element's least encoded size: 0 for records, up to 4 for strings. Each
  // huge count passes that check, so that what refuses it is the record.
  const auto records = &yol::stCANDevice::stCANSignals;
  const auto strings = &yol::ServiceDiscoverySuccess::urls;
  for (const Protocol p : codec::kProtocols) {
    SCOPED_TRACE(codec::name(p));
    EXPECT_EQ(read_announcing(p, records, 3, 0x80000000u, false), TProtocolException::NEGATIVE_SIZE);
    EXPECT_EQ(read_announcing(p, strings, 1, 0xffffffffu, false), TProtocolException::NEGATIVE_SIZE);
    for (const bool one_element : {false, true}) {
      read_announcing(p, records, 3, 2147483647u, one_element);
      read_announcing(p, strings, 1, (2147483647u - 1024) / 4, one_element);
    }
  }
}

}  // namespace
