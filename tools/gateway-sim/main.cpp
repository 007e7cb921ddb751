// yol-gateway-sim: a simulated telematics gateway serving the Yol service;
// see `yol-gateway-sim --help` and README.md beside this file.
#include <pthread.h>
#include <signal.h>

#include <condition_variable>
#include <fstream>
#include <iostream>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>
#include <thrift/server/TThreadedServer.h>
#include <thrift/transport/TServerSocket.h>

#include <thriftyol/limits/safe_server.h>

#include "call_log.h"
#include "options.h"
#include "shared_gateway.h"
#include "state.h"
#include "transports.h"

namespace {

using ::apache::thrift::server::TServerEventHandler;
using ::apache::thrift::server::TThreadedServer;
using ::apache::thrift::transport::TServerSocket;

constexpr const char* kName = "yol-gateway-sim";

gatewaysim::GatewayState readState(const std::string& file) {
  if (file.empty()) {
    return gatewaysim::defaultState();
  }
  std::ifstream in(file);
  if (!in) {
    throw std::runtime_error("cannot read " + file);
  }
  nlohmann::json j;
  try {
    in >> j;
  } catch (const nlohmann::json::exception& e) {
    throw std::runtime_error(file + " is no JSON: " + e.what());
  }
  try {
    return gatewaysim::loadState(j);
  } catch (const std::exception& e) {
    throw std::runtime_error(file + ": " + e.what());
  }
}

// Where the server is: whether it listens yet, and whether serve() is over.
class ServeProgress : public TServerEventHandler {
 public:
  ServeProgress(std::shared_ptr<TServerSocket> socket, std::string host)
      : socket_(std::move(socket)), host_(std::move(host)) {}

  void preServe() override {
    std::cout << "listening on " << host_ << ":" << socket_->getPort() << std::endl;
    std::lock_guard<std::mutex> lock(mutex_);
    listening_ = true;
    changed_.notify_all();
  }

  void ended() {
    std::lock_guard<std::mutex> lock(mutex_);
    ended_ = true;
    changed_.notify_all();
  }

  // Waits until the server listens (true) or serve() is over (false).
  bool waitListening() {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [this] { return listening_ || ended_; });
    return !ended_;
  }

 private:
  std::shared_ptr<TServerSocket> socket_;
  std::string host_;
  std::mutex mutex_;
  std::condition_variable changed_;
  bool listening_ = false;
  bool ended_ = false;
};

int serve(const gatewaysim::Options& options, gatewaysim::GatewayState state) {
  // SIGINT and SIGTERM are blocked in every thread and taken by one thread
  // through sigwait, which then stops the server outside any signal handler.
  // SIGUSR1 only wakes that thread when the server ends for another reason.
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  sigaddset(&signals, SIGUSR1);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);

  auto gateway = std::make_shared<gatewaysim::SharedGateway>(std::move(state));
  std::shared_ptr<::apache::thrift::TProcessorFactory> processors =
      std::make_shared<yol::YolProcessorFactory>(
          std::make_shared<gatewaysim::GatewayHandlerFactory>(gateway));
  if (!options.quiet) {
    processors = std::make_shared<gatewaysim::EventHandlerFactory>(
        processors, std::make_shared<gatewaysim::CallLog>(std::cerr));
  }
  auto socket = std::make_shared<TServerSocket>(options.host, options.port);
  auto progress = std::make_shared<ServeProgress>(socket, options.host);
  TThreadedServer server(processors, socket, gatewaysim::makeTransportFactory(options.transport),
                         gatewaysim::makeProtocolFactory(options.protocol));
  server.setConcurrentClientLimit(yol::safe_server::kConcurrentClientLimit);
  server.setServerEventHandler(progress);

  std::thread stopper([&signals, &server, &progress, &options] {
    int signal = 0;
    sigwait(&signals, &signal);
    if (signal == SIGUSR1) {
      return;
    }
    if (!options.quiet) {
      std::cerr << kName << ": stopping on " << (signal == SIGINT ? "SIGINT" : "SIGTERM")
                << std::endl;
    }
    if (progress->waitListening()) {
      server.stop();
    }
  });

  int status = 0;
  try {
    server.serve();
  } catch (const std::exception& e) {
    std::cerr << kName << ": cannot serve on " << options.host << ":" << options.port << ": "
              << e.what() << std::endl;
    status = 1;
  }
  progress->ended();
  pthread_kill(stopper.native_handle(), SIGUSR1);
  stopper.join();
  return status;
}

}  // namespace

int main(int argc, char** argv) {
  gatewaysim::Options options;
  try {
    options = gatewaysim::parseOptions(std::vector<std::string>(argv + 1, argv + argc));
  } catch (const gatewaysim::UsageError& e) {
    std::cerr << kName << ": " << e.what() << "\nTry '" << kName << " --help'.\n";
    return 2;
  }
  if (options.help) {
    std::cout << gatewaysim::kUsage;
    return 0;
  }
  if (options.print_default_state) {
    std::cout << gatewaysim::defaultStateJson();
    return 0;
  }
  gatewaysim::GatewayState state;
  try {
    state = readState(options.state_file);
  } catch (const std::exception& e) {
    std::cerr << kName << ": state: " << e.what() << "\n";
    return 1;
  }
  return serve(options, std::move(state));
}
