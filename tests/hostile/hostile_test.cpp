// Hostile sizes, fed from memory to a server's processor and to a client,
// both with the buffered transport and the protocols of
// <thriftyol/limits/safe_server.h>: at every string and list header of every
// call's request and reply (found by encoding the samples), a size of
// 2^31-1, of -1, just over the limit, and for lists the limit itself with
// nothing behind it; and unknown structures nested 10,000 deep. Each must end
// in the right exception, without a reply, and with less than about a string
// limit of memory at its peak, counted by the operator new below. (Frames
// over the limit: the concurrency test's saboteurs.)
#include <algorithm>
#include <cstdlib>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <thrift/protocol/TBinaryProtocol.h>
#include <thrift/protocol/TCompactProtocol.h>
#include <thrift/protocol/TProtocolException.h>
#include <thrift/transport/TBufferTransports.h>
#include <thrift/transport/TTransportException.h>

#include <thriftyol/limits/safe_server.h>

#include "contract_answers.h"

namespace {

// Bytes live through operator new, and the most since peak_reset().
std::size_t g_live = 0;
std::size_t g_peak = 0;
constexpr std::size_t kHeader = alignof(std::max_align_t);

void peak_reset() { g_peak = g_live; }

}  // namespace

// Not inlined: a caller would otherwise see free() meet a new expression.
// The other forms of new and delete call these.
[[gnu::noinline]] void* operator new(std::size_t size) {
  auto* block = static_cast<unsigned char*>(std::malloc(kHeader + size));
  if (block == nullptr) {
    throw std::bad_alloc();
  }
  *reinterpret_cast<std::size_t*>(block) = size;
  g_live += size;
  g_peak = std::max(g_peak, g_live);
  return block + kHeader;
}
[[gnu::noinline]] void operator delete(void* p) noexcept {
  if (p != nullptr) {
    auto* block = static_cast<unsigned char*>(p) - kHeader;
    g_live -= *reinterpret_cast<std::size_t*>(block);
    std::free(block);
  }
}
void operator delete(void* p, std::size_t) noexcept { operator delete(p); }

namespace {

using ::apache::thrift::protocol::TBinaryProtocol;
using ::apache::thrift::protocol::TCompactProtocol;
using ::apache::thrift::protocol::TProtocol;
using ::apache::thrift::protocol::TProtocolException;
using ::apache::thrift::protocol::TType;
using ::apache::thrift::transport::TMemoryBuffer;
using ::apache::thrift::transport::TTransportException;
namespace safe = yol::safe_server;

// Within a string limit and a little: what one connection may hold of
// what its peer announced but did not send.
constexpr std::size_t kPeakBound = safe::kStringLimit + 64 * 1024;

enum class Wire { binary, compact };

std::string protocol_error(int type) { return "protocol error " + std::to_string(type); }
std::string transport_error(int type) { return "transport error " + std::to_string(type); }

struct Outcome {
  std::string ended = "no exception";
  std::size_t peak = 0;  // bytes beyond those live before
};

template <class Work>
Outcome measure(Work&& work) {
  Outcome outcome;
  const std::size_t before = g_live;
  peak_reset();
  try {
    work();
  } catch (const TProtocolException& e) {
    outcome.ended = protocol_error(e.getType());
  } catch (const TTransportException& e) {
    outcome.ended = transport_error(e.getType());
  }
  outcome.peak = g_peak - before;
  return outcome;
}

// A protocol of the server's, reading `bytes` through the server's transport.
std::shared_ptr<TProtocol> reading(Wire wire, const std::string& bytes) {
  auto memory = std::make_shared<TMemoryBuffer>();
  memory->write(reinterpret_cast<const uint8_t*>(bytes.data()), static_cast<uint32_t>(bytes.size()));
  auto transport = safe::BufferedTransportFactory().getTransport(memory);
  return (wire == Wire::binary ? safe::binaryProtocolFactory() : safe::compactProtocolFactory())
      ->getProtocol(transport);
}

// Where a string or list header starts in what a protocol wrote.
struct Mark {
  std::size_t at;
  bool list;
};

template <class Base>
struct Marking : Base {
  Marking(std::shared_ptr<TMemoryBuffer> out, std::vector<Mark>& marks)
      : Base(out), out(std::move(out)), marks(marks) {}
  uint32_t writeString_virt(const std::string& s) override {
    marks.push_back({out->available_read(), false});
    return Base::writeString_virt(s);
  }
  uint32_t writeListBegin_virt(const TType type, const uint32_t size) override {
    marks.push_back({out->available_read(), true});
    return Base::writeListBegin_virt(type, size);
  }
  std::shared_ptr<TMemoryBuffer> out;
  std::vector<Mark>& marks;
};

// What a protocol wrote, with its marks: the message name's (after the
// version, or the protocol id, type and one-byte sequence id), then the rest.
struct Written {
  explicit Written(Wire wire)
      : marks{{wire == Wire::binary ? 4u : 3u, false}},
        protocol(wire == Wire::binary
                     ? std::shared_ptr<TProtocol>(
                           std::make_shared<Marking<TBinaryProtocol>>(bytes, marks))
                     : std::make_shared<Marking<TCompactProtocol>>(bytes, marks)) {}
  std::shared_ptr<TMemoryBuffer> bytes = std::make_shared<TMemoryBuffer>();
  std::vector<Mark> marks;
  std::shared_ptr<TProtocol> protocol;
};

// A size as the protocol writes it before a string's bytes or a list's.
std::string size_bytes(Wire wire, int32_t size) {
  auto value = static_cast<uint32_t>(size);
  std::string bytes;
  if (wire == Wire::binary) {
    return {static_cast<char>(value >> 24), static_cast<char>(value >> 16),
            static_cast<char>(value >> 8), static_cast<char>(value)};
  }
  for (; value >= 0x80; value >>= 7) {
    bytes.push_back(static_cast<char>((value & 0x7f) | 0x80));
  }
  return bytes + static_cast<char>(value);
}

// `bytes` up to `mark`, then its header announcing `size`, and nothing more.
// A compact list header takes its long form: the element type under 0xF0.
std::string announcing(Wire wire, const std::string& bytes, const Mark& mark, int32_t size) {
  std::string cut = bytes.substr(0, mark.at);
  if (mark.list) {
    const char type = bytes[mark.at];
    cut += wire == Wire::binary ? type : static_cast<char>(0xF0 | (type & 0x0F));
  }
  return cut + size_bytes(wire, size);
}

struct Announcement {
  const char* name;
  bool strings;  // for strings too, or for lists only
  int32_t string_size, list_size;
  std::string ends_in;
};

const std::vector<Announcement>& announcements() {
  static const std::vector<Announcement> all = {
      {"2^31-1", true, 0x7fffffff, 0x7fffffff, protocol_error(TProtocolException::SIZE_LIMIT)},
      {"-1", true, -1, -1, protocol_error(TProtocolException::NEGATIVE_SIZE)},
      {"limit+1", true, safe::kStringLimit + 1, safe::kContainerLimit + 1,
       protocol_error(TProtocolException::SIZE_LIMIT)},
      {"limit", false, 0, safe::kContainerLimit, transport_error(TTransportException::END_OF_FILE)},
  };
  return all;
}

struct Faults {
  long count = 0;
  std::string first;

  void check(const Outcome& outcome, const std::string& ends_in, bool replied,
             const std::string& where) {
    if ((outcome.ended != ends_in || outcome.peak >= kPeakBound || replied) && ++count <= 10) {
      first += "\n  " + where + ": " + outcome.ended + ", " + std::to_string(outcome.peak) +
               " bytes at the peak" + (replied ? ", replied" : "");
    }
  }
};

// Every announcement at every mark of call C's request (to the processor)
// and reply (to the client).
template <class C>
void announce_in_call(Wire wire, Faults& faults) {
  const auto args = yol::testing::sample_args<C>(7);
  const std::string no_bytes;
  const Written request(wire);
  try {
    yol::YolClient client(reading(wire, no_bytes), request.protocol);
    C::call(client, args);
  } catch (const TTransportException&) {  // no reply to read: expected
  }
  const Written reply(wire);
  yol::YolProcessor processor(std::make_shared<yol::testing::AnswersHandler>(false));
  processor.process(reading(wire, request.bytes->getBufferAsString()), reply.protocol, nullptr);

  for (const Announcement& size : announcements()) {
    const auto each = [&](const Written& written, const char* what, auto&& run) {
      const std::string bytes = written.bytes->getBufferAsString();
      for (const Mark& mark : written.marks) {
        if ((mark.list || size.strings) && faults.count < 10) {  // the first faults tell
          const std::string hostile =
              announcing(wire, bytes, mark, mark.list ? size.list_size : size.string_size);
          const auto out = std::make_shared<TMemoryBuffer>();
          const Outcome outcome = measure([&] { run(hostile, out); });
          faults.check(outcome, size.ends_in, out->available_read() > 0,
                       C::name + (what + std::to_string(mark.at)) + ": " + size.name);
        }
      }
    };
    each(request, " request at ", [&](const std::string& hostile, const auto& out) {
      processor.process(reading(wire, hostile), std::make_shared<TBinaryProtocol>(out), nullptr);
    });
    each(reply, " reply at ", [&](const std::string& hostile, const auto&) {
      yol::YolClient client(reading(wire, hostile), reading(wire, no_bytes));
      C::call(client, args);
    });
  }
}

template <class... C>
void announce_in_calls(yol::calls::CallList<C...>, Wire wire, Faults& faults) {
  (announce_in_call<C>(wire, faults), ...);
}

class Hostile : public ::testing::TestWithParam<Wire> {};

TEST_P(Hostile, EveryAnnouncedSizeIsCheckedBeforeItIsAllocated) {
  Faults faults;
  announce_in_calls(yol::calls::AllYolCalls{}, GetParam(), faults);
  EXPECT_EQ(faults.count, 0) << faults.first;
}

TEST_P(Hostile, DeepNestingIsRefused) {
  const Written request(GetParam());
  request.protocol->writeMessageBegin("ping", ::apache::thrift::protocol::T_CALL, 0);
  for (int i = 0; i < 10000; ++i) {
    request.protocol->writeStructBegin("nested");
    request.protocol->writeFieldBegin("unknown", ::apache::thrift::protocol::T_STRUCT, 99);
  }
  const auto out = std::make_shared<TMemoryBuffer>();
  yol::YolProcessor processor(std::make_shared<yol::testing::AnswersHandler>(false));
  Faults faults;
  faults.check(measure([&] {
    processor.process(reading(GetParam(), request.bytes->getBufferAsString()),
                      std::make_shared<TBinaryProtocol>(out), nullptr);
  }), protocol_error(TProtocolException::DEPTH_LIMIT), out->available_read() > 0, "ping");
  EXPECT_EQ(faults.count, 0) << faults.first;
}

INSTANTIATE_TEST_SUITE_P(Wires, Hostile, ::testing::Values(Wire::binary, Wire::compact),
                         [](const ::testing::TestParamInfo<Wire>& info) {
                           return info.param == Wire::binary ? "binary" : "compact";
                         });

}  // namespace
