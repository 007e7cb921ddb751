// A threaded server of the runtime on 127.0.0.1 and a port the system picks,
// serving on a thread of its own, for tests and benchmarks that talk to a
// real server over loopback sockets. Unless told otherwise it serves with
// the limits of <thriftyol/limits/safe_server.h>.
//
// Starting returns once the server listens; stopping interrupts every
// connection and returns once every connection's thread has ended. A server
// that does not stop within 30 s ends the process with a message instead of
// hanging the test.
#ifndef THRIFTYOL_TESTS_SUPPORT_LOOPBACK_SERVER_H
#define THRIFTYOL_TESTS_SUPPORT_LOOPBACK_SERVER_H

#include <chrono>
#include <future>
#include <memory>
#include <string>

#include <thrift/TProcessor.h>
#include <thrift/protocol/TProtocol.h>
#include <thrift/server/TThreadedServer.h>
#include <thrift/transport/TTransport.h>

#include <thriftyol/service/Yol.h>

namespace yol {
namespace testing {

// How a LoopbackServer serves; null factories stand for the safe ones.
struct ServerSetup {
  std::shared_ptr<::apache::thrift::transport::TTransportFactory> transports;  // buffered
  std::shared_ptr<::apache::thrift::protocol::TProtocolFactory> protocols;     // binary
  // How long one read (one write) of a connection may wait; zero is for ever.
  std::chrono::milliseconds receive_timeout{0};
  std::chrono::milliseconds send_timeout{0};
};

class LoopbackServer {
 public:
  // Serves the processors `processors` makes, one per connection. Throws
  // when it cannot listen.
  explicit LoopbackServer(std::shared_ptr<::apache::thrift::TProcessorFactory> processors,
                          ServerSetup setup = {});
  // Serves Yol: a YolProcessorFactory around `handlers`.
  explicit LoopbackServer(std::shared_ptr<YolIfFactory> handlers, ServerSetup setup = {});
  ~LoopbackServer();  // stops, unless stopped already; ends the process if that throws
  LoopbackServer(const LoopbackServer&) = delete;
  LoopbackServer& operator=(const LoopbackServer&) = delete;

  int port() const { return port_; }
  // Stops serving and waits until every connection's thread has ended.
  // Throws what ended the server early, if anything did.
  void stop();

 private:
  std::shared_ptr<::apache::thrift::server::TThreadedServer> server_;
  std::future<void> served_;  // ready when serve() has returned or thrown
  int port_ = 0;
};

// The factories that "binary", "compact", "json" and "buffered", "framed"
// stand for, with the safe limits (the runtime's JSON protocol takes none).
// Other names throw std::invalid_argument.
std::shared_ptr<::apache::thrift::protocol::TProtocolFactory> protocol_factory(
    const std::string& name);
std::shared_ptr<::apache::thrift::transport::TTransportFactory> transport_factory(
    const std::string& name);

}  // namespace testing
}  // namespace yol

#endif  // THRIFTYOL_TESTS_SUPPORT_LOOPBACK_SERVER_H
