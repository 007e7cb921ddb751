#include "peer_options.h"

#include <stdexcept>

#include <thrift/transport/TSocket.h>

#include "loopback_server.h"

namespace interop {

namespace {
constexpr int kTimeoutMs = 15000;
}  // namespace

Options::Options(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    const auto equals = arg.find('=');
    if (arg.rfind("--", 0) != 0 || equals == std::string::npos) {
      throw std::invalid_argument("expected --name=value, got " + arg);
    }
    values_[arg.substr(2, equals - 2)] = arg.substr(equals + 1);
  }
}

const std::string& Options::get(const std::string& name) const {
  const auto it = values_.find(name);
  if (it == values_.end()) {
    throw std::invalid_argument("missing option --" + name + "=...");
  }
  return it->second;
}

std::string Options::get(const std::string& name, const std::string& fallback) const {
  const auto it = values_.find(name);
  return it == values_.end() ? fallback : it->second;
}

Connection::Connection(int port, const std::string& protocolName,
                       const std::string& transportName) {
  auto socket = std::make_shared<apache::thrift::transport::TSocket>("127.0.0.1", port);
  socket->setConnTimeout(kTimeoutMs);
  socket->setRecvTimeout(kTimeoutMs);
  socket->setSendTimeout(kTimeoutMs);
  transport = yol::testing::transport_factory(transportName)->getTransport(socket);
  protocol = yol::testing::protocol_factory(protocolName)->getProtocol(transport);
  transport->open();
}

Connection::~Connection() {
  try {
    transport->close();
  } catch (const std::exception&) {
    // Closing a connection the peer already dropped is no news.
  }
}

}  // namespace interop
