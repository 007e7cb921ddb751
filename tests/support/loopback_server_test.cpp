// The loopback server as the tests use it: one connection carries far more
// than the maximum message size in total, over every protocol and transport
// the tests name; and stopping does not wait for a connection that is open
// but silent.
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <tuple>

#include <gtest/gtest.h>
#include <thrift/transport/TSocket.h>
#include <thrift/transport/TTransportException.h>

#include <thriftyol/limits/safe_server.h>
#include <thriftyol/service/Yol.h>

#include "loopback_server.h"

namespace yol {
namespace testing {
namespace {

using ::apache::thrift::transport::TSocket;
using ::apache::thrift::transport::TTransport;
using ::apache::thrift::transport::TTransportException;

class NameLength : public YolNull {
 public:
  int32_t SetMerivaultName(const std::string& sName) override {
    return static_cast<int32_t>(sName.size());
  }
};

std::shared_ptr<YolIfFactory> handlers() {
  return std::make_shared<YolIfSingletonFactory>(std::make_shared<NameLength>());
}

std::shared_ptr<TSocket> socketTo(int port) {
  auto socket = std::make_shared<TSocket>("127.0.0.1", port);
  socket->setRecvTimeout(10000);
  socket->setSendTimeout(10000);
  return socket;
}

class OneLongConnection : public ::testing::TestWithParam<std::tuple<std::string, std::string>> {
 protected:
  const std::string& protocol() const { return std::get<0>(GetParam()); }
  const std::string& transport() const { return std::get<1>(GetParam()); }
};

TEST_P(OneLongConnection, CarriesMoreThanTheMessageSizeLimitInTotal) {
  ServerSetup setup;
  setup.protocols = protocol_factory(protocol());
  setup.transports = transport_factory(transport());
  LoopbackServer server(handlers(), setup);

  const std::shared_ptr<TTransport> connection =
      transport_factory(transport())->getTransport(socketTo(server.port()));
  YolClient client(protocol_factory(protocol())->getProtocol(connection));
  connection->open();
  const std::string name(256 * 1024, 'n');
  const int calls = safe_server::kMaxMessageSize / static_cast<int>(name.size()) + 2;
  for (int call = 0; call < calls; ++call) {
    ASSERT_EQ(client.SetMerivaultName(name), static_cast<int32_t>(name.size())) << "call " << call;
  }
  connection->close();
}

INSTANTIATE_TEST_SUITE_P(EveryStack, OneLongConnection,
                         ::testing::Combine(::testing::Values("binary", "compact", "json"),
                                            ::testing::Values("buffered", "framed")),
                         [](const ::testing::TestParamInfo<OneLongConnection::ParamType>& info) {
                           return std::get<0>(info.param) + "_" + std::get<1>(info.param);
                         });

TEST(LoopbackServerStop, EndsASilentConnectionWithoutWaitingForIt) {
  LoopbackServer server(handlers());
  const std::shared_ptr<TTransport> connection =
      transport_factory("buffered")->getTransport(socketTo(server.port()));
  YolClient client(protocol_factory("binary")->getProtocol(connection));
  connection->open();
  ASSERT_EQ(client.SetMerivaultName("held"), 4);

  EXPECT_LT(server.stop(), std::chrono::milliseconds(5000));
  uint8_t byte;
  try {
    EXPECT_EQ(connection->read(&byte, 1), 0u) << "the connection is still open";
  } catch (const TTransportException& e) {
    EXPECT_NE(e.getType(), TTransportException::TIMED_OUT) << "the connection is still open";
  }
  EXPECT_EQ(server.stop(), std::chrono::milliseconds(0)) << "a second stop has nothing to do";
}

}  // namespace
}  // namespace testing
}  // namespace yol
