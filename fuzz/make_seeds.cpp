// Writes the fuzz targets' seed corpora into the directory given as the only
// argument, one file per input:
//   process_binary/, process_compact/: requests as a client sends them, one
//     per call with every argument filled and one with only what always
//     travels, plus an unknown method, a failing handler and two requests
//     back to back;
//   records/: every record, filled both ways, in both protocols, behind the
//     selector byte of the record fuzzer.
// Every request is checked against a processor first: a seed that does not
// get its reply is a mistake here, and fails the build.
#include <cstdint>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include <thrift/Thrift.h>
#include <thrift/transport/TTransportException.h>

#include <thriftyol/json/yol_calls.h>
#include <thriftyol/service/Yol.h>
#include <thriftyol/testing/yol_samples.h>

#include "fuzz_support.h"

namespace {

namespace fs = std::filesystem;
using ::apache::thrift::protocol::TMessageType;
using ::apache::thrift::transport::TTransportException;
using yol::YolClient;
using yol::fuzz::Wire;
using yol::testing::Fields;

constexpr int kSeed = 7;

// Arguments of types `Args` (a tuple), filled from the samples.
template <class Args, std::size_t... I>
Args sampleArguments(Fields fields, std::index_sequence<I...>) {
  return Args{
      yol::testing::sample<std::tuple_element_t<I, Args>>(kSeed + static_cast<int>(I), fields)...};
}

// The request that a client writes for call C, with arguments filled from
// the samples. The client then waits for a reply that its empty input never
// holds; that end of data is expected.
template <class C>
std::string request(Wire wire, Fields fields) {
  const auto args = sampleArguments<typename C::Args>(
      fields, std::make_index_sequence<std::tuple_size_v<typename C::Args>>{});
  const auto out = yol::fuzz::emptyBuffer();
  YolClient client(yol::fuzz::protocol(wire, yol::fuzz::emptyBuffer()),
                   yol::fuzz::protocol(wire, out));
  try {
    C::call(client, args);
  } catch (const TTransportException& e) {
    if (e.getType() != TTransportException::END_OF_FILE) {
      throw;
    }
  }
  return out->getBufferAsString();
}

template <class... C, class F>
void forEachCall(yol::calls::CallList<C...>, F&& f) {
  (f(yol::testing::Type<C>{}), ...);
}

struct Reply {
  std::string name;
  TMessageType type;
};

// The replies a processor gives to `requests`, read back in order.
std::vector<Reply> replies(Wire wire, const std::string& requests) {
  const auto in =
      yol::fuzz::inputBuffer(reinterpret_cast<const uint8_t*>(requests.data()), requests.size());
  const auto out = yol::fuzz::emptyBuffer();
  yol::YolProcessor processor(std::make_shared<yol::fuzz::Handler>());
  const auto iprot = yol::fuzz::protocol(wire, in);
  const auto oprot = yol::fuzz::protocol(wire, out);
  while (in->available_read() > 0 && processor.process(iprot, oprot, nullptr)) {
  }
  std::vector<Reply> seen;
  while (out->available_read() > 0) {
    Reply reply;
    int32_t seqid;
    oprot->readMessageBegin(reply.name, reply.type, seqid);
    oprot->skip(::apache::thrift::protocol::T_STRUCT);
    oprot->readMessageEnd();
    seen.push_back(reply);
  }
  return seen;
}

void expectReplies(Wire wire, const std::string& requests, const std::vector<Reply>& expected,
                   const char* what) {
  const std::vector<Reply> seen = replies(wire, requests);
  bool same = seen.size() == expected.size();
  for (std::size_t i = 0; same && i < seen.size(); ++i) {
    same = seen[i].name == expected[i].name && seen[i].type == expected[i].type;
  }
  if (!same) {
    throw std::runtime_error(std::string("the seed ") + what + " (" + yol::fuzz::name(wire) +
                             ") does not get the replies it should");
  }
}

// A request written by hand: `name` as `type` with an empty argument record.
std::string bareRequest(Wire wire, const std::string& name, TMessageType type) {
  const auto buffer = yol::fuzz::emptyBuffer();
  const auto prot = yol::fuzz::protocol(wire, buffer);
  prot->writeMessageBegin(name, type, 3);
  prot->writeStructBegin("args");
  prot->writeFieldStop();
  prot->writeStructEnd();
  prot->writeMessageEnd();
  return buffer->getBufferAsString();
}

std::string statusRequest(Wire wire, int32_t id) {
  const auto buffer = yol::fuzz::emptyBuffer();
  YolClient(yol::fuzz::protocol(wire, buffer)).send_status(id);
  return buffer->getBufferAsString();
}

void writeFile(const fs::path& path, const std::string& bytes) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  if (!file) {
    throw std::runtime_error("cannot write " + path.string());
  }
}

fs::path freshDirectory(const fs::path& path) {
  fs::remove_all(path);
  fs::create_directories(path);
  return path;
}

void writeRequests(const fs::path& root, Wire wire) {
  const fs::path dir = freshDirectory(root / (std::string("process_") + yol::fuzz::name(wire)));
  const TMessageType reply = ::apache::thrift::protocol::T_REPLY;
  const TMessageType exception = ::apache::thrift::protocol::T_EXCEPTION;
  forEachCall(yol::calls::AllYolCalls{}, [&](auto call) {
    using C = typename decltype(call)::type;
    for (const Fields fields : {Fields::all, Fields::no_optionals}) {
      const std::string bytes = request<C>(wire, fields);
      const std::string file =
          std::string(C::name) + (fields == Fields::all ? "-all" : "-required");
      expectReplies(wire, bytes, {{C::name, reply}}, file.c_str());
      writeFile(dir / file, bytes);
    }
  });

  const std::string unknown = bareRequest(wire, "reboot", ::apache::thrift::protocol::T_CALL);
  expectReplies(wire, unknown, {{"reboot", exception}}, "unknown-method");
  writeFile(dir / "unknown-method", unknown);

  const std::string oneway = bareRequest(wire, "ping", ::apache::thrift::protocol::T_ONEWAY);
  expectReplies(wire, oneway, {{"ping", reply}}, "oneway-ping");
  writeFile(dir / "oneway-ping", oneway);

  const std::string failing = statusRequest(wire, yol::fuzz::kFailingStatusId);
  expectReplies(wire, failing, {{"status", exception}}, "failing-handler");
  writeFile(dir / "failing-handler", failing);

  const std::string two = request<yol::calls::ping>(wire, Fields::all) + statusRequest(wire, 41);
  expectReplies(wire, two, {{"ping", reply}, {"status", reply}}, "two-requests");
  writeFile(dir / "two-requests", two);
}

void writeRecords(const fs::path& root) {
  const fs::path dir = freshDirectory(root / "records");
  std::size_t index = 0;
  yol::testing::for_each_record([&](auto type) {
    using R = typename decltype(type)::type;
    for (const Wire wire : {Wire::binary, Wire::compact}) {
      for (const Fields fields : {Fields::all, Fields::no_optionals}) {
        const auto buffer = yol::fuzz::emptyBuffer();
        yol::testing::sample<R>(kSeed, fields).write(yol::fuzz::protocol(wire, buffer).get());
        const std::string file = std::string(yol::testing::RecordInfo<R>::name) + "-" +
                                 yol::fuzz::name(wire) +
                                 (fields == Fields::all ? "-all" : "-required");
        writeFile(dir / file,
                  std::string(1, static_cast<char>(yol::fuzz::recordSelector(index, wire))) +
                      buffer->getBufferAsString());
      }
    }
    ++index;
  });
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: %s OUTPUT_DIRECTORY\n", argv[0]);
    return 2;
  }
  try {
    const fs::path root = argv[1];
    writeRequests(root, Wire::binary);
    writeRequests(root, Wire::compact);
    writeRecords(root);
  } catch (const std::exception& e) {
    std::fprintf(stderr, "%s: %s\n", argv[0], e.what());
    return 1;
  }
  return 0;
}
