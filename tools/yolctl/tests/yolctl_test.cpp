// yolctl in-process against loopback servers: every call by name over every protocol and
// transport, and an exit status with a clear message for each way a run can fail.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <any>
#include <mutex>
#include <sstream>
#include <string>
#include <tuple>
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
using yol::testing::sample;
using Words = std::vector<std::string>;
constexpr int kArgumentSeed = 70;
constexpr int kResultSeed = 500;

// Notes each call and its arguments and answers with a sample; a misbehaving one fails getModemId.
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
      return sample<typename C::Result>(kResultSeed);
    }
  }
  bool misbehave = false;
  std::mutex mutex;
  std::vector<std::string> names;
  std::any last;
};

// A server of the sink; its options point yolctl at it.
struct Server {
  Server(Sink& sink, const std::string& protocol, const std::string& transport)
      : server(std::make_shared<yol::YolIfSingletonFactory>(
                   std::make_shared<calls::ForwardingHandler<Sink>>(sink)),
               {yol::testing::transport_factory(transport),
                yol::testing::protocol_factory(protocol)}),
        options{"--port", std::to_string(server.port()), "--protocol", protocol,
                "--transport", transport} {}
  yol::testing::LoopbackServer server;
  Words options;
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

// yolctl's exit status, stdout and stderr.
std::tuple<int, std::string, std::string> yolctl(const Words& words) {
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
      const Server server(sink, protocol, transport);
      forEachCall(calls::AllYolCalls{}, [&](auto* call) {
        using C = std::remove_pointer_t<decltype(call)>;
        typename C::Args args;
        Words words = server.options;
        words.insert(words.end(), {"--json", C::name});
        std::apply([&](auto&... arg) {
          int seed = kArgumentSeed;
          ((arg = sample<std::decay_t<decltype(arg)>>(seed++),
            words.push_back(yol::json::toJson(arg).dump())), ...);
        }, args);
        const auto [code, out, err] = yolctl(words);
        const std::string via = std::string(C::name) + " over " + protocol + "/" + transport;
        ASSERT_EQ(code, kOk) << via << ": " << err;
        ASSERT_EQ(sink.names.at(made++), C::name) << via;
        EXPECT_TRUE(std::any_cast<typename C::Args>(sink.last) == args) << via;
        nlohmann::json result;
        if constexpr (!std::is_void_v<typename C::Result>) {
          result = yol::json::toJson(sample<typename C::Result>(kResultSeed));
        }
        EXPECT_EQ(nlohmann::json::parse(out), result) << via;
      });
    }
  }
  EXPECT_EQ(made, 6 * 75u);
}

TEST(YolctlRuns, ExitStatusAndOutputOfEachKindOfRun) {
  Sink sink;
  sink.misbehave = true;
  int silentFd = -1, closedFd = -1;
  const Server buffered(sink, "binary", "buffered"), framed(sink, "binary", "framed");
  const std::string server = buffered.options[1], mismatched = framed.options[1],
                    silent = std::to_string(loopbackPort(true, silentFd)),
                    closed = std::to_string(loopbackPort(false, closedFd));
  const auto interfaces = sample<std::vector<std::string>>(kResultSeed);
  const std::string usage = "\nTry 'yolctl --help'.";
  // The words, the exit status, stdout as it must be, and a part of stderr.
  const std::vector<std::tuple<Words, int, std::string, std::string>> cases = {
      {{}, kUsage, "", usage},
      {{"--protocol", "xml", "ping"}, kUsage, "", usage},
      {{"--bogus", "ping"}, kUsage, "", usage},
      {{"GetStatus"}, kUnknownName, "",
       "yolctl: unknown call 'GetStatus'; did you mean FT_GetStatus, JOB_GetStatus, MGT_GetStatus or "},
      {{"frobnicate"}, kUnknownName, "", "yolctl: unknown call 'frobnicate'\n"},
      {{"describe", "stFeature"}, kUnknownName, "",
       "yolctl: no record, enumeration or call named 'stFeature'; did you mean stFeatures"},
      {{"--port", closed, "status"}, kBadArguments, "",
       "yolctl: status: expected 1 argument, got 0: i32 status(1: i32 id)\n"},
      {{"--port", closed, "status", "seven"}, kBadArguments, "",
       "yolctl: status: argument 1 (id): expected an integer\n"},
      {{"--port", closed, "SendMsg", "SSH", "GPS", "[1, \"json_TEXT\"]", "[]", "[]"}, kBadArguments, "",
       "yolctl: SendMsg: argument 3 (eType[1]): 'json_TEXT' is not a member of eDataType\n"},
      {{"--port", closed, "SetModemInfo", R"({"modemid":"m"})"}, kBadArguments, "",
       "yolctl: SetModemInfo: argument 1 (sInfo): missing required field 'model'\n"},
      {{"--port", closed, "SYS_SetPeerList", "eth0", R"([{"type":"ecu","colour":"red"}])"}, kBadArguments,
       "", "yolctl: SYS_SetPeerList: argument 2 (stDevices[0]): unknown key 'colour'\n"},
      {{"--port", closed, "status", "1"}, kCannotConnect, "", "yolctl: cannot connect to 127.0.0.1:"},
      {{"--port", silent, "--timeout", "200", "status", "1"}, kTimedOut, "",
       " within 200 ms\n(do --protocol and --transport match the server's?)\n"},
      {{"--port", mismatched, "--timeout", "2000", "status", "1"}, kCallFailed, "",
       "(do --protocol and --transport match the server's?)"},
      {{"--port", server, "getModemId"}, kExceptionReply, "",
       "yolctl: getModemId: the server answered with an exception: UNKNOWN: "
       "the modem is switched off\n"},
      {{"--port", server, "status", "7"}, kOk, std::to_string(sample<int32_t>(kResultSeed)) + "\n", ""},
      {{"--port", server, "getWanStatus"}, kOk, "1\n", ""},
      {{"--port", server, "--json", "getWanStatus"}, kOk, "true\n", ""},
      {{"--port", server, "SYS_GetInterfaceList"}, kOk,
       "[" + interfaces[0] + ", " + interfaces[1] + "]\n", ""},
      {{"describe", "stFeatures"}, kOk,
       "// One gateway feature and whether it is switched on.\nstruct stFeatures {\n"
       "  1: required eMGTFeature feature\n  2: required bool enabled\n}\n", ""},
      {{"describe", "eFTDirection"}, kOk,
       "// The direction of a file transfer.\nenum eFTDirection {\n  UPLOAD = 0\n"
       "  DOWNLOAD = 1\n}\n", ""},
  };
  for (const auto& [words, code, out, err] : cases) {
    const auto [gotCode, gotOut, gotErr] = yolctl(words);
    const std::string what = ::testing::PrintToString(words) + ": " + gotErr;
    EXPECT_EQ(gotCode, code) << what;
    EXPECT_EQ(gotOut, out) << what;
    EXPECT_NE(gotErr.find(err), std::string::npos) << what;
    EXPECT_EQ(gotErr.empty(), err.empty()) << what;
  }
  ::close(silentFd);

  std::string signatures;
  forEachCall(calls::AllYolCalls{}, [&](auto* call) {
    signatures += std::string(std::remove_pointer_t<decltype(call)>::signature) + "\n";
  });
  EXPECT_EQ(std::get<1>(yolctl({"list"})), signatures);
  EXPECT_NE(std::get<1>(yolctl({"--help"})).find("Exit status:"), std::string::npos);

  // A string argument is the text as it stands unless it is a JSON string.
  for (const std::string name : {"1.2.3", "{\"x\":1}", "42"}) {
    yolctl({"--port", server, "SetMerivaultName", name});
    EXPECT_EQ(std::any_cast<calls::SetMerivaultName::Args>(sink.last), std::make_tuple(name));
  }
}

}  // namespace
}  // namespace yolctl
