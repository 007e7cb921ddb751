#include "loopback_server.h"

#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <utility>

#include <thrift/concurrency/ThreadFactory.h>
#include <thrift/protocol/TJSONProtocol.h>
#include <thrift/transport/TServerSocket.h>

#include <thriftyol/limits/safe_server.h>

#if defined(__SANITIZE_THREAD__)
#define THRIFTYOL_TESTING_TSAN 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define THRIFTYOL_TESTING_TSAN 1
#endif
#endif
#ifdef THRIFTYOL_TESTING_TSAN
#include <sanitizer/tsan_interface.h>
#endif

namespace yol {
namespace testing {

namespace {

using ::apache::thrift::TConnectionInfo;
using ::apache::thrift::TProcessor;
using ::apache::thrift::TProcessorFactory;
using ::apache::thrift::concurrency::Runnable;
using ::apache::thrift::concurrency::Thread;
using ::apache::thrift::concurrency::ThreadFactory;
using ::apache::thrift::protocol::TProtocol;
using ::apache::thrift::protocol::TProtocolFactory;
using ::apache::thrift::transport::TServerSocket;
using ::apache::thrift::transport::TTransport;
using ::apache::thrift::transport::TTransportFactory;

constexpr std::chrono::seconds kLimit{30};

// The accepting thread often destroys what a connection used (processor,
// handler, protocols, transports) after the connection's own thread has
// ended: the runtime holds them until the next connection arrives. A
// shared_ptr count orders the two threads, but inside libthrift, which is
// not instrumented, so ThreadSanitizer would report the destruction as a
// race. Under ThreadSanitizer every connection thread publishes what it did
// once it ends, and every such object takes that in before it is destroyed.
#ifdef THRIFTYOL_TESTING_TSAN
char g_connections_ended;
void connection_ended() { __tsan_release(&g_connections_ended); }
void take_in_ended_connections() { __tsan_acquire(&g_connections_ended); }
#else
void connection_ended() {}
void take_in_ended_connections() {}
#endif

// `object`, behind a holder that takes in the ended connections first when
// the runtime lets go of it.
template <class T>
std::shared_ptr<T> handed(std::shared_ptr<T> object) {
  T* const raw = object.get();
  return std::shared_ptr<T>(raw, [held = std::move(object)](T*) mutable {
    take_in_ended_connections();
    held.reset();
  });
}

struct HandedProcessors : TProcessorFactory {
  explicit HandedProcessors(std::shared_ptr<TProcessorFactory> f) : inner(std::move(f)) {}
  std::shared_ptr<TProcessor> getProcessor(const TConnectionInfo& info) override {
    return handed(inner->getProcessor(info));
  }
  std::shared_ptr<TProcessorFactory> inner;
};

struct HandedTransports : TTransportFactory {
  explicit HandedTransports(std::shared_ptr<TTransportFactory> f) : inner(std::move(f)) {}
  std::shared_ptr<TTransport> getTransport(std::shared_ptr<TTransport> trans) override {
    return handed(inner->getTransport(std::move(trans)));
  }
  std::shared_ptr<TTransportFactory> inner;
};

struct HandedProtocols : TProtocolFactory {
  explicit HandedProtocols(std::shared_ptr<TProtocolFactory> f) : inner(std::move(f)) {}
  std::shared_ptr<TProtocol> getProtocol(std::shared_ptr<TTransport> trans) override {
    return handed(inner->getProtocol(std::move(trans)));
  }
  std::shared_ptr<TProtocolFactory> inner;
};

// A connection's thread: the runtime's runnable does all the connection's
// work, so after it the thread touches nothing the connection used.
struct PublishingRun : Runnable {
  explicit PublishingRun(std::shared_ptr<Runnable> r) : connection(std::move(r)) {}
  void run() override {
    connection->run();
    connection_ended();
  }
  std::shared_ptr<Runnable> connection;
};

struct ConnectionThreads : ThreadFactory {
  ConnectionThreads() : ThreadFactory(/* detached */ false) {}
  std::shared_ptr<Thread> newThread(std::shared_ptr<Runnable> connection) const override {
    return ThreadFactory::newThread(
        handed<Runnable>(std::make_shared<PublishingRun>(std::move(connection))));
  }
};

// Tells the bound port once the server listens.
struct ListenEvent : ::apache::thrift::server::TServerEventHandler {
  explicit ListenEvent(std::shared_ptr<TServerSocket> s) : socket(std::move(s)) {}
  void preServe() override { port.set_value(socket->getPort()); }
  std::shared_ptr<TServerSocket> socket;
  std::promise<int> port;
};

[[noreturn]] void give_up(const char* what) {
  std::fprintf(stderr, "loopback server: %s within %lld s\n", what,
               static_cast<long long>(kLimit.count()));
  std::abort();
}

}  // namespace

LoopbackServer::LoopbackServer(std::shared_ptr<TProcessorFactory> processors, ServerSetup setup) {
  auto socket = std::make_shared<TServerSocket>("127.0.0.1", 0);
  socket->setRecvTimeout(static_cast<int>(setup.receive_timeout.count()));
  socket->setSendTimeout(static_cast<int>(setup.send_timeout.count()));
  server_ = std::make_shared<::apache::thrift::server::TThreadedServer>(
      std::make_shared<HandedProcessors>(std::move(processors)), socket,
      std::make_shared<HandedTransports>(setup.transports ? setup.transports
                                                          : transport_factory("buffered")),
      std::make_shared<HandedProtocols>(setup.protocols ? setup.protocols
                                                        : protocol_factory("binary")),
      std::make_shared<ConnectionThreads>());
  server_->setConcurrentClientLimit(safe_server::kConcurrentClientLimit);
  auto listening = std::make_shared<ListenEvent>(socket);
  server_->setServerEventHandler(listening);
  std::future<int> port = listening->port.get_future();
  std::packaged_task<void()> serve([server = server_, listening] {
    try {
      server->serve();
    } catch (...) {
      try {
        listening->port.set_exception(std::current_exception());
      } catch (const std::future_error&) {  // it listened before it failed
      }
      throw;
    }
  });
  served_ = serve.get_future();
  serving_ = std::thread(std::move(serve));
  if (port.wait_for(kLimit) != std::future_status::ready) {
    give_up("the server did not listen");
  }
  try {
    port_ = port.get();
  } catch (...) {
    serving_.join();
    throw;
  }
}

LoopbackServer::LoopbackServer(std::shared_ptr<YolIfFactory> handlers, ServerSetup setup)
    : LoopbackServer(std::make_shared<YolProcessorFactory>(std::move(handlers)),
                     std::move(setup)) {}

LoopbackServer::~LoopbackServer() {
  try {
    stop();
  } catch (const std::exception& e) {
    std::fprintf(stderr, "loopback server: %s\n", e.what());
  }
}

void LoopbackServer::stop() {
  if (!serving_.joinable()) {
    return;
  }
  server_->stop();
  if (served_.wait_for(kLimit) != std::future_status::ready) {
    give_up("the server did not stop");
  }
  serving_.join();
  served_.get();
}

std::shared_ptr<TProtocolFactory> protocol_factory(const std::string& name) {
  if (name == "binary") {
    return safe_server::binaryProtocolFactory();
  }
  if (name == "compact") {
    return safe_server::compactProtocolFactory();
  }
  if (name == "json") {
    return std::make_shared<::apache::thrift::protocol::TJSONProtocolFactory>();
  }
  throw std::invalid_argument("unknown protocol " + name);
}

std::shared_ptr<TTransportFactory> transport_factory(const std::string& name) {
  if (name == "buffered") {
    return std::make_shared<safe_server::BufferedTransportFactory>();
  }
  if (name == "framed") {
    return std::make_shared<safe_server::FramedTransportFactory>();
  }
  throw std::invalid_argument("unknown transport " + name);
}

}  // namespace testing
}  // namespace yol
