// What the fuzz targets and the seed generator share: the two wire
// protocols, built exactly as a server facing untrusted peers builds them
// (limits from <thriftyol/limits/safe_server.h>), over in-memory transports.
#ifndef THRIFTYOL_FUZZ_FUZZ_SUPPORT_H
#define THRIFTYOL_FUZZ_FUZZ_SUPPORT_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string>

#include <thrift/TOutput.h>
#include <thrift/protocol/TProtocol.h>
#include <thrift/transport/TBufferTransports.h>

#include <thriftyol/service/Yol.h>

#include <thriftyol/limits/safe_server.h>

namespace yol {
namespace fuzz {

using ::apache::thrift::protocol::TProtocol;
using ::apache::thrift::transport::TMemoryBuffer;

enum class Wire { binary, compact };

inline const char* name(Wire wire) {
  return wire == Wire::binary ? "binary" : "compact";
}

// A protocol with the server's limits on `transport`.
inline std::shared_ptr<TProtocol> protocol(Wire wire, std::shared_ptr<TMemoryBuffer> transport) {
  const auto factory = wire == Wire::binary ? safe_server::binaryProtocolFactory()
                                            : safe_server::compactProtocolFactory();
  return factory->getProtocol(std::move(transport));
}

// The status id for which the handler below fails.
constexpr int32_t kFailingStatusId = -1;

// Answers every call as YolNull does, except that status fails for
// kFailingStatusId, so that a failing handler is fuzzed too.
class Handler : public YolNull {
 public:
  int32_t status(int32_t id) override {
    if (id == kFailingStatusId) {
      throw std::runtime_error("status of the failing id");
    }
    return id;
  }
};

// An empty buffer to write into, with the server's configuration.
inline std::shared_ptr<TMemoryBuffer> emptyBuffer() {
  return std::make_shared<TMemoryBuffer>(safe_server::configuration());
}

// A buffer that reads `size` bytes at `data` without copying them; it
// refuses writes.
inline std::shared_ptr<TMemoryBuffer> inputBuffer(const uint8_t* data, std::size_t size) {
  return std::make_shared<TMemoryBuffer>(const_cast<uint8_t*>(data), static_cast<uint32_t>(size),
                                         TMemoryBuffer::OBSERVE, safe_server::configuration());
}

// The first byte of a record fuzzer's input: the lowest bit chooses the
// protocol, the others the record (an index into AllRecords, taken modulo
// their number).
inline uint8_t recordSelector(std::size_t index, Wire wire) {
  return static_cast<uint8_t>(index << 1 | (wire == Wire::compact ? 1 : 0));
}
inline Wire selectedWire(uint8_t selector) {
  return (selector & 1) == 0 ? Wire::binary : Wire::compact;
}
inline std::size_t selectedRecord(uint8_t selector, std::size_t count) {
  return static_cast<std::size_t>(selector >> 1) % count;
}

// Stops the run with a message: the input that got here exposed a fault,
// and libFuzzer keeps it as a crash.
[[noreturn]] inline void fault(const char* what) {
  std::fprintf(stderr, "fault: %s\n", what);
  std::abort();
}

// The runtime logs an invalid message type through GlobalOutput on every
// such input; a fuzzing run would drown in those lines.
inline void silenceRuntimeLog() {
  ::apache::thrift::GlobalOutput.setOutputFunction([](const char*) {});
}

}  // namespace fuzz
}  // namespace yol

#endif  // THRIFTYOL_FUZZ_FUZZ_SUPPORT_H
