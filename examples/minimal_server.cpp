// minimal_server: serves the Yol service on 127.0.0.1 with a handler per
// connection, a log line per call and safe limits on what a peer can make
// the server allocate.
//
// usage: minimal_server [PORT]    (default 9090; 0 picks a free port)
// Prints "listening on 127.0.0.1:PORT", then serves until killed. Try it with
// minimal_client, or with `yolctl --port PORT status 7`.

#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <string>
#include <utility>

#include <thrift/server/TThreadedServer.h>
#include <thrift/transport/TServerSocket.h>

#include <thriftyol/limits/safe_server.h>
#include <thriftyol/service/Yol.h>

using ::apache::thrift::TConnectionInfo;
using ::apache::thrift::TProcessor;
using ::apache::thrift::TProcessorEventHandler;
using ::apache::thrift::server::TServerEventHandler;
using ::apache::thrift::server::TThreadedServer;
using ::apache::thrift::transport::TServerSocket;

// [handler]
// Answers two calls; every other call does nothing, as in yol::YolNull
// (returns 0 or false, leaves its result empty).
class GatewayHandler : public yol::YolNull {
 public:
  int32_t status(int32_t id) override { return id; }

  void getModemId(std::string& _return) override { _return = "MDM-0001"; }
};
// [handler-end]

// [handler-factory]
// One handler per connection, deleted when the connection's processor goes.
class HandlerFactory : public yol::YolIfFactory {
 public:
  yol::YolIf* getHandler(const TConnectionInfo& /* connInfo */) override {
    return new GatewayHandler;
  }
  void releaseHandler(yol::YolIf* handler) override { delete handler; }
};
// [handler-factory-end]

// [event-handler]
// A line on stderr per call that failed in the handler; the hooks see every
// call ("Yol.status", ...) and may time or count them as well.
class CallLog : public TProcessorEventHandler {
 public:
  void handlerError(void* /* ctx */, const char* fn_name) override {
    std::cerr << fn_name << ": the handler failed\n";
  }
};

// Puts the event handler on each connection's processor.
class LoggedProcessorFactory : public yol::YolProcessorFactory {
 public:
  using YolProcessorFactory::YolProcessorFactory;

  std::shared_ptr<TProcessor> getProcessor(const TConnectionInfo& connInfo) override {
    std::shared_ptr<TProcessor> processor = YolProcessorFactory::getProcessor(connInfo);
    processor->setEventHandler(log_);
    return processor;
  }

 private:
  std::shared_ptr<CallLog> log_ = std::make_shared<CallLog>();
};
// [event-handler-end]

// Says where the server listens once it does.
class Announcer : public TServerEventHandler {
 public:
  explicit Announcer(std::shared_ptr<TServerSocket> socket) : socket_(std::move(socket)) {}
  void preServe() override {
    std::cout << "listening on 127.0.0.1:" << socket_->getPort() << std::endl;
  }

 private:
  std::shared_ptr<TServerSocket> socket_;
};

int main(int argc, char** argv) {
  const int port = argc > 1 ? std::atoi(argv[1]) : 9090;
  try {
    // [server-setup]
    // The library's safe limits: no string, list or message may make the
    // server allocate more than a call can need, and each connection's
    // input is counted against them one message at a time.
    auto socket = std::make_shared<TServerSocket>("127.0.0.1", port);
    TThreadedServer server(
        std::make_shared<LoggedProcessorFactory>(std::make_shared<HandlerFactory>()), socket,
        std::make_shared<yol::safe_server::BufferedTransportFactory>(),
        yol::safe_server::binaryProtocolFactory());
    server.setConcurrentClientLimit(yol::safe_server::kConcurrentClientLimit);
    server.setServerEventHandler(std::make_shared<Announcer>(socket));
    server.serve();
    // [server-setup-end]
  } catch (const std::exception& e) {
    std::cerr << "minimal_server: " << e.what() << "\n";
    return 1;
  }
  return 0;
}
