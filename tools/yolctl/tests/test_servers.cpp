#include "test_servers.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <system_error>
#include <utility>

#include <thriftyol/service/Yol.h>

#include "yolctl.h"

namespace yolctl {
namespace testing {
namespace {

using ::apache::thrift::TProcessor;
using ::apache::thrift::TProcessorFactory;
using ::apache::thrift::protocol::TProtocol;

// Hands every call to a RecordingSink; one per server, shared by its
// connections (the sink locks).
class RecordingHandlerFactory : public yol::YolIfFactory {
 public:
  explicit RecordingHandlerFactory(RecordingSink& sink) : handler_(sink) {}

  yol::YolIf* getHandler(const ::apache::thrift::TConnectionInfo& /* info */) override {
    return &handler_;
  }
  void releaseHandler(yol::YolIf* /* handler */) override {}

 private:
  yol::calls::ForwardingHandler<RecordingSink> handler_;
};

// Reads any call and writes, by hand, a reply whose result structure has
// no field at all.
class EmptyReplyProcessor : public TProcessor {
 public:
  bool process(std::shared_ptr<TProtocol> in, std::shared_ptr<TProtocol> out,
               void* /* connectionContext */) override {
    std::string name;
    ::apache::thrift::protocol::TMessageType type;
    int32_t seqid = 0;
    in->readMessageBegin(name, type, seqid);
    in->skip(::apache::thrift::protocol::T_STRUCT);
    in->readMessageEnd();
    in->getTransport()->readEnd();

    out->writeMessageBegin(name, ::apache::thrift::protocol::T_REPLY, seqid);
    out->writeStructBegin("result");
    out->writeFieldStop();
    out->writeStructEnd();
    out->writeMessageEnd();
    out->getTransport()->writeEnd();
    out->getTransport()->flush();
    return true;
  }
};

sockaddr_in loopback(int port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

// A TCP socket bound to a free loopback port; returns the port.
int bindLoopback(int fd) {
  sockaddr_in address = loopback(0);
  if (::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
    throw std::system_error(errno, std::generic_category(), "bind");
  }
  socklen_t size = sizeof address;
  if (::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
    throw std::system_error(errno, std::generic_category(), "getsockname");
  }
  return ntohs(address.sin_port);
}

::yol::testing::ServerSetup setupFor(const std::string& protocol, const std::string& transport) {
  ::yol::testing::ServerSetup setup;
  setup.protocols = ::yol::testing::protocol_factory(protocol);
  setup.transports = ::yol::testing::transport_factory(transport);
  return setup;
}

}  // namespace

TargetServer::TargetServer(std::shared_ptr<TProcessorFactory> processors, std::string protocol,
                           std::string transport)
    : protocol_(std::move(protocol)),
      transport_(std::move(transport)),
      server_(std::move(processors), setupFor(protocol_, transport_)) {}

std::vector<std::string> TargetServer::options() const {
  return {"--port", std::to_string(port()), "--protocol", protocol_, "--transport", transport_};
}

std::unique_ptr<TargetServer> recordingServer(RecordingSink& sink, const std::string& protocol,
                                              const std::string& transport) {
  auto factory = std::make_shared<RecordingHandlerFactory>(sink);
  return std::make_unique<TargetServer>(std::make_shared<yol::YolProcessorFactory>(factory),
                                        protocol, transport);
}

std::unique_ptr<TargetServer> emptyReplyServer() {
  return std::make_unique<TargetServer>(
      std::make_shared<::apache::thrift::TSingletonProcessorFactory>(
          std::make_shared<EmptyReplyProcessor>()),
      "binary", "buffered");
}

SilentListener::SilentListener() : fd_(::socket(AF_INET, SOCK_STREAM, 0)) {
  if (fd_ < 0) {
    throw std::system_error(errno, std::generic_category(), "socket");
  }
  port_ = bindLoopback(fd_);
  if (::listen(fd_, 4) != 0) {
    throw std::system_error(errno, std::generic_category(), "listen");
  }
}

SilentListener::~SilentListener() { ::close(fd_); }

int closedPort() {
  const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
  if (fd < 0) {
    throw std::system_error(errno, std::generic_category(), "socket");
  }
  const int port = bindLoopback(fd);
  ::close(fd);
  return port;
}

RunResult runYolctl(const std::vector<std::string>& args) {
  std::ostringstream out;
  std::ostringstream err;
  const int code = yolctl::run(args, out, err);
  return {code, out.str(), err.str()};
}

}  // namespace testing
}  // namespace yolctl
