// Runtime limits for a Yol server (and client) whose peers may send
// anything: every size that a message announces is checked against a limit
// before the runtime allocates for it, and each connection holds at most
// about one string limit of memory that its peer has not actually sent.
// Header only: it configures the Thrift runtime and adds nothing to the
// library itself.
//
// Why each limit is needed on Debian's Thrift 0.17 runtime:
// - string limit: the binary protocol sizes a string (and, for old-style
//   headers, a message name) to its announced length before reading it; a
//   7-byte field can otherwise demand 2 GiB. The compact protocol reallocates
//   its scratch buffer the same way.
// - container limit: the runtime's check of a list's size against the bytes
//   left overflows for 2^31-1 records. The records themselves never allocate
//   for elements that have not arrived, so this limit is a second fence.
// - message and frame size: no single read of a buffered transport may ask
//   for more, nor may the bytes taken from a transport's buffer within one
//   message; a framed transport refuses a larger frame before allocating
//   for it. The runtime's transports never start that count afresh, so
//   use the transports below, which do so after every message.
// - recursion limit: skipping unknown nested structures stops at this depth.
// - concurrent clients: each connection is one thread holding at most its
//   own bounded share, so the server's total stays bounded too.
#ifndef THRIFTYOL_LIMITS_SAFE_SERVER_H
#define THRIFTYOL_LIMITS_SAFE_SERVER_H

#include <cstdint>
#include <memory>
#include <utility>

#include <thrift/TConfiguration.h>
#include <thrift/protocol/TBinaryProtocol.h>
#include <thrift/protocol/TCompactProtocol.h>
#include <thrift/transport/TBufferTransports.h>

namespace yol {
namespace safe_server {

// The largest string a call of this service carries is a JSON payload or a
// file description: 1 MiB leaves room for both.
constexpr int32_t kStringLimit = 1024 * 1024;
// The longest list is a job's points or a field boundary.
constexpr int32_t kContainerLimit = 64 * 1024;
// A message may carry a few strings at the limit.
constexpr int kMaxMessageSize = 4 * 1024 * 1024;
constexpr int kMaxFrameSize = kMaxMessageSize;
constexpr int kRecursionLimit = 64;
constexpr int64_t kConcurrentClientLimit = 32;

inline std::shared_ptr<::apache::thrift::TConfiguration> configuration() {
  return std::make_shared<::apache::thrift::TConfiguration>(kMaxMessageSize, kMaxFrameSize,
                                                            kRecursionLimit);
}

// A buffered transport whose message size budget starts afresh with every
// message. The runtime's buffered transport counts the bytes that strings
// and varints take straight from its buffer against the maximum message
// size, but never resets the count: without this, a connection fails with
// "MaxMessageSize reached" once that much has passed over it in total.
// The processor (and the client) call readEnd after each message, so a
// client that gives its buffered transport a configuration needs this too.
class BufferedTransport : public ::apache::thrift::transport::TBufferedTransport {
 public:
  using TBufferedTransport::TBufferedTransport;

  uint32_t readEnd() override {
    resetConsumedMessageSize();
    return TBufferedTransport::readEnd();
  }
};

// A framed transport whose message size budget starts afresh with every
// message, for the same reason: the runtime's framed transport never resets
// its count either, so a connection would fail once the maximum message
// size had passed over it in total.
class FramedTransport : public ::apache::thrift::transport::TFramedTransport {
 public:
  using TFramedTransport::TFramedTransport;

  uint32_t readEnd() override {
    resetConsumedMessageSize();
    return TFramedTransport::readEnd();
  }
};

// Transports of type `T` that carry the configuration above. The protocols
// read their recursion limit from it and check sizes against it.
template <class T>
class TransportFactory : public ::apache::thrift::transport::TTransportFactory {
 public:
  std::shared_ptr<::apache::thrift::transport::TTransport> getTransport(
      std::shared_ptr<::apache::thrift::transport::TTransport> trans) override {
    return std::make_shared<T>(std::move(trans), configuration());
  }
};

using BufferedTransportFactory = TransportFactory<BufferedTransport>;
using FramedTransportFactory = TransportFactory<FramedTransport>;

inline std::shared_ptr<::apache::thrift::protocol::TProtocolFactory> binaryProtocolFactory() {
  return std::make_shared<::apache::thrift::protocol::TBinaryProtocolFactory>(
      kStringLimit, kContainerLimit, /* strict_read */ false, /* strict_write */ true);
}

inline std::shared_ptr<::apache::thrift::protocol::TProtocolFactory> compactProtocolFactory() {
  return std::make_shared<::apache::thrift::protocol::TCompactProtocolFactory>(kStringLimit,
                                                                               kContainerLimit);
}

}  // namespace safe_server
}  // namespace yol

#endif  // THRIFTYOL_LIMITS_SAFE_SERVER_H
