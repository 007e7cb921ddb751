// yolctl's command line: result texts, how argument texts become values,
// list and describe, and a distinct exit status with a clear message for
// each way a run can fail.
#include <algorithm>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include <thriftyol/json/yol_calls.h>
#include <thriftyol/testing/yol_samples.h>

#include "test_servers.h"
#include "yolctl.h"

namespace yolctl {
namespace testing {
namespace {

namespace calls = yol::calls;
using yol::testing::sample;

std::vector<std::string> concat(std::vector<std::string> head,
                                const std::vector<std::string>& tail) {
  head.insert(head.end(), tail.begin(), tail.end());
  return head;
}

class YolctlAgainstAServer : public ::testing::Test {
 protected:
  RunResult call(const std::vector<std::string>& words) {
    return runYolctl(concat(server_->options(), words));
  }

  RecordingSink sink_;
  std::unique_ptr<TargetServer> server_ = recordingServer(sink_);
};

TEST_F(YolctlAgainstAServer, PrintsResultsInTheTextForm) {
  std::ostringstream record;
  record << sample<yol::stCellularInfo>(kResultSeed);
  const auto interfaces = sample<std::vector<std::string>>(kResultSeed);
  const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
      {{"ping"}, ""},
      {{"status", "7"}, std::to_string(sample<int32_t>(kResultSeed)) + "\n"},
      {{"getWanStatus"}, "1\n"},
      {{"getModemId"}, sample<std::string>(kResultSeed) + "\n"},
      {{"SYS_GetInterfaceList"}, "[" + interfaces[0] + ", " + interfaces[1] + "]\n"},
      {{"GetModemInfo"}, record.str() + "\n"},
  };
  for (const auto& [words, text] : cases) {
    const RunResult run = call(words);
    EXPECT_EQ(run.code, kOk) << words[0] << ": " << run.err;
    EXPECT_EQ(run.out, text) << words[0];
  }
  EXPECT_EQ(call({"--json", "getWanStatus"}).out, "true\n");
}

TEST_F(YolctlAgainstAServer, StringArgumentsAreTakenAsTheyStand) {
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"42", "42"},
      {"1.2.3", "1.2.3"},
      {"\"a b\"", "a b"},
      {"{\"x\":1}", "{\"x\":1}"},
      {"", ""},
  };
  for (const auto& [text, arrived] : cases) {
    ASSERT_EQ(call({"SetMerivaultName", text}).code, kOk) << text;
    EXPECT_EQ(std::get<0>(sink_.lastArgs<calls::SetMerivaultName>()), arrived) << text;
  }
}

TEST_F(YolctlAgainstAServer, EnumerationsByBareNameQuotedNameOrNumber) {
  for (const char* text : {"TEMPORARY", "\"TEMPORARY\"", "1"}) {
    ASSERT_EQ(call({"acceptEULA", text}).code, kOk) << text;
    EXPECT_EQ(std::get<0>(sink_.lastArgs<calls::acceptEULA>()), yol::eEULAAcceptType::TEMPORARY)
        << text;
  }
  ASSERT_EQ(call({"SendMsg", "SSH", "2", R"(["json_DOUBLE", 1])", R"(["k1","k2"])", "[]"}).code,
            kOk);
  const auto args = sink_.lastArgs<calls::SendMsg>();
  EXPECT_EQ(std::get<0>(args), yol::eCategory::SSH);
  EXPECT_EQ(std::get<1>(args), yol::eTelematics::MODEM);
  EXPECT_EQ(std::get<2>(args), (std::vector<yol::eDataType::type>{
                                   yol::eDataType::json_DOUBLE, yol::eDataType::json_INTEGER}));
  EXPECT_EQ(std::get<3>(args), (std::vector<std::string>{"k1", "k2"}));
  EXPECT_TRUE(std::get<4>(args).empty());
}

TEST_F(YolctlAgainstAServer, AnExceptionReplyNamesItsTypeAndMessage) {
  sink_.failOn("getModemId");
  const RunResult run = call({"getModemId"});
  EXPECT_EQ(run.code, kExceptionReply);
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err,
            "yolctl: getModemId: the server answered with an exception: UNKNOWN: "
            "the modem is switched off\n");
}

TEST_F(YolctlAgainstAServer, RepliesBeyondTheLimitsFailTheCall) {
  sink_.replyWith<calls::getModemId>(std::string(17 * 1024 * 1024, 'x'));
  const RunResult run = call({"getModemId"});
  EXPECT_EQ(run.code, kCallFailed);
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err.rfind("yolctl: getModemId: the call failed: ", 0), 0u) << run.err;
}

TEST(YolctlArguments, AreCheckedBeforeAnyConnection) {
  const std::string port = std::to_string(closedPort());
  const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
      {{"status"}, "yolctl: status: expected 1 argument, got 0: i32 status(1: i32 id)\n"},
      {{"ping", "1"}, "yolctl: ping: expected 0 arguments, got 1: void ping()\n"},
      {{"status", "seven"}, "yolctl: status: argument 1 (id): expected an integer\n"},
      {{"status", "2147483648"},
       "yolctl: status: argument 1 (id): 2147483648 is out of range for i32\n"},
      {{"SendMsg", "SSH", "GPS", "[1, \"json_TEXT\"]", "[]", "[]"},
       "yolctl: SendMsg: argument 3 (eType[1]): 'json_TEXT' is not a member of eDataType\n"},
      {{"FT_UploadFile", R"({"id":"f","association":{"type":true}})"},
       "yolctl: FT_UploadFile: argument 1 (sFile.association.type): expected an integer or a "
       "member of eFTAssociationType\n"},
      {{"SetModemInfo", R"({"modemid":"m"})"},
       "yolctl: SetModemInfo: argument 1 (sInfo): missing required field 'model'\n"},
      {{"SYS_SetPeerList", "eth0", R"([{"type":"ecu","colour":"red"}])"},
       "yolctl: SYS_SetPeerList: argument 2 (stDevices[0]): unknown key 'colour'\n"},
  };
  for (const auto& [words, message] : cases) {
    const RunResult run = runYolctl(concat({"--port", port}, words));
    EXPECT_EQ(run.code, kBadArguments) << words[0];
    EXPECT_EQ(run.err, message);
  }
}

TEST(YolctlUnknownCall, SuggestsTheNearestNames) {
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"Status", "did you mean status?"},
      {"FT_Getstatus", "did you mean FT_GetStatus?"},
      {"GetStatus", "did you mean FT_GetStatus, JOB_GetStatus, MGT_GetStatus or "},
      {"getModemID", "did you mean getModemId?"},
  };
  for (const auto& [name, hint] : cases) {
    const RunResult run = runYolctl({name});
    EXPECT_EQ(run.code, kUnknownName) << name;
    EXPECT_EQ(run.err.rfind("yolctl: unknown call '" + name + "'; " + hint, 0), 0u) << run.err;
  }
  const RunResult nothingNear = runYolctl({"frobnicate"});
  EXPECT_EQ(nothingNear.code, kUnknownName);
  EXPECT_EQ(nothingNear.err, "yolctl: unknown call 'frobnicate'\n");
}

TEST(YolctlConnection, RefusedTimedOutMismatchedOrWithoutResult) {
  const RunResult refused = runYolctl({"--port", std::to_string(closedPort()), "status", "1"});
  EXPECT_EQ(refused.code, kCannotConnect);
  EXPECT_EQ(refused.err.rfind("yolctl: cannot connect to 127.0.0.1:", 0), 0u) << refused.err;

  SilentListener silent;
  const std::string silentPort = std::to_string(silent.port());
  const RunResult timedOut = runYolctl({"--port", silentPort, "--timeout", "200", "status", "1"});
  EXPECT_EQ(timedOut.code, kTimedOut);
  EXPECT_EQ(timedOut.err, "yolctl: status: no reply from 127.0.0.1:" + silentPort +
                              " within 200 ms\n(do --protocol and --transport match the "
                              "server's?)\n");

  RecordingSink sink;
  const auto framed = recordingServer(sink, "binary", "framed");
  const RunResult mismatch =
      runYolctl({"--port", std::to_string(framed->port()), "--timeout", "2000", "status", "1"});
  EXPECT_EQ(mismatch.code, kCallFailed) << mismatch.err;
  EXPECT_NE(mismatch.err.find("(do --protocol and --transport match the server's?)"),
            std::string::npos);

  const auto empty = emptyReplyServer();
  const RunResult missing = runYolctl(concat(empty->options(), {"status", "1"}));
  EXPECT_EQ(missing.code, kMissingResult);
  EXPECT_EQ(missing.err,
            "yolctl: status: the reply carried no result (status failed: unknown result)\n");
  // A call without result expects exactly that empty reply.
  const RunResult ping = runYolctl(concat(empty->options(), {"ping"}));
  EXPECT_EQ(ping.code, kOk) << ping.err;
  EXPECT_EQ(ping.out, "");
}

TEST(YolctlUsage, BadCommandLinesAreUsageErrors) {
  const std::vector<std::vector<std::string>> cases = {
      {},
      {"--json"},
      {"--port", "0", "ping"},
      {"--port", "70000", "ping"},
      {"--timeout", "-5", "ping"},
      {"--protocol", "xml", "ping"},
      {"--transport=zlib", "ping"},
      {"--bogus", "ping"},
      {"--port"},
      {"--host"},
      {"list", "extra"},
      {"describe"},
  };
  for (const auto& words : cases) {
    const RunResult run = runYolctl(words);
    EXPECT_EQ(run.code, kUsage) << ::testing::PrintToString(words) << ": " << run.err;
    EXPECT_NE(run.err.find("Try 'yolctl --help'."), std::string::npos) << run.err;
  }
  const RunResult help = runYolctl({"--help"});
  EXPECT_EQ(help.code, kOk);
  EXPECT_NE(help.out.find("Exit status:"), std::string::npos);
}

TEST(YolctlList, PrintsEveryCallWithItsSignatureInContractOrder) {
  const RunResult run = runYolctl({"list"});
  ASSERT_EQ(run.code, kOk);
  std::vector<std::string> lines;
  std::istringstream in(run.out);
  for (std::string line; std::getline(in, line);) {
    lines.push_back(line);
  }
  ASSERT_EQ(lines.size(), 75u);
  EXPECT_EQ(lines[0], "void ping()");
  EXPECT_EQ(lines[1], "i32 status(1: i32 id)");
  EXPECT_EQ(lines[41], "list<stFileHistory> FT_GetHistoryIndex(1: i32 sStartIndex, 2: i32 sEndIndex)");
  EXPECT_EQ(lines[74], "i32 JOB_SetMutableData(1: string sGUID, 2: list<stJobPoint> points)");
}

TEST(YolctlDescribe, RecordsEnumerationsAndCalls) {
  EXPECT_EQ(runYolctl({"describe", "stFeatures"}).out,
            "// One gateway feature and whether it is switched on.\n"
            "struct stFeatures {\n"
            "  1: required eMGTFeature feature\n"
            "  2: required bool enabled\n"
            "}\n");
  EXPECT_EQ(runYolctl({"describe", "ServiceDiscoveryResult"}).out,
            "// The outcome of one service-discovery lookup.\n"
            "struct ServiceDiscoveryResult {\n"
            "  1: optional ServiceDiscoveryError error\n"
            "  2: optional ServiceDiscoveryFailure failure\n"
            "  3: optional ServiceDiscoverySuccess success\n"
            "  4: optional bool pending\n"
            "}\n");
  const RunResult failure = runYolctl({"describe", "ServiceDiscoveryFailure"});
  EXPECT_NE(failure.out.find("  1: default string error_message\n"), std::string::npos);
  EXPECT_EQ(runYolctl({"describe", "eFTDirection"}).out,
            "// The direction of a file transfer.\n"
            "enum eFTDirection {\n"
            "  UPLOAD = 0\n"
            "  DOWNLOAD = 1\n"
            "}\n");
  const RunResult modem = runYolctl({"describe", "eCellularModemState"});
  EXPECT_NE(modem.out.find("  MODEM_STATE_FAILED = -1\n"), std::string::npos);
  EXPECT_EQ(runYolctl({"describe", "FT_Ack"}).out,
            "i32 FT_Ack(1: string sFileID, 2: eFTAckType eType)\n");

  const RunResult unknown = runYolctl({"describe", "stFeature"});
  EXPECT_EQ(unknown.code, kUnknownName);
  EXPECT_EQ(unknown.err.rfind("yolctl: no record, enumeration or call named 'stFeature'; "
                              "did you mean stFeatures",
                              0),
            0u)
      << unknown.err;
}

}  // namespace
}  // namespace testing
}  // namespace yolctl
