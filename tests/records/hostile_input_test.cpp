// Input that announces far more than it holds must fail as bad input, not
// by trying to allocate what it announces.
#include <gtest/gtest.h>
#include <thrift/TConfiguration.h>
#include <thrift/transport/TBufferTransports.h>
#include <thrift/transport/TTransportException.h>
#include <thriftyol/types/yol_types.h>

#include <limits>
#include <memory>
#include <new>
#include <string>

#include "allocation_watch.h"
#include "codec.h"

namespace {

using apache::thrift::transport::TTransportException;
using codec::Protocol;
using codec::TProtocol;
using codec::TProtocolException;
namespace proto = apache::thrift::protocol;

constexpr std::size_t kMiB = 1024 * 1024;
// The runtime checks an announced list against the bytes left, multiplying
// the count by the element's least encoded size in 32-bit ints: for
// records that size is 0, for strings up to 4, and 2^31-1 strings would
// overflow that product (undefined behaviour in the runtime, not ours).
// Each count below passes the runtime's check, so that what refuses it is
// the records' own list read.
constexpr uint32_t kHugeRecordCount = 2147483647u;
constexpr uint32_t kHugeStringCount = (2147483647u - 1024) / 4;

// Runs `read`, which must fail with a protocol or transport exception;
// returns the largest single allocation made meanwhile.
template <class F>
std::size_t largest_allocation_of_failing(F&& read) {
  allocation_watch::start();
  bool failed_as_input = false;
  try {
    read();
  } catch (const TProtocolException&) {
    failed_as_input = true;
  } catch (const TTransportException&) {
    failed_as_input = true;
  } catch (const std::bad_alloc&) {
    ADD_FAILURE() << "std::bad_alloc";
  }
  const std::size_t largest = allocation_watch::stop();
  EXPECT_TRUE(failed_as_input);
  return largest;
}

uint32_t huge_count(proto::TType elem) {
  return elem == proto::T_STRUCT ? kHugeRecordCount : kHugeStringCount;
}

std::string list_announcing(Protocol p, const char* name, int16_t id, proto::TType elem, bool with_one_element) {
  return codec::build(p, [&](TProtocol& out) {
    out.writeStructBegin("Hostile");
    if (id != 1) {
      out.writeFieldBegin("sInterface", proto::T_STRING, 1);
      out.writeString("can0");
      out.writeFieldEnd();
    }
    out.writeFieldBegin(name, proto::T_LIST, id);
    out.writeListBegin(elem, huge_count(elem));
    if (with_one_element) {
      if (elem == proto::T_STRUCT) {
        out.writeStructBegin("E");
        out.writeFieldStop();
        out.writeStructEnd();
      } else {
        out.writeString("first");
      }
    }
  });
}

// Reads `input` into `record` from a buffer whose message size budget
// (the runtime's check of the bytes left) is as large as it can be.
template <class R>
void decode_unbounded(R& record, const std::string& input, Protocol p) {
  auto buffer = std::make_shared<apache::thrift::transport::TMemoryBuffer>(
      std::make_shared<apache::thrift::TConfiguration>(std::numeric_limits<int>::max()));
  buffer->write(reinterpret_cast<const uint8_t*>(input.data()), static_cast<uint32_t>(input.size()));
  record.read(codec::make_protocol(p, buffer).get());
}

// Reading an `R` whose list field announces a huge count fails as bad
// input, allocating less than a MiB at a time, in every protocol.
template <class R>
void expect_small_failure(const char* field, int16_t id, proto::TType elem) {
  for (const Protocol p : codec::kAllProtocols) {
    for (const bool one_element : {false, true}) {
      SCOPED_TRACE(std::string(field) + ", " + codec::name(p) + (one_element ? ", one element present" : ""));
      const std::string input = list_announcing(p, field, id, elem, one_element);
      R record;
      const std::size_t most = largest_allocation_of_failing([&] { decode_unbounded(record, input, p); });
      EXPECT_LT(most, kMiB);
    }
  }
}

TEST(HostileInput, HugeListCountFailsWithoutAHugeAllocation) {
  expect_small_failure<yol::stCANDevice>("stCANSignals", 3, proto::T_STRUCT);
  expect_small_failure<yol::ServiceDiscoverySuccess>("urls", 1, proto::T_STRING);
}

TEST(HostileInput, LongGenuineListEndsWithExactlyItsRoom) {
  // Longer than the first reserve, and not a power of two times it: the
  // growth still stops at the count, and nothing larger is ever asked for.
  constexpr std::size_t kCount = 100001;
  yol::ServiceDiscoverySuccess sent;
  for (std::size_t i = 0; i < kCount; ++i) {
    sent.urls.push_back("u" + std::to_string(i % 1000));
  }
  for (const Protocol p : codec::kAllProtocols) {
    SCOPED_TRACE(codec::name(p));
    const std::string input = codec::encode(sent, p);
    yol::ServiceDiscoverySuccess received;
    allocation_watch::start();
    codec::decode_into(received, input, p);
    const std::size_t most = allocation_watch::stop();
    EXPECT_EQ(received, sent);
    EXPECT_EQ(received.urls.capacity(), kCount);
    EXPECT_EQ(most, kCount * sizeof(std::string));
  }
}

TEST(HostileInput, WatcherSeesLargeAllocations) {
  // The measurement itself works: a real large allocation is seen.
  const std::size_t most = largest_allocation_of_failing([] {
    std::string big(4 * kMiB, 'x');
    throw TTransportException(big.substr(0, 3));
  });
  EXPECT_GE(most, 4 * kMiB);
}

}  // namespace
