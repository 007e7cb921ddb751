// A threaded server of the runtime on 127.0.0.1 and a port the system picks,
// serving on a thread of its own, for tests and benchmarks that talk to a
// real server over loopback sockets. Unless told otherwise it serves with
// the limits of <thriftyol/limits/safe_server.h>: buffered transports whose
// message size budget starts afresh with every message, the binary
// protocol with string and list limits, and at most
// safe_server::kConcurrentClientLimit connections served at once.
//
// Starting returns once the server listens; stopping interrupts every
// connection and returns once every connection's thread has ended. Both
// are bounded: a server that does not listen, or does not stop, within its
// limit ends the process with a message instead of hanging the test.
//
// Under ThreadSanitizer the server also tells the sanitizer how a
// connection's end is ordered before the runtime destroys what the
// connection used (see loopback_server.cpp), so that threaded-server tests
// report only real races.
#ifndef THRIFTYOL_TESTS_SUPPORT_LOOPBACK_SERVER_H
#define THRIFTYOL_TESTS_SUPPORT_LOOPBACK_SERVER_H

#include <chrono>
#include <cstdint>
#include <future>
#include <memory>
#include <string>
#include <thread>

#include <thrift/TProcessor.h>
#include <thrift/protocol/TProtocol.h>
#include <thrift/server/TThreadedServer.h>
#include <thrift/transport/TTransport.h>

#include <thriftyol/limits/safe_server.h>
#include <thriftyol/service/Yol.h>

namespace yol {
namespace testing {

// How a LoopbackServer serves; the defaults are the safe limits.
struct ServerSetup {
  // Null: safe_server::BufferedTransportFactory.
  std::shared_ptr<::apache::thrift::transport::TTransportFactory> transports;
  // Null: safe_server::binaryProtocolFactory().
  std::shared_ptr<::apache::thrift::protocol::TProtocolFactory> protocols;
  // Connections served at once; further ones wait to be accepted.
  int64_t concurrent_clients = safe_server::kConcurrentClientLimit;
  // How long one read (one write) of a connection may wait; zero is for
  // ever. A connection whose read times out is dropped.
  std::chrono::milliseconds receive_timeout{0};
  std::chrono::milliseconds send_timeout{0};
  // How long the server may take to listen, and to stop.
  std::chrono::milliseconds start_limit{30000};
  std::chrono::milliseconds stop_limit{30000};
};

class LoopbackServer {
 public:
  // Serves the processors `processors` makes, one per connection. Throws
  // what the server threw when it cannot listen.
  explicit LoopbackServer(std::shared_ptr<::apache::thrift::TProcessorFactory> processors,
                          ServerSetup setup = {});
  // Serves Yol: a YolProcessorFactory around `handlers`.
  explicit LoopbackServer(std::shared_ptr<YolIfFactory> handlers, ServerSetup setup = {});
  // Stops, unless stopped already; never throws.
  ~LoopbackServer();
  LoopbackServer(const LoopbackServer&) = delete;
  LoopbackServer& operator=(const LoopbackServer&) = delete;

  int port() const { return port_; }

  // Stops serving and waits until every connection's thread has ended;
  // returns how long that took (zero when already stopped). Throws what
  // ended the server early, if anything did.
  std::chrono::milliseconds stop();

 private:
  std::chrono::milliseconds stop_limit_;
  std::shared_ptr<::apache::thrift::server::TThreadedServer> server_;
  std::thread serving_;
  std::future<void> served_;  // ready when serve() has returned or thrown
  int port_ = 0;
};

// The factories that the names "binary", "compact", "json" and "buffered",
// "framed" stand for, with the safe limits: the string and list limits for
// binary and compact (the runtime's JSON protocol takes none), and
// safe_server::configuration() on every transport. Other names throw
// std::invalid_argument.
std::shared_ptr<::apache::thrift::protocol::TProtocolFactory> protocol_factory(
    const std::string& name);
std::shared_ptr<::apache::thrift::transport::TTransportFactory> transport_factory(
    const std::string& name);

}  // namespace testing
}  // namespace yol

#endif  // THRIFTYOL_TESTS_SUPPORT_LOOPBACK_SERVER_H
