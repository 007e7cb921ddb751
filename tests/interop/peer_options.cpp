#include "peer_options.h"

#include <stdexcept>

#include <thrift/protocol/TBinaryProtocol.h>
#include <thrift/protocol/TCompactProtocol.h>
#include <thrift/transport/TBufferTransports.h>
#include <thrift/transport/TSocket.h>

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

std::shared_ptr<apache::thrift::protocol::TProtocolFactory> protocolFactory(
    const std::string& name) {
  if (name == "binary") {
    return std::make_shared<apache::thrift::protocol::TBinaryProtocolFactory>();
  }
  if (name == "compact") {
    return std::make_shared<apache::thrift::protocol::TCompactProtocolFactory>();
  }
  throw std::invalid_argument("unknown protocol " + name);
}

std::shared_ptr<apache::thrift::transport::TTransportFactory> transportFactory(
    const std::string& name) {
  if (name == "buffered") {
    return std::make_shared<apache::thrift::transport::TBufferedTransportFactory>();
  }
  if (name == "framed") {
    return std::make_shared<apache::thrift::transport::TFramedTransportFactory>();
  }
  throw std::invalid_argument("unknown transport " + name);
}

Connection::Connection(int port, const std::string& protocolName,
                       const std::string& transportName) {
  auto socket = std::make_shared<apache::thrift::transport::TSocket>("127.0.0.1", port);
  socket->setConnTimeout(kTimeoutMs);
  socket->setRecvTimeout(kTimeoutMs);
  socket->setSendTimeout(kTimeoutMs);
  transport = transportFactory(transportName)->getTransport(socket);
  protocol = protocolFactory(protocolName)->getProtocol(transport);
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
