// The simulator's transports and protocols, with the library's safe limits
// (<thriftyol/limits/safe_server.h>) on what a peer can make it allocate:
// strings up to 1 MiB, lists up to 65,536 elements, messages and frames up
// to 4 MiB, nesting up to 64 levels, 32 connections at once.
// The buffered transport also counts the bytes of each message, so that the
// call log can tell them (the runtime's own buffered transport reports 0);
// both transports give each message its own size budget.
#ifndef THRIFTYOL_TOOLS_GATEWAY_SIM_TRANSPORTS_H
#define THRIFTYOL_TOOLS_GATEWAY_SIM_TRANSPORTS_H

#include <memory>
#include <string>

#include <thrift/protocol/TProtocol.h>
#include <thrift/transport/TTransport.h>

namespace gatewaysim {

// "buffered" or "framed"; throws std::invalid_argument for another name.
std::shared_ptr<::apache::thrift::transport::TTransportFactory> makeTransportFactory(
    const std::string& name);

// "binary", "compact" or "json"; throws std::invalid_argument for another
// name.
std::shared_ptr<::apache::thrift::protocol::TProtocolFactory> makeProtocolFactory(
    const std::string& name);

}  // namespace gatewaysim

#endif  // THRIFTYOL_TOOLS_GATEWAY_SIM_TRANSPORTS_H
