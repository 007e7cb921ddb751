// The processor under a server's limits, fed from memory: a request that
// announces far more than it carries is refused with the protocol's
// exception before anything is allocated for it, and gets no reply.
#include <cstdint>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>
#include <thrift/protocol/TBinaryProtocol.h>
#include <thrift/protocol/TProtocolException.h>
#include <thrift/transport/TBufferTransports.h>
#include <thrift/transport/TTransportException.h>

#include <thriftyol/service/Yol.h>

#include "hostile_requests.h"
#include "peak_memory.h"
#include <thriftyol/limits/safe_server.h>
#include "test_service.h"

namespace {

using ::apache::thrift::TConfiguration;
using ::apache::thrift::protocol::TBinaryProtocol;
using ::apache::thrift::protocol::TProtocol;
using ::apache::thrift::protocol::TProtocolException;
using ::apache::thrift::transport::TBufferedTransport;
using ::apache::thrift::transport::TMemoryBuffer;
using ::apache::thrift::transport::TTransport;
using ::apache::thrift::transport::TTransportException;
using hostile::Wire;
using peak_memory::kMiB;
namespace safe = yol::safe_server;

constexpr std::size_t kMemoryBound = 64 * kMiB;

std::shared_ptr<TMemoryBuffer> reading(const std::string& bytes,
                                       std::shared_ptr<TConfiguration> config) {
  return std::make_shared<TMemoryBuffer>(
      reinterpret_cast<uint8_t*>(const_cast<char*>(bytes.data())),
      static_cast<uint32_t>(bytes.size()), TMemoryBuffer::OBSERVE, std::move(config));
}

// One request through a processor, as a server's connection serves it.
struct Served {
  std::string failure;     // the exception's type and text; empty when served
  int protocolError = -1;  // TProtocolException type, when that was the failure
  std::size_t peak = 0;    // bytes live at once beyond those before
  std::size_t residentGrowth = 0;
  std::string reply;
};

Served serve(const std::shared_ptr<TProtocol>& iprot, const std::shared_ptr<TMemoryBuffer>& out,
             const std::shared_ptr<TProtocol>& oprot) {
  yol::YolProcessor processor(std::make_shared<hostile::AnsweringHandler>());
  Served served;
  const std::size_t resident = peak_memory::resident_high_water();
  peak_memory::reset();
  try {
    processor.process(iprot, oprot, nullptr);
  } catch (const TProtocolException& e) {
    served.failure = std::string("TProtocolException: ") + e.what();
    served.protocolError = e.getType();
  } catch (const TTransportException& e) {
    served.failure = std::string("TTransportException: ") + e.what();
  }
  served.peak = peak_memory::peak_since_reset();
  served.residentGrowth = peak_memory::resident_high_water() - resident;
  served.reply = out->getBufferAsString();
  return served;
}

Served serveWithLimits(Wire wire, const std::string& request) {
  const auto protocols = hostile::safeProtocols(wire);
  const auto out = std::make_shared<TMemoryBuffer>(safe::configuration());
  return serve(protocols->getProtocol(reading(request, safe::configuration())), out,
               protocols->getProtocol(out));
}

class HostileRequestInMemory : public ::testing::TestWithParam<std::tuple<Wire, hostile::Case>> {};

TEST_P(HostileRequestInMemory, IsRefusedBeforeAllocatingWhatItAnnounces) {
  const auto& [wire, hostileCase] = GetParam();
  const std::string request = hostileCase.request(wire);
  ASSERT_LT(request.size(), 64u * 1024);

  const Served served = serveWithLimits(wire, request);

  EXPECT_EQ(served.protocolError, hostileCase.expected) << served.failure;
  EXPECT_EQ(served.reply, "") << "a refused request gets no reply";
  EXPECT_LT(served.peak, kMemoryBound);
  EXPECT_LT(served.residentGrowth, kMemoryBound);
  RecordProperty("peak_bytes", std::to_string(served.peak));
}

INSTANTIATE_TEST_SUITE_P(
    Limits, HostileRequestInMemory,
    ::testing::Combine(::testing::Values(Wire::binary, Wire::compact),
                       ::testing::ValuesIn(hostile::cases())),
    [](const ::testing::TestParamInfo<HostileRequestInMemory::ParamType>& info) {
      return std::string(std::get<1>(info.param).name) + "_" +
             hostile::name(std::get<0>(info.param));
    });

// SetMerivaultName(name) as a client writes it.
std::string setNameRequest(Wire wire, const std::string& name) {
  const auto buffer = std::make_shared<TMemoryBuffer>();
  yol::YolClient(hostile::safeProtocols(wire)->getProtocol(buffer)).send_SetMerivaultName(name);
  return buffer->getBufferAsString();
}

// A client reading the reply that the processor wrote.
yol::YolClient replyReader(Wire wire, const std::string& reply) {
  return yol::YolClient(
      hostile::safeProtocols(wire)->getProtocol(reading(reply, safe::configuration())));
}

class StringLimit : public ::testing::TestWithParam<Wire> {};

TEST_P(StringLimit, AStringAtTheLimitIsServedAndOneByteMoreIsRefused) {
  const Wire wire = GetParam();

  const Served atLimit =
      serveWithLimits(wire, setNameRequest(wire, std::string(safe::kStringLimit, 'n')));
  ASSERT_EQ(atLimit.failure, "");
  EXPECT_EQ(replyReader(wire, atLimit.reply).recv_SetMerivaultName(), safe::kStringLimit);

  const Served beyond =
      serveWithLimits(wire, setNameRequest(wire, std::string(safe::kStringLimit + 1, 'n')));
  EXPECT_EQ(beyond.protocolError, TProtocolException::SIZE_LIMIT) << beyond.failure;
  EXPECT_EQ(beyond.reply, "");
}

INSTANTIATE_TEST_SUITE_P(Limits, StringLimit, ::testing::Values(Wire::binary, Wire::compact),
                         [](const ::testing::TestParamInfo<Wire>& info) {
                           return std::string(hostile::name(info.param));
                         });

class EnumerationFromTheWire : public ::testing::TestWithParam<Wire> {};

// Whatever i32 arrives for an enumeration, also far outside the range of
// its members, is carried to the handler unchanged and without undefined
// behaviour (which the sanitizer builds would report).
TEST_P(EnumerationFromTheWire, AnyValueReachesTheHandlerAsSent) {
  const Wire wire = GetParam();
  for (const int32_t error : {3712, -1, 2147483647}) {
    SCOPED_TRACE(error);
    const std::string request = hostile::acknowledgeWithError(wire, error);
    const Served served = serveWithLimits(wire, request);
    ASSERT_EQ(served.failure, "");
    EXPECT_EQ(replyReader(wire, served.reply).recv_FT_Acknowledge(), error);
  }
}

INSTANTIATE_TEST_SUITE_P(Wires, EnumerationFromTheWire,
                         ::testing::Values(Wire::binary, Wire::compact),
                         [](const ::testing::TestParamInfo<Wire>& info) {
                           return std::string(hostile::name(info.param));
                         });

// Without a string limit the binary protocol sizes a string to its announced
// length before reading it. Announcing 2^31-1 bytes would make this process
// allocate and clear 2 GiB, so the demonstration stops at 32 MiB: the bytes
// are allocated for three bytes of content, and the same request under the
// limits costs next to nothing.
TEST(WithoutLimits, BinaryStringIsAllocatedAsAnnouncedBeforeItsBytesArrive) {
  constexpr int32_t kAnnounced = 32 * 1024 * 1024;
  const std::string request = hostile::announcedString(Wire::binary, kAnnounced);

  const auto out = std::make_shared<TMemoryBuffer>();
  const Served unlimited =
      serve(std::make_shared<TBinaryProtocol>(reading(request, std::make_shared<TConfiguration>())),
            out, std::make_shared<TBinaryProtocol>(out));
  EXPECT_NE(unlimited.failure.find("TTransportException"), std::string::npos) << unlimited.failure;
  EXPECT_GE(unlimited.peak, static_cast<std::size_t>(kAnnounced));

  const Served limited = serveWithLimits(Wire::binary, request);
  EXPECT_EQ(limited.protocolError, TProtocolException::SIZE_LIMIT) << limited.failure;
  EXPECT_LT(limited.peak, kMiB);
}

// Many requests on one buffered connection, together far beyond the maximum
// message size (a small one here), each with a string that the protocol
// takes straight from the transport's buffer.
TEST(SafeBufferedTransport, ALongConnectionIsNotCutAtTheMaximumMessageSize) {
  const auto config = std::make_shared<TConfiguration>(4096);
  const int requests = 100;
  std::string stream;
  for (int i = 0; i < requests; ++i) {
    stream += setNameRequest(Wire::binary, std::string(100, 'n'));
  }
  ASSERT_GT(stream.size(), 3u * 4096);

  // Serves the stream over `transport`; returns how many requests got through.
  const auto served = [&](const std::shared_ptr<TTransport>& transport) {
    const auto iprot = safe::binaryProtocolFactory()->getProtocol(transport);
    const auto oprot =
        safe::binaryProtocolFactory()->getProtocol(std::make_shared<TMemoryBuffer>());
    yol::YolProcessor processor(std::make_shared<hostile::AnsweringHandler>());
    int count = 0;
    try {
      while (count < requests && processor.process(iprot, oprot, nullptr)) {
        ++count;
      }
    } catch (const TTransportException& e) {
      EXPECT_STREQ(e.what(), "MaxMessageSize reached");
    }
    return count;
  };

  EXPECT_EQ(served(std::make_shared<safe::BufferedTransport>(reading(stream, nullptr), config)),
            requests);
  // The runtime's own buffered transport gives up part of the way.
  EXPECT_LT(served(std::make_shared<TBufferedTransport>(reading(stream, nullptr), config)),
            requests);
}

}  // namespace
