#include "soak_server.h"

#include <exception>
#include <future>
#include <mutex>
#include <utility>

#include <thrift/protocol/TBinaryProtocol.h>
#include <thrift/transport/TBufferTransports.h>
#include <thrift/transport/TServerSocket.h>

#include "soak_peers.h"

#if defined(__SANITIZE_THREAD__)
#define THRIFTYOL_SOAK_TSAN 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define THRIFTYOL_SOAK_TSAN 1
#endif
#endif

#ifdef THRIFTYOL_SOAK_TSAN
#include <sanitizer/tsan_interface.h>
#endif

namespace yol {
namespace soak {

namespace {

using ::apache::thrift::TConnectionInfo;
using ::apache::thrift::TProcessor;
using ::apache::thrift::TProcessorFactory;
using ::apache::thrift::protocol::TBinaryProtocolFactory;
using ::apache::thrift::protocol::TProtocol;
using ::apache::thrift::protocol::TProtocolFactory;
using ::apache::thrift::server::TServerEventHandler;
using ::apache::thrift::server::TThreadedServer;
using ::apache::thrift::transport::TBufferedTransport;
using ::apache::thrift::transport::TServerSocket;
using ::apache::thrift::transport::TTransport;
using ::apache::thrift::transport::TTransportFactory;

// A peer that stops reading its replies holds its server thread for at most
// this long once the socket's buffers are full.
constexpr int kSendTimeoutMs = 5000;

// The accepting thread often destroys what a connection used (processor,
// protocols, transports) after the connection's own thread has ended: the
// runtime keeps references to them in the accepting thread for a while. A
// shared_ptr count orders the two threads, but it is counted inside libthrift,
// which is not instrumented, so ThreadSanitizer cannot see that order and
// would report the destruction as a race. Under ThreadSanitizer, every
// connection thread publishes what it did when it ends, and every such object
// takes that in before it is destroyed. Elsewhere both steps are nothing.
#ifdef THRIFTYOL_SOAK_TSAN
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
  std::shared_ptr<TProcessor> getProcessor(const TConnectionInfo& connInfo) override {
    return handed_to_runtime(inner_->getProcessor(connInfo));
  }

 private:
  std::shared_ptr<TProcessorFactory> inner_;
};

// Binary protocols with the string and list limits.
class LimitedProtocolFactory : public TProtocolFactory {
 public:
  std::shared_ptr<TProtocol> getProtocol(std::shared_ptr<TTransport> trans) override {
    return handed_to_runtime(inner_.getProtocol(std::move(trans)));
  }

 private:
  TBinaryProtocolFactory inner_{kStringLimit, kContainerLimit, /* strict_read */ false,
                                /* strict_write */ true};
};

// Buffered transports with the message size limit.
class LimitedTransportFactory : public TTransportFactory {
 public:
  std::shared_ptr<TTransport> getTransport(std::shared_ptr<TTransport> trans) override {
    return handed_to_runtime<TTransport>(
        std::make_shared<TBufferedTransport>(std::move(trans), limited_configuration()));
  }
};

// Tells the bound port once the server listens (or why it could not start),
// and marks the end of each connection.
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
  void deleteContext(void*, std::shared_ptr<TProtocol>, std::shared_ptr<TProtocol>) override {
    connection_ended();
  }

 private:
  std::shared_ptr<TServerSocket> socket_;
  std::promise<int> port_;
  std::once_flag told_;
};

}  // namespace

SoakServer::SoakServer(std::shared_ptr<YolIfFactory> handlers,
                       std::chrono::milliseconds idle_timeout) {
  auto socket = std::make_shared<TServerSocket>("127.0.0.1", 0);
  socket->setRecvTimeout(static_cast<int>(idle_timeout.count()));
  socket->setSendTimeout(kSendTimeoutMs);
  auto events = std::make_shared<ServerEvents>(socket);
  std::future<int> port = events->port();
  server_ = std::make_unique<TThreadedServer>(
      std::make_shared<HandedProcessorFactory>(
          std::make_shared<YolProcessorFactory>(std::move(handlers))),
      socket, std::make_shared<LimitedTransportFactory>(),
      std::make_shared<LimitedProtocolFactory>());
  server_->setServerEventHandler(events);
  serving_ = std::thread([this, events] {
    try {
      server_->serve();
    } catch (...) {
      events->fail(std::current_exception());
    }
  });
  try {
    port_ = port.get();
  } catch (...) {
    serving_.join();
    throw;
  }
}

SoakServer::~SoakServer() { stop(); }

std::chrono::milliseconds SoakServer::stop() {
  const auto start = std::chrono::steady_clock::now();
  if (serving_.joinable()) {
    server_->stop();
    serving_.join();
  }
  return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() -
                                                               start);
}

}  // namespace soak
}  // namespace yol
