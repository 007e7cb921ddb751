// The service over real sockets on 127.0.0.1, served by the runtime's
// threaded server through YolProcessorFactory (the shared loopback server):
// one call of each result shape through the binary and the compact
// protocol, the handler's return to its factory when a connection closes,
// and connections served at once on threads of their own, each with its
// own handler.
#include <chrono>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include <thrift/transport/TBufferTransports.h>
#include <thrift/transport/TSocket.h>

#include <thriftyol/service/Yol.h>

#include "call_support.h"
#include "contract_calls.h"
#include "counting_factory.h"
#include "loopback_server.h"

namespace {

using ::apache::thrift::transport::TBufferedTransport;
using ::apache::thrift::transport::TSocket;
using ::yol::YolClient;
using ::yol::testing::LoopbackServer;
using ::yol::testing::protocol_factory;
using ::yol::testing::ServerSetup;
using ::yol::testing::transport_factory;
using namespace ::yol::service_test;
using namespace std::chrono_literals;

constexpr auto kPatience = 10s;

// The shared loopback server, with buffered transports and `protocol`.
std::unique_ptr<LoopbackServer> serve(std::shared_ptr<yol::YolIfFactory> handlers, Protocol protocol) {
  ServerSetup setup;
  setup.transports = transport_factory("buffered");
  setup.protocols = protocol_factory(protocol == Protocol::binary ? "binary" : "compact");
  return std::make_unique<LoopbackServer>(std::move(handlers), setup);
}

// A client on its own connection, with bounded waits.
struct Connection {
  Connection(int port, Protocol protocol)
      : socket(std::make_shared<TSocket>("127.0.0.1", port)),
        transport(std::make_shared<TBufferedTransport>(socket)),
        client(make_protocol(protocol, transport)) {
    socket->setConnTimeout(5000);
    socket->setRecvTimeout(5000);
    socket->setSendTimeout(5000);
    transport->open();
  }

  std::shared_ptr<TSocket> socket;
  std::shared_ptr<TBufferedTransport> transport;
  YolClient client;
};

// Waits, within kPatience, until `done` holds.
bool eventually(const std::function<bool()>& done) {
  const auto deadline = std::chrono::steady_clock::now() + kPatience;
  while (!done()) {
    if (std::chrono::steady_clock::now() > deadline) {
      return false;
    }
    std::this_thread::sleep_for(5ms);
  }
  return true;
}

template <class C>
void one_call(Protocol protocol) {
  auto handlers = std::make_shared<CountingFactory>();
  const auto server = serve(handlers, protocol);
  {
    Connection connection(server->port(), protocol);
    const typename C::Args sent = sample_args<C>();
    typename C::Result result{};
    C::call(connection.client, sent, result);
    EXPECT_EQ(result, sample_result<C>());

    const std::vector<RecordingHandler*> handed = handlers->handed();
    ASSERT_EQ(handed.size(), 1u);
    const auto received = handed[0]->received();
    ASSERT_EQ(received.size(), 1u);
    EXPECT_EQ(received[0].name, C::name);
    EXPECT_EQ(std::any_cast<typename C::Args>(received[0].args), sent);
  }
  EXPECT_TRUE(eventually([&] { return handlers->released().size() == 1; }));
}

struct ShapeCase {
  std::string name;
  void (*run)(Protocol);
};

void PrintTo(const ShapeCase& c, std::ostream* out) {
  *out << c.name;
}

template <class C>
ShapeCase shape_case() {
  return {C::name, &one_call<C>};
}

class EachResultShape : public ::testing::TestWithParam<std::tuple<ShapeCase, Protocol>> {};

TEST_P(EachResultShape, CrossesARealSocket) {
  std::get<0>(GetParam()).run(std::get<1>(GetParam()));
}

INSTANTIATE_TEST_SUITE_P(
    Socket, EachResultShape,
    ::testing::Combine(::testing::Values(shape_case<Call_ping>(), shape_case<Call_status>(),
                                         shape_case<Call_getWanStatus>(), shape_case<Call_getModemId>(),
                                         shape_case<Call_GetModemInfo>(), shape_case<Call_SYS_GetInterfaceList>(),
                                         shape_case<Call_FT_GetHistoryIndex>()),
                       ::testing::Values(Protocol::binary, Protocol::compact)),
    [](const ::testing::TestParamInfo<EachResultShape::ParamType>& info) {
      return std::string(protocol_name(std::get<1>(info.param))) + "_" + std::get<0>(info.param).name;
    });

TEST(ThreadedServer, HandlerGoesBackToItsFactoryOnceWhenTheConnectionCloses) {
  auto handlers = std::make_shared<CountingFactory>();
  const auto server = serve(handlers, Protocol::binary);
  auto connection = std::make_unique<Connection>(server->port(), Protocol::binary);
  connection->client.ping();
  connection->client.ping();
  ASSERT_EQ(handlers->handed().size(), 1u);
  EXPECT_TRUE(handlers->released().empty()) << "released while the connection is open";

  connection.reset();
  ASSERT_TRUE(eventually([&] { return !handlers->released().empty(); }));
  std::this_thread::sleep_for(20ms);
  EXPECT_EQ(handlers->released(), std::vector<yol::YolIf*>{handlers->handed()[0]});
}

TEST(ThreadedServer, ConnectionsServedAtOnceEachHaveTheirOwnHandler) {
  constexpr int kConnections = 4;
  constexpr int kCalls = 25;
  auto handlers = std::make_shared<CountingFactory>();
  const auto server = serve(handlers, Protocol::compact);

  // What went wrong on each connection, if anything.
  std::vector<std::string> failures(kConnections);
  std::vector<std::thread> callers;
  for (int c = 0; c < kConnections; ++c) {
    callers.emplace_back([&, c] {
      try {
        Connection connection(server->port(), Protocol::compact);
        for (int i = 0; i < kCalls; ++i) {
          if (connection.client.status(c * 1000 + i) != sample_result<Call_status>()) {
            failures[c] = "wrong answer to call " + std::to_string(i);
            return;
          }
        }
      } catch (const std::exception& e) {
        failures[c] = e.what();
      }
    });
  }
  for (std::thread& caller : callers) {
    caller.join();
  }
  EXPECT_EQ(failures, std::vector<std::string>(kConnections));

  // Each handler saw one connection's calls, in the order they were made.
  const std::vector<RecordingHandler*> handed = handlers->handed();
  ASSERT_EQ(handed.size(), static_cast<std::size_t>(kConnections));
  std::set<int> connections_seen;
  for (RecordingHandler* handler : handed) {
    const auto received = handler->received();
    ASSERT_EQ(received.size(), static_cast<std::size_t>(kCalls));
    const int first = std::get<0>(std::any_cast<Call_status::Args>(received[0].args));
    connections_seen.insert(first / 1000);
    for (int i = 0; i < kCalls; ++i) {
      EXPECT_EQ(std::get<0>(std::any_cast<Call_status::Args>(received[i].args)), first + i);
    }
  }
  EXPECT_EQ(connections_seen.size(), static_cast<std::size_t>(kConnections));
  EXPECT_TRUE(eventually([&] { return handlers->released().size() == static_cast<std::size_t>(kConnections); }));
}

}  // namespace
