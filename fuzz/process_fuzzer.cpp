// Feeds arbitrary bytes to a YolProcessor as a connection's stream of
// requests, over the protocol named by FUZZ_WIRE (binary or compact) with a
// server's limits. Bad input may only end in a Thrift exception; every
// message the processor accepts must leave exactly one well-formed reply,
// and every per-call context it opens must be freed again.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include <thrift/TApplicationException.h>
#include <thrift/TProcessor.h>

#include <thriftyol/service/Yol.h>

#include "fuzz_support.h"

namespace {

using ::apache::thrift::TApplicationException;
using ::apache::thrift::TException;
using ::apache::thrift::TProcessorEventHandler;
using ::apache::thrift::protocol::TMessageType;
using yol::fuzz::fault;
using yol::fuzz::Wire;

constexpr Wire kWire = Wire::FUZZ_WIRE;
// A connection's worth of requests; the input rarely holds more.
constexpr int kMaxMessages = 16;

// Counts the per-call contexts that are open.
class ContextCount : public TProcessorEventHandler {
 public:
  void* getContext(const char*, void*) override {
    ++open_;
    return this;
  }
  void freeContext(void* ctx, const char*) override {
    if (ctx != this) {
      fault("freeContext with a context that getContext did not give");
    }
    --open_;
  }
  int open() const { return open_; }

 private:
  int open_ = 0;
};

// Reads back `count` replies; they must be all there is.
void checkReplies(const std::shared_ptr<yol::fuzz::TMemoryBuffer>& out, int count) {
  const auto prot = yol::fuzz::protocol(kWire, out);
  for (int i = 0; i < count; ++i) {
    std::string name;
    TMessageType type;
    int32_t seqid;
    try {
      prot->readMessageBegin(name, type, seqid);
      if (type == ::apache::thrift::protocol::T_EXCEPTION) {
        TApplicationException error;
        error.read(prot.get());
      } else if (type == ::apache::thrift::protocol::T_REPLY) {
        prot->skip(::apache::thrift::protocol::T_STRUCT);
      } else {
        fault("a reply that is neither a reply nor an exception");
      }
      prot->readMessageEnd();
    } catch (const TException&) {
      fault("a reply that does not decode");
    }
  }
  if (out->available_read() != 0) {
    fault("bytes after the last reply");
  }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  yol::fuzz::silenceRuntimeLog();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  static const auto contexts = std::make_shared<ContextCount>();
  static const auto processor = [] {
    auto made = std::make_shared<yol::YolProcessor>(std::make_shared<yol::fuzz::Handler>());
    made->setEventHandler(contexts);
    return made;
  }();

  const auto in = yol::fuzz::inputBuffer(data, size);
  const auto out = yol::fuzz::emptyBuffer();
  const auto iprot = yol::fuzz::protocol(kWire, in);
  const auto oprot = yol::fuzz::protocol(kWire, out);

  // As a server's connection loop: serve until the processor refuses the
  // stream or the input fails to decode.
  int replies = 0;
  try {
    for (int i = 0; i < kMaxMessages && in->available_read() > 0; ++i) {
      if (!processor->process(iprot, oprot, nullptr)) {
        break;
      }
      ++replies;
    }
  } catch (const TException&) {
    // Bad input, refused as such.
  }

  if (contexts->open() != 0) {
    fault("a call context that was never freed");
  }
  checkReplies(out, replies);
  return 0;
}
