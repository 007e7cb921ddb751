// The service over real sockets on 127.0.0.1, served by the runtime's
// threaded server through YolProcessorFactory: one call of each result
// shape through the binary and the compact protocol, the handler's return
// to its factory when a connection closes, and connections served at once
// on threads of their own, each with its own handler.
#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include <thrift/protocol/TBinaryProtocol.h>
#include <thrift/protocol/TCompactProtocol.h>
#include <thrift/server/TThreadedServer.h>
#include <thrift/transport/TBufferTransports.h>
#include <thrift/transport/TServerSocket.h>
#include <thrift/transport/TSocket.h>

#include <thriftyol/service/Yol.h>

#include "call_support.h"
#include "contract_calls.h"
#include "counting_factory.h"

namespace {

using ::apache::thrift::protocol::TBinaryProtocolFactory;
using ::apache::thrift::protocol::TCompactProtocolFactory;
using ::apache::thrift::protocol::TProtocolFactory;
using ::apache::thrift::server::TServerEventHandler;
using ::apache::thrift::server::TThreadedServer;
using ::apache::thrift::transport::TBufferedTransport;
using ::apache::thrift::transport::TBufferedTransportFactory;
using ::apache::thrift::transport::TServerSocket;
using ::apache::thrift::transport::TSocket;
using ::yol::YolClient;
using ::yol::YolProcessorFactory;
using namespace ::yol::service_test;
using namespace std::chrono_literals;

constexpr auto kPatience = 10s;

// Tells when the server listens.
class Listening : public TServerEventHandler {
 public:
  void preServe() override { listening_.set_value(); }
  std::future<void> future() { return listening_.get_future(); }

 private:
  std::promise<void> listening_;
};

// A threaded server on a loopback port chosen by the system, with buffered
// transports; stopped and joined when it goes.
class Server {
 public:
  Server(std::shared_ptr<yol::YolIfFactory> handlers, Protocol protocol)
      : socket_(std::make_shared<TServerSocket>("127.0.0.1", 0)),
        server_(std::make_shared<YolProcessorFactory>(handlers), socket_, std::make_shared<TBufferedTransportFactory>(),
                protocol_factory(protocol)) {
    auto listening = std::make_shared<Listening>();
    std::future<void> ready = listening->future();
    server_.setServerEventHandler(listening);
    thread_ = std::thread([this] { server_.serve(); });
    if (ready.wait_for(kPatience) != std::future_status::ready) {
      ADD_FAILURE() << "the server did not start listening";
    }
  }

  ~Server() {
    server_.stop();
    thread_.join();
  }

  int port() const { return socket_->getPort(); }

 private:
  static std::shared_ptr<TProtocolFactory> protocol_factory(Protocol protocol) {
    if (protocol == Protocol::binary) {
      return std::make_shared<TBinaryProtocolFactory>();
    }
    return std::make_shared<TCompactProtocolFactory>();
  }

  std::shared_ptr<TServerSocket> socket_;
  TThreadedServer server_;
  std::thread thread_;
};

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
  Server server(handlers, protocol);
  {
    Connection connection(server.port(), protocol);
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
  Server server(handlers, Protocol::binary);
  auto connection = std::make_unique<Connection>(server.port(), Protocol::binary);
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
  Server server(handlers, Protocol::compact);

  // What went wrong on each connection, if anything.
  std::vector<std::string> failures(kConnections);
  std::vector<std::thread> callers;
  for (int c = 0; c < kConnections; ++c) {
    callers.emplace_back([&, c] {
      try {
        Connection connection(server.port(), Protocol::compact);
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
