// The server of the soak test: the runtime's TThreadedServer with
// YolProcessorFactory on 127.0.0.1, an ephemeral port, one thread per
// connection, the limits of soak_peers.h, and a receive timeout that drops
// idle connections.
//
// The timeout bounds each read, not a whole connection: a peer that trickles
// a byte now and then within it keeps its thread, and this server bounds
// neither connections nor threads.
#ifndef THRIFTYOL_TESTS_SOAK_SOAK_SERVER_H
#define THRIFTYOL_TESTS_SOAK_SOAK_SERVER_H

#include <chrono>
#include <memory>
#include <thread>

#include <thrift/server/TThreadedServer.h>

#include <thriftyol/service/Yol.h>

namespace yol {
namespace soak {

class SoakServer {
 public:
  SoakServer(std::shared_ptr<YolIfFactory> handlers, std::chrono::milliseconds idle_timeout);
  ~SoakServer();
  SoakServer(const SoakServer&) = delete;
  SoakServer& operator=(const SoakServer&) = delete;

  int port() const { return port_; }

  // Stops serving and waits until every connection's thread has ended;
  // returns how long that took.
  std::chrono::milliseconds stop();

 private:
  std::unique_ptr<::apache::thrift::server::TThreadedServer> server_;
  std::thread serving_;
  int port_ = 0;
};

}  // namespace soak
}  // namespace yol

#endif  // THRIFTYOL_TESTS_SOAK_SOAK_SERVER_H
