// yolctl run in-process against servers on loopback ports: every call of the
// contract by name over every protocol and transport, and an exit status
// with a clear message for each way a run can fail.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <any>
#include <map>
#include <memory>
#include <mutex>
#include <sstream>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <thriftyol/json/yol_calls.h>
#include <thriftyol/json/yol_json.h>
#include <thriftyol/testing/yol_samples.h>

#include "loopback_server.h"
#include "yolctl.h"

namespace yolctl {
namespace {

namespace calls = yol::calls;
using ::apache::thrift::protocol::TProtocol;
using yol::testing::sample;
using Words = std::vector<std::string>;
constexpr int kArgumentSeed = 70;
constexpr int kResultSeed = 500;

// Takes every call: notes its name and arguments and answers with the
// sample result of kResultSeed. A misbehaving sink fails getModemId with an
// exception and answers getEULAVersion beyond the reply size limit.
struct Sink {
  template <class C>
  typename C::Result handle(const typename C::Args& args) {
    std::lock_guard<std::mutex> lock(mutex);
    names.push_back(C::name);
    last = args;
    if constexpr (!std::is_void_v<typename C::Result>) {
      if (misbehave && std::is_same_v<C, calls::getModemId>) {
        throw std::runtime_error("the modem is switched off");
      }
      if constexpr (std::is_same_v<C, calls::getEULAVersion>) {
        if (misbehave) return std::string(17 * 1024 * 1024, 'x');
      }
      return sample<typename C::Result>(kResultSeed);
    }
  }
  template <class C>
  typename C::Args lastArgs() {
    std::lock_guard<std::mutex> lock(mutex);
    return std::any_cast<typename C::Args>(last);
  }

  bool misbehave = false;
  std::mutex mutex;
  std::vector<std::string> names;
  std::any last;
};

struct Server {
  Server(std::shared_ptr<::apache::thrift::TProcessorFactory> processors, std::string protocol,
         std::string transport)
      : options{"--port", "", "--protocol", protocol, "--transport", transport},
        server(std::move(processors), {yol::testing::transport_factory(transport),
                                       yol::testing::protocol_factory(protocol)}) {
    options[1] = std::to_string(server.port());
  }
  Words options;
  yol::testing::LoopbackServer server;
};

std::unique_ptr<Server> sinkServer(Sink& sink, std::string protocol, std::string transport) {
  auto handler = std::make_shared<calls::ForwardingHandler<Sink>>(sink);
  return std::make_unique<Server>(
      std::make_shared<yol::YolProcessorFactory>(std::make_shared<yol::YolIfSingletonFactory>(handler)),
      protocol, transport);
}

// Reads any call and replies with a result structure without any field.
struct EmptyReply : ::apache::thrift::TProcessor {
  bool process(std::shared_ptr<TProtocol> in, std::shared_ptr<TProtocol> out, void*) override {
    std::string name;
    ::apache::thrift::protocol::TMessageType type;
    int32_t seqid = 0;
    in->readMessageBegin(name, type, seqid);
    in->skip(::apache::thrift::protocol::T_STRUCT);
    in->readMessageEnd();
    out->writeMessageBegin(name, ::apache::thrift::protocol::T_REPLY, seqid);
    out->writeStructBegin("result");
    out->writeFieldStop();
    out->writeStructEnd();
    out->writeMessageEnd();
    out->getTransport()->writeEnd();
    out->getTransport()->flush();
    return true;
  }
};

// A loopback socket: listening (and never accepting) or closed at once.
int loopbackPort(bool listening, int& fd) {
  fd = ::socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  ::bind(fd, reinterpret_cast<sockaddr*>(&address), size);
  ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &size);
  listening ? ::listen(fd, 4) : ::close(fd);
  return ntohs(address.sin_port);
}

struct Ran {
  int code;
  std::string out, err;
};

Ran yolctl(const Words& words) {
  std::ostringstream out, err;
  const int code = run(words, out, err);
  return {code, out.str(), err.str()};
}

template <class... C, class F>
void forEachCall(calls::CallList<C...>, F&& f) {
  (f(static_cast<C*>(nullptr)), ...);
}

TEST(YolctlEveryCall, ArgumentsAndResultsArriveOverEveryProtocolAndTransport) {
  Sink sink;
  std::size_t made = 0;
  for (const char* protocol : {"binary", "compact", "json"}) {
    for (const char* transport : {"buffered", "framed"}) {
      const auto server = sinkServer(sink, protocol, transport);
      forEachCall(calls::AllYolCalls{}, [&](auto* call) {
        using C = std::remove_pointer_t<decltype(call)>;
        typename C::Args args;
        Words words = server->options;
        words.insert(words.end(), {"--json", C::name});
        std::apply([&](auto&... arg) {
          int seed = kArgumentSeed;
          ((arg = sample<std::decay_t<decltype(arg)>>(seed++),
            words.push_back(yol::json::toJson(arg).dump())), ...);
        }, args);
        const Ran r = yolctl(words);
        const std::string via = std::string(C::name) + " over " + protocol + "/" + transport;
        ASSERT_EQ(r.code, kOk) << via << ": " << r.err;
        ASSERT_EQ(sink.names.at(made++), C::name) << via;
        EXPECT_TRUE(sink.lastArgs<C>() == args) << via;
        if constexpr (std::is_void_v<typename C::Result>) {
          EXPECT_EQ(r.out, "null\n") << via;
        } else {
          EXPECT_TRUE(yol::json::fromJson<typename C::Result>(nlohmann::json::parse(r.out), "") ==
                      sample<typename C::Result>(kResultSeed)) << via << ": " << r.out;
        }
      });
    }
  }
  EXPECT_EQ(made, 6 * 75u);
}

template <class T>
std::string text(const T& value) {
  std::ostringstream out;
  out << value << "\n";
  return out.str();
}

TEST(YolctlRuns, ExitStatusAndOutputOfEachKindOfRun) {
  Sink sink;
  sink.misbehave = true;
  int silentFd = -1, closedFd = -1;
  const auto bufferedServer = sinkServer(sink, "binary", "buffered");
  const auto framedServer = sinkServer(sink, "binary", "framed");
  const Server emptyServer(std::make_shared<::apache::thrift::TSingletonProcessorFactory>(
                               std::make_shared<EmptyReply>()),
                           "binary", "buffered");
  const std::map<std::string, Words> at = {
      {"@server", bufferedServer->options},
      {"@framed", {"--port", framedServer->options[1]}},
      {"@empty", emptyServer.options},
      {"@silent", {"--port", std::to_string(loopbackPort(true, silentFd))}},
      {"@closed", {"--port", std::to_string(loopbackPort(false, closedFd))}}};
  const auto interfaces = sample<std::vector<std::string>>(kResultSeed);
  const std::string usage = "\nTry 'yolctl --help'.";
  // The words (@name: the options that point at that server), the exit
  // status, stdout as it must be, and a part of stderr.
  const std::vector<std::tuple<Words, int, std::string, std::string>> cases = {
      {{}, kUsage, "", usage},
      {{"--json"}, kUsage, "", usage},
      {{"--port", "0", "ping"}, kUsage, "", usage},
      {{"--port", "70000", "ping"}, kUsage, "", usage},
      {{"--timeout", "-5", "ping"}, kUsage, "", usage},
      {{"--protocol", "xml", "ping"}, kUsage, "", usage},
      {{"--transport=zlib", "ping"}, kUsage, "", usage},
      {{"--bogus", "ping"}, kUsage, "", usage},
      {{"--host"}, kUsage, "", usage},
      {{"list", "extra"}, kUsage, "", usage},
      {{"describe"}, kUsage, "", usage},
      {{"Status"}, kUnknownName, "", "yolctl: unknown call 'Status'; did you mean status?"},
      {{"GetStatus"}, kUnknownName, "", "did you mean FT_GetStatus, JOB_GetStatus, MGT_GetStatus or "},
      {{"frobnicate"}, kUnknownName, "", "yolctl: unknown call 'frobnicate'\n"},
      {{"describe", "stFeature"}, kUnknownName, "",
       "yolctl: no record, enumeration or call named 'stFeature'; did you mean stFeatures"},
      {{"@closed", "status"}, kBadArguments, "",
       "yolctl: status: expected 1 argument, got 0: i32 status(1: i32 id)\n"},
      {{"@closed", "ping", "1"}, kBadArguments, "", "yolctl: ping: expected 0 arguments, got 1"},
      {{"@closed", "status", "seven"}, kBadArguments, "",
       "yolctl: status: argument 1 (id): expected an integer\n"},
      {{"@closed", "status", "2147483648"}, kBadArguments, "",
       "yolctl: status: argument 1 (id): 2147483648 is out of range for i32\n"},
      {{"@closed", "SendMsg", "SSH", "GPS", "[1, \"json_TEXT\"]", "[]", "[]"}, kBadArguments, "",
       "yolctl: SendMsg: argument 3 (eType[1]): 'json_TEXT' is not a member of eDataType\n"},
      {{"@closed", "SetModemInfo", R"({"modemid":"m"})"}, kBadArguments, "",
       "yolctl: SetModemInfo: argument 1 (sInfo): missing required field 'model'\n"},
      {{"@closed", "SYS_SetPeerList", "eth0", R"([{"type":"ecu","colour":"red"}])"}, kBadArguments,
       "", "yolctl: SYS_SetPeerList: argument 2 (stDevices[0]): unknown key 'colour'\n"},
      {{"@closed", "status", "1"}, kCannotConnect, "", "yolctl: cannot connect to 127.0.0.1:"},
      {{"@silent", "--timeout", "200", "status", "1"}, kTimedOut, "",
       " within 200 ms\n(do --protocol and --transport match the server's?)\n"},
      {{"@framed", "--timeout", "2000", "status", "1"}, kCallFailed, "",
       "(do --protocol and --transport match the server's?)"},
      {{"@empty", "status", "1"}, kMissingResult, "",
       "yolctl: status: the reply carried no result (status failed: unknown result)\n"},
      {{"@empty", "ping"}, kOk, "", ""},
      {{"@server", "getModemId"}, kExceptionReply, "",
       "yolctl: getModemId: the server answered with an exception: UNKNOWN: "
       "the modem is switched off\n"},
      {{"@server", "getEULAVersion"}, kCallFailed, "", "yolctl: getEULAVersion: the call failed: "},
      {{"@server", "status", "7"}, kOk, text(sample<int32_t>(kResultSeed)), ""},
      {{"@server", "getWanStatus"}, kOk, "1\n", ""},
      {{"@server", "--json", "getWanStatus"}, kOk, "true\n", ""},
      {{"@server", "SYS_GetInterfaceList"}, kOk,
       "[" + interfaces[0] + ", " + interfaces[1] + "]\n", ""},
      {{"@server", "GetModemInfo"}, kOk, text(sample<yol::stCellularInfo>(kResultSeed)), ""},
      {{"describe", "FT_Ack"}, kOk, "i32 FT_Ack(1: string sFileID, 2: eFTAckType eType)\n", ""},
      {{"describe", "stFeatures"}, kOk,
       "// One gateway feature and whether it is switched on.\nstruct stFeatures {\n"
       "  1: required eMGTFeature feature\n  2: required bool enabled\n}\n", ""},
      {{"describe", "eFTDirection"}, kOk,
       "// The direction of a file transfer.\nenum eFTDirection {\n  UPLOAD = 0\n"
       "  DOWNLOAD = 1\n}\n", ""},
  };
  for (const auto& [words, code, out, err] : cases) {
    Words line;
    for (const std::string& word : words) {
      const auto server = at.find(word);
      const Words& part = server == at.end() ? Words{word} : server->second;
      line.insert(line.end(), part.begin(), part.end());
    }
    const Ran r = yolctl(line);
    const std::string what = ::testing::PrintToString(words) + ": " + r.err;
    EXPECT_EQ(r.code, code) << what;
    EXPECT_EQ(r.out, out) << what;
    EXPECT_NE(r.err.find(err), std::string::npos) << what;
    EXPECT_EQ(r.err.empty(), err.empty()) << what;
  }
  ::close(silentFd);

  std::string signatures;
  forEachCall(calls::AllYolCalls{}, [&](auto* call) {
    signatures += std::string(std::remove_pointer_t<decltype(call)>::signature) + "\n";
  });
  EXPECT_EQ(yolctl({"list"}).out, signatures);
  EXPECT_NE(yolctl({"--help"}).out.find("Exit status:"), std::string::npos);

  // Texts that are no JSON are taken as they stand; enumerations by name or number.
  for (const std::string name : {"42", "1.2.3", "\"a b\"", "{\"x\":1}", ""}) {
    ASSERT_EQ(yolctl({"--port", at.at("@server")[1], "SetMerivaultName", name}).code, kOk);
    const std::string arrived = name == "\"a b\"" ? "a b" : name;
    EXPECT_EQ(std::get<0>(sink.lastArgs<calls::SetMerivaultName>()), arrived);
  }
  for (const char* name : {"TEMPORARY", "\"TEMPORARY\"", "1"}) {
    ASSERT_EQ(yolctl({"--port", at.at("@server")[1], "acceptEULA", name}).code, kOk);
    EXPECT_EQ(std::get<0>(sink.lastArgs<calls::acceptEULA>()), yol::eEULAAcceptType::TEMPORARY);
  }
}

}  // namespace
}  // namespace yolctl
