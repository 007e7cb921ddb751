// The fuzz target. An input's first byte chooses the protocol, binary or
// compact with a server's limits (its lowest bit), and what reads the rest
// (the other bits, modulo the number of records plus one): one of the
// records, or a processor taking it as a connection's stream of requests.
// Bad input may only end in a Thrift exception. A record that decodes must
// print, encode, decode from that encoding and encode to the same bytes.
// Every request the processor accepts must leave exactly one well-formed
// reply, and every per-call context it opens must be freed again.
// Built with THRIFTYOL_FUZZ_SEEDS, this file is the program that writes the
// seed corpus (every record and every call's request) into a directory.
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include <thrift/TOutput.h>
#include <thrift/TProcessor.h>
#include <thrift/transport/TBufferTransports.h>

#include <thriftyol/limits/safe_server.h>

#include "contract_answers.h"

namespace {

using ::apache::thrift::TException;
using ::apache::thrift::protocol::T_EXCEPTION;
using ::apache::thrift::protocol::T_REPLY;
using yol::testing::AnswersHandler;
using ::apache::thrift::protocol::TProtocol;
using ::apache::thrift::transport::TMemoryBuffer;
namespace safe = yol::safe_server;

std::shared_ptr<TProtocol> protocol(bool compact, std::shared_ptr<TMemoryBuffer> transport) {
  return (compact ? safe::compactProtocolFactory() : safe::binaryProtocolFactory())
      ->getProtocol(std::move(transport));
}

std::shared_ptr<TMemoryBuffer> output() {
  return std::make_shared<TMemoryBuffer>(safe::configuration());
}

std::shared_ptr<TMemoryBuffer> input(const uint8_t* data, std::size_t size) {
  return std::make_shared<TMemoryBuffer>(const_cast<uint8_t*>(data), static_cast<uint32_t>(size),
                                         TMemoryBuffer::OBSERVE, safe::configuration());
}

// The input that got here exposed a fault: libFuzzer keeps it as a crash.
[[noreturn]] void fault(const char* what) {
  std::fprintf(stderr, "fault: %s\n", what);
  std::abort();
}

template <class R>
std::string encode(const R& record, bool compact) {
  const auto buffer = output();
  record.write(protocol(compact, buffer).get());
  return buffer->getBufferAsString();
}

// A Thrift exception that escapes from here on is a crash too.
template <class R>
void round_trip(bool compact, const uint8_t* data, std::size_t size) {
  R first;
  try {
    first.read(protocol(compact, input(data, size)).get());
  } catch (const TException&) {
    return;  // bad input, refused as such
  }
  std::ostringstream text;
  text << first;
  const std::string once = encode(first, compact);
  R second;
  second.read(
      protocol(compact, input(reinterpret_cast<const uint8_t*>(once.data()), once.size())).get());
  if (encode(second, compact) != once) {
    fault("a record whose encoding changes when decoded and encoded again");
  }
}

// Counts the per-call contexts that are open.
struct ContextCount : ::apache::thrift::TProcessorEventHandler {
  void* getContext(const char*, void*) override {
    ++open;
    return this;
  }
  void freeContext(void*, const char*) override { --open; }
  int open = 0;
};

// As a server's connection, until refused or bad; then reads the replies.
void serve(bool compact, const uint8_t* data, std::size_t size) {
  static const auto contexts = std::make_shared<ContextCount>();
  static const auto processor = [] {
    auto made = std::make_shared<yol::YolProcessor>(std::make_shared<AnswersHandler>());
    made->setEventHandler(contexts);
    return made;
  }();
  const auto in = input(data, size);
  const auto out = output();
  const auto iprot = protocol(compact, in);
  const auto oprot = protocol(compact, out);
  int replies = 0;
  try {
    while (replies < 16 && in->available_read() > 0 && processor->process(iprot, oprot, nullptr)) {
      ++replies;
    }
  } catch (const TException&) {  // bad input, refused as such
  }
  if (contexts->open != 0) {
    fault("a call context that was never freed");
  }
  for (; replies > 0; --replies) {  // a reply that does not decode throws: a crash
    std::string name;
    ::apache::thrift::protocol::TMessageType type;
    int32_t seqid;
    oprot->readMessageBegin(name, type, seqid);
    if (type != T_REPLY && type != T_EXCEPTION) {
      fault("a reply that is neither a reply nor an exception");
    }
    oprot->skip(::apache::thrift::protocol::T_STRUCT);
    oprot->readMessageEnd();
  }
  if (out->available_read() != 0) {
    fault("bytes after the last reply");
  }
}

using Reader = void (*)(bool compact, const uint8_t* data, std::size_t size);

template <class... R>
std::vector<Reader> readers(yol::testing::TypeList<R...>) {
  return {&round_trip<R>..., &serve};
}

const std::vector<Reader> kReaders = readers(yol::testing::AllRecords{});

#ifdef THRIFTYOL_FUZZ_SEEDS
namespace fs = std::filesystem;

// Seeds for kReaders[reader]: what `write` writes in each protocol, with
// every field and with only those that always travel, behind the selector.
int g_files = 0;

template <class Write>
void seeds(const fs::path& dir, std::size_t reader, Write&& write) {
  for (const bool compact : {false, true}) {
    for (const auto fields : {yol::testing::Fields::all, yol::testing::Fields::no_optionals}) {
      const auto out = output();
      write(protocol(compact, out), fields);
      std::ofstream(dir / std::to_string(++g_files), std::ios::binary)
          << static_cast<char>(reader << 1 | (compact ? 1 : 0)) << out->getBufferAsString();
    }
  }
}

template <class... C>
void request_seeds(const fs::path& dir, yol::calls::CallList<C...>) {
  (seeds(dir, kReaders.size() - 1,
         [](const std::shared_ptr<TProtocol>& out, yol::testing::Fields fields) {
           yol::YolClient client(protocol(false, output()), out);
           try {
             C::call(client, yol::testing::sample_args<C>(7, fields));
           } catch (const ::apache::thrift::transport::TTransportException&) {  // no reply
           }
         }),
   ...);
}
#endif

}  // namespace

#ifdef THRIFTYOL_FUZZ_SEEDS

int main(int argc, char** argv) {
  if (argc != 2) {
    return 2;  // usage: fuzz_make_seeds DIRECTORY
  }
  fs::remove_all(argv[1]);
  fs::create_directories(argv[1]);
  std::size_t index = 0;
  yol::testing::for_each_record([&](auto type) {
    using R = typename decltype(type)::type;
    seeds(argv[1], index++, [](const std::shared_ptr<TProtocol>& out, yol::testing::Fields fields) {
      yol::testing::sample<R>(7, fields).write(out.get());
    });
  });
  request_seeds(argv[1], yol::calls::AllYolCalls{});
  return 0;
}

#else

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  // The runtime logs every invalid message type; a run would drown in them.
  ::apache::thrift::GlobalOutput.setOutputFunction([](const char*) {});
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  if (size > 0) {
    kReaders[(data[0] >> 1) % kReaders.size()]((data[0] & 1) != 0, data + 1, size - 1);
  }
  return 0;
}

#endif
