#include "loopback_server.h"

#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <stdexcept>
#include <utility>

#include <thrift/concurrency/Thread.h>
#include <thrift/concurrency/ThreadFactory.h>
#include <thrift/protocol/TJSONProtocol.h>
#include <thrift/transport/TBufferTransports.h>
#include <thrift/transport/TServerSocket.h>

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
using ::apache::thrift::server::TServerEventHandler;
using ::apache::thrift::server::TThreadedServer;
using ::apache::thrift::transport::TServerSocket;
using ::apache::thrift::transport::TTransport;
using ::apache::thrift::transport::TTransportFactory;
using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// The accepting thread often destroys what a connection used (processor,
// handler, protocols, transports) after the connection's own thread has
// ended: the runtime keeps references to them in the accepting thread until
// the next connection arrives. A shared_ptr count orders the two threads, but
// it is counted inside libthrift, which is not instrumented, so
// ThreadSanitizer cannot see that order and would report the destruction as
// a race. Under ThreadSanitizer, every connection thread publishes what it
// did once its connection is closed, and every such object takes that in
// before it is destroyed. Elsewhere both steps are nothing.
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
std::shared_ptr<T> handed_to_runtime(std::shared_ptr<T> object) {
  T* const raw = object.get();
  return std::shared_ptr<T>(raw, [held = std::move(object)](T*) mutable {
    take_in_ended_connections();
    held.reset();
  });
}

class HandedProcessorFactory : public TProcessorFactory {
 public:
  explicit HandedProcessorFactory(std::shared_ptr<TProcessorFactory> inner)
      : inner_(std::move(inner)) {}
  std::shared_ptr<TProcessor> getProcessor(const TConnectionInfo& info) override {
    return handed_to_runtime(inner_->getProcessor(info));
  }

 private:
  std::shared_ptr<TProcessorFactory> inner_;
};

class HandedTransportFactory : public TTransportFactory {
 public:
  explicit HandedTransportFactory(std::shared_ptr<TTransportFactory> inner)
      : inner_(std::move(inner)) {}
  std::shared_ptr<TTransport> getTransport(std::shared_ptr<TTransport> trans) override {
    return handed_to_runtime(inner_->getTransport(std::move(trans)));
  }

 private:
  std::shared_ptr<TTransportFactory> inner_;
};

class HandedProtocolFactory : public TProtocolFactory {
 public:
  using TProtocolFactory::getProtocol;
  explicit HandedProtocolFactory(std::shared_ptr<TProtocolFactory> inner)
      : inner_(std::move(inner)) {}
  std::shared_ptr<TProtocol> getProtocol(std::shared_ptr<TTransport> trans) override {
    return handed_to_runtime(inner_->getProtocol(std::move(trans)));
  }

 private:
  std::shared_ptr<TProtocolFactory> inner_;
};

// Runs a connection, then publishes what its thread did.
class PublishingRun : public Runnable {
 public:
  explicit PublishingRun(std::shared_ptr<Runnable> connection)
      : connection_(std::move(connection)) {}
  void run() override {
    connection_->run();
    connection_ended();
  }

 private:
  std::shared_ptr<Runnable> connection_;
};

// The threads of the connections, each ending in PublishingRun. The
// connection's own work (serving, closing its transports) is all done
// inside the runtime's runnable, so this is the last point its thread
// touches what the connection used.
class ConnectionThreads : public ThreadFactory {
 public:
  ConnectionThreads() : ThreadFactory(/* detached */ false) {}
  std::shared_ptr<Thread> newThread(std::shared_ptr<Runnable> connection) const override {
    return ThreadFactory::newThread(
        handed_to_runtime<Runnable>(std::make_shared<PublishingRun>(std::move(connection))));
  }
};

// Tells the bound port once the server listens, or why it could not start.
class ServerEvents : public TServerEventHandler {
 public:
  explicit ServerEvents(std::shared_ptr<TServerSocket> socket) : socket_(std::move(socket)) {}

  std::future<int> port() { return port_.get_future(); }
  void fail(std::exception_ptr error) {
    std::call_once(told_, [this, error] { port_.set_exception(error); });
  }

  void preServe() override {
    std::call_once(told_, [this] { port_.set_value(socket_->getPort()); });
  }

 private:
  std::shared_ptr<TServerSocket> socket_;
  std::promise<int> port_;
  std::once_flag told_;
};

[[noreturn]] void give_up(const char* what, milliseconds limit) {
  std::fprintf(stderr, "loopback server: %s within %lld ms\n", what,
               static_cast<long long>(limit.count()));
  std::fflush(stderr);
  std::abort();
}

}  // namespace

LoopbackServer::LoopbackServer(std::shared_ptr<TProcessorFactory> processors, ServerSetup setup)
    : stop_limit_(setup.stop_limit) {
  auto socket = std::make_shared<TServerSocket>("127.0.0.1", 0);
  socket->setRecvTimeout(static_cast<int>(setup.receive_timeout.count()));
  socket->setSendTimeout(static_cast<int>(setup.send_timeout.count()));
  if (!setup.transports) {
    setup.transports = std::make_shared<safe_server::BufferedTransportFactory>();
  }
  if (!setup.protocols) {
    setup.protocols = safe_server::binaryProtocolFactory();
  }
  server_ = std::make_shared<TThreadedServer>(
      std::make_shared<HandedProcessorFactory>(std::move(processors)), socket,
      std::make_shared<HandedTransportFactory>(std::move(setup.transports)),
      std::make_shared<HandedProtocolFactory>(std::move(setup.protocols)),
      std::make_shared<ConnectionThreads>());
  server_->setConcurrentClientLimit(setup.concurrent_clients);
  auto events = std::make_shared<ServerEvents>(socket);
  server_->setServerEventHandler(events);
  std::future<int> port = events->port();
  std::promise<void> served;
  served_ = served.get_future();
  serving_ = std::thread([server = server_, events, served = std::move(served)]() mutable {
    try {
      server->serve();
      served.set_value();
    } catch (...) {
      events->fail(std::current_exception());
      served.set_exception(std::current_exception());
    }
  });
  if (port.wait_for(setup.start_limit) != std::future_status::ready) {
    give_up("the server did not listen", setup.start_limit);
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
  } catch (...) {
    std::fprintf(stderr, "loopback server: ended by an exception of unknown type\n");
  }
}

milliseconds LoopbackServer::stop() {
  if (!serving_.joinable()) {
    return milliseconds(0);
  }
  const Clock::time_point start = Clock::now();
  server_->stop();
  if (served_.wait_for(stop_limit_) != std::future_status::ready) {
    give_up("the server did not stop", stop_limit_);
  }
  serving_.join();
  const auto took = std::chrono::duration_cast<milliseconds>(Clock::now() - start);
  served_.get();
  return took;
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
