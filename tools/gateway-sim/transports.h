// The simulator's transports and protocols, with limits that keep any peer
// from making it allocate more than a call of this service can need:
// - strings up to 1 MiB (the binary and compact protocols otherwise size a
//   string to whatever length a message announces),
// - lists up to 65,536 elements,
// - messages and frames up to 4 MiB,
// - nesting up to 64 levels,
// - at most 32 connections at once.
// The buffered transport also counts the bytes of each message, so that the
// call log can tell them (the runtime's own buffered transport reports 0),
// and gives each message its own size budget.
#ifndef THRIFTYOL_TOOLS_GATEWAY_SIM_TRANSPORTS_H
#define THRIFTYOL_TOOLS_GATEWAY_SIM_TRANSPORTS_H

#include <cstdint>
#include <memory>
#include <string>

#include <thrift/TConfiguration.h>
#include <thrift/protocol/TProtocol.h>
#include <thrift/transport/TTransport.h>

namespace gatewaysim {

constexpr int32_t kStringLimit = 1024 * 1024;
constexpr int32_t kContainerLimit = 64 * 1024;
constexpr int kMaxMessageSize = 4 * 1024 * 1024;
constexpr int kMaxFrameSize = kMaxMessageSize;
constexpr int kRecursionLimit = 64;
constexpr int64_t kConcurrentClientLimit = 32;

std::shared_ptr<::apache::thrift::TConfiguration> limitedConfiguration();

// "buffered" or "framed"; throws std::invalid_argument for another name.
std::shared_ptr<::apache::thrift::transport::TTransportFactory> makeTransportFactory(
    const std::string& name);

// "binary", "compact" or "json"; throws std::invalid_argument for another
// name.
std::shared_ptr<::apache::thrift::protocol::TProtocolFactory> makeProtocolFactory(
    const std::string& name);

}  // namespace gatewaysim

#endif  // THRIFTYOL_TOOLS_GATEWAY_SIM_TRANSPORTS_H
