// Encoding and decoding of the four payloads through the binary and the
// compact protocol over an in-memory buffer, side by side with their floors:
//
//   ours          the generated read/write, through TProtocol*
//   hand_virtual  the hand-written calls (hand_codec.h), same TProtocol*
//   hand_template the hand-written calls on the runtime's protocol template
//                 bound to the concrete buffer type, no virtual calls
//   ours_generic  the generated code on TBinaryProtocol/TCompactProtocol
//                 over TTransport, as a protocol factory would make it
//   memcpy        copying the encoded bytes (encoding only)
//
// plus the large and list payloads in Protocol Buffers. Every variant must
// produce the same bytes and the same objects; that is checked before any
// timing, and alone with --check.

#include <cstdlib>
#include <cstring>
#include <functional>
#include <iostream>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>
#include <thrift/protocol/TBinaryProtocol.h>
#include <thrift/protocol/TCompactProtocol.h>
#include <thrift/transport/TBufferTransports.h>

#include "hand_codec.h"
#include "payloads.h"
#include "proto_payloads.h"

namespace {

using ::apache::thrift::protocol::TBinaryProtocolT;
using ::apache::thrift::protocol::TCompactProtocolT;
using ::apache::thrift::protocol::TProtocol;
using ::apache::thrift::transport::TMemoryBuffer;
using ::apache::thrift::transport::TTransport;

// A memory buffer whose content can be read again from the start, without
// copying or allocating: the decoding loops rewind it every iteration.
class ReplayBuffer : public TMemoryBuffer {
 public:
  explicit ReplayBuffer(uint32_t size) : TMemoryBuffer(size) {}

  void rewind() {
    rBase_ = buffer_;
    resetConsumedMessageSize();
  }

  void load(const std::string& bytes) {
    resetBuffer();
    write(reinterpret_cast<const uint8_t*>(bytes.data()), static_cast<uint32_t>(bytes.size()));
  }
};

// One protocol family over one buffer: the concrete template instance
// (used directly, or through TProtocol*) and the generic one on TTransport.
template <class Concrete, class Generic>
struct Rig {
  const char* name;
  std::shared_ptr<ReplayBuffer> buffer = std::make_shared<ReplayBuffer>(1u << 21);
  std::shared_ptr<Concrete> concrete = std::make_shared<Concrete>(buffer);
  std::shared_ptr<Generic> generic = std::make_shared<Generic>(buffer);

  explicit Rig(const char* n) : name(n) {}

  TProtocol* virt() const { return concrete.get(); }
  std::string written() const { return buffer->getBufferAsString(); }
};

using BinaryRig = Rig<TBinaryProtocolT<TMemoryBuffer>, TBinaryProtocolT<TTransport>>;
using CompactRig = Rig<TCompactProtocolT<TMemoryBuffer>, TCompactProtocolT<TTransport>>;

// Envelopes have no operator==; their one field is compared instead.
template <class Record>
bool sameValue(const Record& a, const Record& b) {
  return a == b;
}

bool sameValue(const yol::Yol_FT_GetHistoryIndex_result& a,
               const yol::Yol_FT_GetHistoryIndex_result& b) {
  return a.__isset.success == b.__isset.success && a.success == b.success;
}

// Every registered benchmark, so that --iterations=N can fix their count
// (for instruction-count profiles under callgrind).
std::vector<benchmark::internal::Benchmark*>& registered() {
  static std::vector<benchmark::internal::Benchmark*> all;
  return all;
}

template <class F>
void add(const std::string& name, F&& body) {
  registered().push_back(benchmark::RegisterBenchmark(name.c_str(), std::forward<F>(body)));
}

[[noreturn]] void fail(const std::string& what) {
  std::cerr << "codec_bench: " << what << "\n";
  std::exit(1);
}

template <class Record, class R>
class CodecCase {
 public:
  CodecCase(const char* payload, R& rig, const Record& record)
      : payload_(payload), rig_(rig), record_(record) {}

  // Encodes with every variant and decodes with every variant; all must
  // agree with ours, byte for byte and value for value.
  void check() {
    const std::string label = std::string(rig_.name) + "/" + payload_;
    bytes_ = encodeWith([&] { record_.write(rig_.virt()); });
    if (encodeWith([&] { bench::hand::encode(*rig_.virt(), record_); }) != bytes_) {
      fail(label + ": the hand-written calls through TProtocol* wrote other bytes");
    }
    if (encodeWith([&] { bench::hand::encode(*rig_.concrete, record_); }) != bytes_) {
      fail(label + ": the hand-written calls on the template wrote other bytes");
    }
    if (encodeWith([&] { record_.write(rig_.generic.get()); }) != bytes_) {
      fail(label + ": the generic protocol wrote other bytes");
    }
    const auto decoded = [&](const std::function<void(Record&)>& read) {
      rig_.buffer->load(bytes_);
      Record out;
      read(out);
      return sameValue(out, record_);
    };
    if (!decoded([&](Record& r) { r.read(rig_.virt()); })) {
      fail(label + ": ours decoded another value");
    }
    if (!decoded([&](Record& r) { bench::hand::decode(*rig_.virt(), r); })) {
      fail(label + ": the hand-written reads through TProtocol* decoded another value");
    }
    if (!decoded([&](Record& r) { bench::hand::decode(*rig_.concrete, r); })) {
      fail(label + ": the hand-written reads on the template decoded another value");
    }
    if (!decoded([&](Record& r) { r.read(rig_.generic.get()); })) {
      fail(label + ": ours on the generic protocol decoded another value");
    }
  }

  void registerAll() {
    const std::string stem = std::string(rig_.name) + "/" + payload_ + "/";
    encode("encode/" + stem + "ours", [this] { record_.write(rig_.virt()); });
    encode("encode/" + stem + "hand_virtual",
           [this] { bench::hand::encode(*rig_.virt(), record_); });
    encode("encode/" + stem + "hand_template",
           [this] { bench::hand::encode(*rig_.concrete, record_); });
    encode("encode/" + stem + "ours_generic", [this] { record_.write(rig_.generic.get()); });
    add("encode/" + stem + "memcpy", [this](benchmark::State& state) { copyLoop(state); });

    decode("decode/" + stem + "ours", [this](Record& r) { r.read(rig_.virt()); });
    decode("decode/" + stem + "hand_virtual",
           [this](Record& r) { bench::hand::decode(*rig_.virt(), r); });
    decode("decode/" + stem + "hand_template",
           [this](Record& r) { bench::hand::decode(*rig_.concrete, r); });
    decode("decode/" + stem + "ours_generic", [this](Record& r) { r.read(rig_.generic.get()); });
  }

 private:
  template <class F>
  std::string encodeWith(F&& write) {
    rig_.buffer->resetBuffer();
    write();
    return rig_.written();
  }

  void finish(benchmark::State& state) const {
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                            static_cast<int64_t>(bytes_.size()));
    state.counters["bytes"] = static_cast<double>(bytes_.size());
  }

  // The buffer keeps its allocation across iterations: resetBuffer only
  // moves the write position back to the start.
  template <class F>
  void encode(const std::string& name, F write) {
    add(name, [this, write](benchmark::State& state) {
      for (auto _ : state) {
        rig_.buffer->resetBuffer();
        write();
        benchmark::ClobberMemory();
      }
      finish(state);
    });
  }

  // Each iteration decodes into a fresh object, which is then destroyed:
  // what a processor does with its arguments and a client with a result.
  template <class F>
  void decode(const std::string& name, F read) {
    add(name, [this, read](benchmark::State& state) {
      rig_.buffer->load(bytes_);
      for (auto _ : state) {
        rig_.buffer->rewind();
        Record out;
        read(out);
        benchmark::DoNotOptimize(out);
      }
      finish(state);
    });
  }

  void copyLoop(benchmark::State& state) {
    std::vector<char> target(bytes_.size());
    for (auto _ : state) {
      std::memcpy(target.data(), bytes_.data(), bytes_.size());
      benchmark::DoNotOptimize(target.data());
      benchmark::ClobberMemory();
    }
    finish(state);
  }

  const char* payload_;
  R& rig_;
  const Record& record_;
  std::string bytes_;
};

// Protocol Buffers: serialising into a buffer that is large enough, and
// parsing into a fresh message each iteration.
template <class Message>
void registerProto(const char* payload, const Message& message) {
  auto bytes = std::make_shared<std::string>(message.SerializeAsString());
  Message back;
  if (!back.ParseFromString(*bytes) || back.SerializeAsString() != *bytes) {
    fail(std::string("protobuf/") + payload + ": the message does not survive a round trip");
  }
  const auto finish = [bytes](benchmark::State& state) {
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                            static_cast<int64_t>(bytes->size()));
    state.counters["bytes"] = static_cast<double>(bytes->size());
  };
  add(std::string("encode/protobuf/") + payload + "/ours",
      [&message, bytes, finish](benchmark::State& state) {
        std::vector<char> target(bytes->size());
        for (auto _ : state) {
          message.SerializeToArray(target.data(), static_cast<int>(target.size()));
          benchmark::ClobberMemory();
        }
        finish(state);
      });
  add(std::string("decode/protobuf/") + payload + "/ours",
      [bytes, finish](benchmark::State& state) {
        for (auto _ : state) {
          Message out;
          out.ParseFromArray(bytes->data(), static_cast<int>(bytes->size()));
          benchmark::DoNotOptimize(out);
        }
        finish(state);
      });
}

}  // namespace

int main(int argc, char** argv) {
  bool checkOnly = false;
  long iterations = 0;
  std::vector<char*> args;
  for (int i = 0; i < argc; ++i) {
    if (std::strcmp(argv[i], "--check") == 0) {
      checkOnly = true;
    } else if (std::strncmp(argv[i], "--iterations=", 13) == 0) {
      iterations = std::atol(argv[i] + 13);
    } else {
      args.push_back(argv[i]);
    }
  }

  static const yol::stFeatures small = bench::smallPayload();
  static const yol::stCellularInfo medium = bench::mediumPayload();
  static const yol::stJobCreateExt large = bench::largePayload();
  static const yol::Yol_FT_GetHistoryIndex_result list = bench::listPayload();
  static BinaryRig binary("binary");
  static CompactRig compact("compact");

  static CodecCase c1("small", binary, small);
  static CodecCase c2("medium", binary, medium);
  static CodecCase c3("large", binary, large);
  static CodecCase c4("list", binary, list);
  static CodecCase c5("small", compact, small);
  static CodecCase c6("medium", compact, medium);
  static CodecCase c7("large", compact, large);
  static CodecCase c8("list", compact, list);
  c1.check(), c2.check(), c3.check(), c4.check();
  c5.check(), c6.check(), c7.check(), c8.check();

  static const yolbench::stJobCreateExt largeProto = bench::toProto(large);
  static const yolbench::FileHistoryList listProto = bench::toProto(list);
  if (checkOnly) {
    registerProto("large", largeProto);
    registerProto("list", listProto);
    std::cout << "codec_bench: every variant writes the same bytes and reads the same values\n";
    return 0;
  }

  c1.registerAll(), c2.registerAll(), c3.registerAll(), c4.registerAll();
  c5.registerAll(), c6.registerAll(), c7.registerAll(), c8.registerAll();
  registerProto("large", largeProto);
  registerProto("list", listProto);
  if (iterations > 0) {
    for (auto* b : registered()) {
      b->Iterations(iterations);
    }
  }

  int count = static_cast<int>(args.size());
  benchmark::Initialize(&count, args.data());
  if (benchmark::ReportUnrecognizedArguments(count, args.data())) {
    return 2;
  }
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
