// Command-line options shared by the interoperability programs, and the
// client connection they make.
#ifndef THRIFTYOL_TESTS_INTEROP_PEER_OPTIONS_H
#define THRIFTYOL_TESTS_INTEROP_PEER_OPTIONS_H

#include <map>
#include <memory>
#include <string>

#include <thrift/protocol/TProtocol.h>
#include <thrift/transport/TTransport.h>

namespace interop {

// --name=value arguments. Throws std::invalid_argument on anything else.
class Options {
 public:
  Options(int argc, char** argv);
  // Throws std::invalid_argument when the option was not given.
  const std::string& get(const std::string& name) const;
  std::string get(const std::string& name, const std::string& fallback) const;

 private:
  std::map<std::string, std::string> values_;
};

// An open client connection to 127.0.0.1:port through the named protocol
// ("binary" or "compact") and transport ("buffered" or "framed"), with the
// safe limits, and with connect, send and receive timeouts so that a silent
// peer cannot hang it.
struct Connection {
  Connection(int port, const std::string& protocol, const std::string& transport);
  ~Connection();
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  std::shared_ptr<apache::thrift::transport::TTransport> transport;
  std::shared_ptr<apache::thrift::protocol::TProtocol> protocol;
};

}  // namespace interop

#endif  // THRIFTYOL_TESTS_INTEROP_PEER_OPTIONS_H
