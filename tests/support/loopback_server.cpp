#include "loopback_server.h"

#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <utility>

#include <thrift/concurrency/ThreadFactory.h>
#include <thrift/protocol/TJSONProtocol.h>
#include <thrift/transport/TServerSocket.h>

#include <thriftyol/limits/safe_server.h>

#ifdef __SANITIZE_THREAD__  // GCC's, which the ThreadSanitizer build uses
#include <sanitizer/tsan_interface.h>
#endif

namespace yol {
namespace testing {

namespace {

namespace at = ::apache::thrift;
using at::concurrency::Runnable;
using at::protocol::TProtocolFactory;
using at::transport::TTransport;
using at::transport::TTransportFactory;

// The accepting thread often destroys what a connection used (processor,
// handler, protocols, transports) after the connection's own thread has
// ended: the runtime holds them until the next connection arrives. A
// shared_ptr count orders the two threads, but inside libthrift, which is
// not instrumented, so ThreadSanitizer would report the destruction as a
// race. Under ThreadSanitizer every connection thread publishes what it did
// once it ends, and every such object takes that in before it is destroyed.
#ifdef __SANITIZE_THREAD__
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
  return std::shared_ptr<T>(object.get(), [held = object](T*) mutable {
    take_in_ended_connections();
    held.reset();
  });
}

struct HandedProcessors : at::TProcessorFactory {
  explicit HandedProcessors(std::shared_ptr<at::TProcessorFactory> f) : inner(std::move(f)) {}
  std::shared_ptr<at::TProcessor> getProcessor(const at::TConnectionInfo& info) override {
    return handed(inner->getProcessor(info));
  }
  std::shared_ptr<at::TProcessorFactory> inner;
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
  std::shared_ptr<at::protocol::TProtocol> getProtocol(std::shared_ptr<TTransport> trans) override {
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

struct ConnectionThreads : at::concurrency::ThreadFactory {
  ConnectionThreads() : ThreadFactory(/* detached */ false) {}
  std::shared_ptr<at::concurrency::Thread> newThread(std::shared_ptr<Runnable> r) const override {
    return ThreadFactory::newThread(
        handed<Runnable>(std::make_shared<PublishingRun>(std::move(r))));
  }
};

// Listens when told to, and no more when the server asks it to again: the
// port is known before the server runs.
struct ListenOnce : at::transport::TServerSocket {
  using TServerSocket::TServerSocket;
  void listen() override {
    if (!listening) {
      TServerSocket::listen();
      listening = true;
    }
  }
  bool listening = false;
};

}  // namespace

LoopbackServer::LoopbackServer(std::shared_ptr<at::TProcessorFactory> processors,
                               ServerSetup setup) {
  auto socket = std::make_shared<ListenOnce>("127.0.0.1", 0);
  socket->setRecvTimeout(static_cast<int>(setup.receive_timeout.count()));
  socket->setSendTimeout(static_cast<int>(setup.send_timeout.count()));
  socket->listen();
  port_ = socket->getPort();
  server_ = std::make_shared<at::server::TThreadedServer>(
      std::make_shared<HandedProcessors>(std::move(processors)), socket,
      std::make_shared<HandedTransports>(setup.transports ? setup.transports
                                                          : transport_factory("buffered")),
      std::make_shared<HandedProtocols>(setup.protocols ? setup.protocols
                                                        : protocol_factory("binary")),
      std::make_shared<ConnectionThreads>());
  server_->setConcurrentClientLimit(safe_server::kConcurrentClientLimit);
  served_ = std::async(std::launch::async, [server = server_] { server->serve(); });
}

LoopbackServer::LoopbackServer(std::shared_ptr<YolIfFactory> handlers, ServerSetup setup)
    : LoopbackServer(std::make_shared<YolProcessorFactory>(std::move(handlers)),
                     std::move(setup)) {}

LoopbackServer::~LoopbackServer() { stop(); }

void LoopbackServer::stop() {
  if (!served_.valid()) {
    return;
  }
  server_->stop();
  if (served_.wait_for(std::chrono::seconds(30)) != std::future_status::ready) {
    std::fprintf(stderr, "loopback server: the server did not stop within 30 s\n");
    std::abort();
  }
  served_.get();
}

std::shared_ptr<TProtocolFactory> protocol_factory(const std::string& name) {
  if (name == "binary") return safe_server::binaryProtocolFactory();
  if (name == "compact") return safe_server::compactProtocolFactory();
  if (name == "json") return std::make_shared<at::protocol::TJSONProtocolFactory>();
  throw std::invalid_argument("unknown protocol " + name);
}

std::shared_ptr<TTransportFactory> transport_factory(const std::string& name) {
  if (name == "buffered") return std::make_shared<safe_server::BufferedTransportFactory>();
  if (name == "framed") return std::make_shared<safe_server::FramedTransportFactory>();
  throw std::invalid_argument("unknown transport " + name);
}

}  // namespace testing
}  // namespace yol
