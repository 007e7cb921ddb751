// yol_example: serves the Yol service on a loopback port with a small handler
// of its own, then calls it once for each shape of result and prints what
// came back, one line per call. Exits 0 when every call succeeded.

#include <exception>
#include <future>
#include <iostream>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <thrift/TConfiguration.h>
#include <thrift/TToString.h>
#include <thrift/protocol/TBinaryProtocol.h>
#include <thrift/server/TThreadedServer.h>
#include <thrift/transport/TBufferTransports.h>
#include <thrift/transport/TServerSocket.h>
#include <thrift/transport/TSocket.h>

#include <thriftyol/limits/safe_server.h>
#include <thriftyol/service/Yol.h>

namespace {

using ::apache::thrift::TConfiguration;
using ::apache::thrift::TConnectionInfo;
using ::apache::thrift::protocol::TBinaryProtocol;
using ::apache::thrift::protocol::TBinaryProtocolFactory;
using ::apache::thrift::server::TServerEventHandler;
using ::apache::thrift::server::TThreadedServer;
using ::apache::thrift::transport::TBufferedTransport;
using ::apache::thrift::transport::TServerSocket;
using ::apache::thrift::transport::TSocket;
using ::apache::thrift::transport::TTransport;
using ::apache::thrift::transport::TTransportFactory;

// Limits for both ends: no message, string or list may ask for more memory
// than a call of this service can sensibly need.
constexpr int kMaxMessageSize = 1024 * 1024;
constexpr int32_t kStringLimit = 1024 * 1024;
constexpr int32_t kContainerLimit = 64 * 1024;
constexpr int kTimeoutMs = 5000;

// Answers the calls that this example makes; every other call does nothing,
// as in yol::YolNull.
class ExampleHandler : public yol::YolNull {
 public:
  int32_t status(int32_t id) override { return id + 1; }

  bool getWanStatus() override { return true; }

  void getModemId(std::string& _return) override { _return = "MDM-0042"; }

  void GetModemInfo(yol::stCellularInfo& _return) override {
    _return.model = "EG25-G";
    _return.__set_modemid("MDM-0042");
    _return.__set_rssi("-71");
    _return.__set_roaming(false);
    _return.__set_age_of_data(3);
  }

  void SYS_GetInterfaceList(std::vector<std::string>& _return) override {
    _return = {"eth0", "wwan0", "can0"};
  }

  void FT_GetHistoryIndex(std::vector<yol::stFileHistory>& _return, int32_t sStartIndex,
                          int32_t sEndIndex) override {
    _return.clear();
    for (int32_t index = sStartIndex; index <= sEndIndex && index < sStartIndex + 3; ++index) {
      yol::stFileHistory entry;
      entry.index = index;
      entry.__set_name("log-" + std::to_string(index) + ".txt");
      entry.__set_status(0);
      _return.push_back(entry);
    }
  }
};

// One handler per connection, deleted when that connection's processor goes.
class ExampleHandlerFactory : public yol::YolIfFactory {
 public:
  yol::YolIf* getHandler(const TConnectionInfo& /* connInfo */) override {
    return new ExampleHandler;
  }
  void releaseHandler(yol::YolIf* handler) override { delete handler; }
};

// Buffered transports that carry the configuration with the message limit,
// counting each message's input against it on its own.
class LimitedBufferedTransportFactory : public TTransportFactory {
 public:
  explicit LimitedBufferedTransportFactory(std::shared_ptr<TConfiguration> config)
      : config_(std::move(config)) {}

  std::shared_ptr<TTransport> getTransport(std::shared_ptr<TTransport> trans) override {
    return std::make_shared<yol::safe_server::BufferedTransport>(trans, config_);
  }

 private:
  std::shared_ptr<TConfiguration> config_;
};

// Tells the main thread the bound port once the server listens, or why the
// server could not start.
class PortAnnouncer : public TServerEventHandler {
 public:
  explicit PortAnnouncer(std::shared_ptr<TServerSocket> socket) : socket_(std::move(socket)) {}

  std::future<int> port() { return port_.get_future(); }

  void preServe() override {
    std::call_once(told_, [this] { port_.set_value(socket_->getPort()); });
  }

  void fail(std::exception_ptr error) {
    std::call_once(told_, [this, error] { port_.set_exception(error); });
  }

 private:
  std::shared_ptr<TServerSocket> socket_;
  std::promise<int> port_;
  std::once_flag told_;
};

std::shared_ptr<TConfiguration> limitedConfiguration() {
  return std::make_shared<TConfiguration>(kMaxMessageSize);
}

void callEachShape(int port) {
  auto socket = std::make_shared<TSocket>("127.0.0.1", port, limitedConfiguration());
  socket->setConnTimeout(kTimeoutMs);
  socket->setRecvTimeout(kTimeoutMs);
  socket->setSendTimeout(kTimeoutMs);
  auto transport = std::make_shared<TBufferedTransport>(socket, limitedConfiguration());
  auto protocol = std::make_shared<TBinaryProtocol>(transport, kStringLimit, kContainerLimit,
                                                    /* strict_read */ false,
                                                    /* strict_write */ true);
  yol::YolClient client(protocol);
  transport->open();

  client.ping();
  std::cout << "ping: done\n";

  std::cout << "status(41): " << client.status(41) << "\n";

  std::cout << "getWanStatus: " << (client.getWanStatus() ? "true" : "false") << "\n";

  std::string modemId;
  client.getModemId(modemId);
  std::cout << "getModemId: " << modemId << "\n";

  yol::stCellularInfo info;
  client.GetModemInfo(info);
  std::cout << "GetModemInfo: " << info << "\n";

  std::vector<std::string> interfaces;
  client.SYS_GetInterfaceList(interfaces);
  std::cout << "SYS_GetInterfaceList: " << ::apache::thrift::to_string(interfaces) << "\n";

  std::vector<yol::stFileHistory> history;
  client.FT_GetHistoryIndex(history, 1, 2);
  std::cout << "FT_GetHistoryIndex(1, 2): " << ::apache::thrift::to_string(history) << "\n";

  transport->close();
}

}  // namespace

int main() {
  try {
    auto serverSocket = std::make_shared<TServerSocket>("127.0.0.1", 0);
    auto announcer = std::make_shared<PortAnnouncer>(serverSocket);
    std::future<int> port = announcer->port();

    TThreadedServer server(
        std::make_shared<yol::YolProcessorFactory>(std::make_shared<ExampleHandlerFactory>()),
        serverSocket, std::make_shared<LimitedBufferedTransportFactory>(limitedConfiguration()),
        std::make_shared<TBinaryProtocolFactory>(kStringLimit, kContainerLimit,
                                                 /* strict_read */ false,
                                                 /* strict_write */ true));
    server.setServerEventHandler(announcer);

    std::thread serving([&server, &announcer] {
      try {
        server.serve();
      } catch (...) {
        announcer->fail(std::current_exception());
      }
    });

    int status = 0;
    try {
      callEachShape(port.get());
    } catch (const std::exception& e) {
      std::cerr << "yol_example: " << e.what() << "\n";
      status = 1;
    }
    server.stop();
    serving.join();
    return status;
  } catch (const std::exception& e) {
    std::cerr << "yol_example: " << e.what() << "\n";
    return 1;
  }
}
