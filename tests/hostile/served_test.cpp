// A threaded server with the safe limits, on a loopback socket: a peer that
// sends a hostile announcement loses its connection without a reply, the
// whole process stays far below 64 MiB meanwhile, and the server goes on
// serving ordinary clients.
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>
#include <thrift/TOutput.h>
#include <thrift/Thrift.h>
#include <thrift/protocol/TProtocolException.h>
#include <thrift/transport/TSocket.h>
#include <thrift/transport/TTransportException.h>

#include <thriftyol/limits/safe_server.h>
#include <thriftyol/service/Yol.h>

#include "hostile_requests.h"
#include "loopback_server.h"
#include "peak_memory.h"
#include "test_service.h"

namespace {

using ::apache::thrift::GlobalOutput;
using ::apache::thrift::TOutput;
using ::apache::thrift::protocol::TProtocolException;
using ::apache::thrift::transport::TSocket;
using ::apache::thrift::transport::TTransportException;
using hostile::Wire;
using peak_memory::kMiB;
namespace safe = yol::safe_server;

constexpr int kTimeoutMs = 10000;

// The lines the runtime logs through GlobalOutput while a test runs.
std::mutex logMutex;
std::vector<std::string> logLines;

void captureLog(const char* line) {
  std::lock_guard<std::mutex> lock(logMutex);
  logLines.emplace_back(line);
}

std::vector<std::string> loggedLines() {
  std::lock_guard<std::mutex> lock(logMutex);
  return logLines;
}

class ServedSafely : public ::testing::TestWithParam<std::tuple<Wire, hostile::Case>> {
 protected:
  void SetUp() override {
    GlobalOutput.setOutputFunction(&captureLog);
    yol::testing::ServerSetup setup;
    setup.protocols = hostile::safeProtocols(wire());
    server_ = std::make_unique<yol::testing::LoopbackServer>(
        std::make_shared<hostile::HandlerFactory>(), setup);
    port_ = server_->port();
  }

  void TearDown() override {
    server_.reset();
    GlobalOutput.setOutputFunction(&TOutput::errorTimeWrapper);
  }

  Wire wire() const { return std::get<0>(GetParam()); }

  // Sends `bytes` on a new connection; true when the server then closed
  // the connection without replying.
  bool closedWithoutReply(const std::string& bytes) {
    TSocket socket("127.0.0.1", port_);
    socket.setRecvTimeout(kTimeoutMs);
    socket.setSendTimeout(kTimeoutMs);
    socket.open();
    try {
      socket.write(reinterpret_cast<const uint8_t*>(bytes.data()),
                   static_cast<uint32_t>(bytes.size()));
    } catch (const TTransportException& e) {
      // The server may close before it has read everything.
      if (e.getType() == TTransportException::TIMED_OUT) {
        return false;
      }
    }
    uint8_t byte;
    try {
      return socket.read(&byte, 1) == 0;
    } catch (const TTransportException& e) {
      return e.getType() != TTransportException::TIMED_OUT;
    }
  }

  int32_t statusOnNewConnection(int32_t id) {
    const auto socket = std::make_shared<TSocket>("127.0.0.1", port_);
    socket->setRecvTimeout(kTimeoutMs);
    socket->setSendTimeout(kTimeoutMs);
    const auto transport = std::make_shared<safe::BufferedTransport>(socket, safe::configuration());
    yol::YolClient client(hostile::safeProtocols(wire())->getProtocol(transport));
    transport->open();
    return client.status(id);
  }

  std::unique_ptr<yol::testing::LoopbackServer> server_;
  int port_ = 0;
};

TEST_P(ServedSafely, HostileRequestCostsItsConnectionAndNothingElse) {
  const hostile::Case& hostileCase = std::get<1>(GetParam());
  const std::string request = hostileCase.request(wire());

  const std::size_t resident = peak_memory::resident_high_water();
  peak_memory::reset();

  EXPECT_TRUE(closedWithoutReply(request));

  const std::size_t peak = peak_memory::peak_since_reset();
  const std::size_t residentGrowth = peak_memory::resident_high_water() - resident;
  EXPECT_LT(peak, 64 * kMiB);
  EXPECT_LT(residentGrowth, 64 * kMiB);
  RecordProperty("peak_bytes", std::to_string(peak));
  RecordProperty("resident_growth_bytes", std::to_string(residentGrowth));

  // The server logs why it dropped the connection before it closes it.
  const std::string reason = TProtocolException(hostileCase.expected).what();
  bool logged = false;
  for (const std::string& line : loggedLines()) {
    logged = logged || line.find(reason) != std::string::npos;
  }
  EXPECT_TRUE(logged) << "no log line with \"" << reason << "\"";

  EXPECT_EQ(statusOnNewConnection(41), 42);
}

INSTANTIATE_TEST_SUITE_P(Limits, ServedSafely,
                         ::testing::Combine(::testing::Values(Wire::binary, Wire::compact),
                                            ::testing::ValuesIn(hostile::cases())),
                         [](const ::testing::TestParamInfo<ServedSafely::ParamType>& info) {
                           return std::string(std::get<1>(info.param).name) + "_" +
                                  hostile::name(std::get<0>(info.param));
                         });

}  // namespace
