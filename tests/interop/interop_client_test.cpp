// interop_client_test: our YolClient against the thriftpy servers that
// peer.py starts, over the protocol and transport it names.
//
//   interop_client_test --fixture=F --protocol=P --transport=T --port=N
//                       --silent-port=M [--skip=call,call...] [gtest flags]
//
// The server on --port checks each call's arguments against the fixture and
// answers with the fixture's result; the one on --silent-port answers every
// call without a result. --skip names calls the peer cannot answer over this
// stack (peer.py says why).

#include <functional>
#include <iostream>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <thrift/TApplicationException.h>
#include <thrift/transport/TTransportException.h>

#include <thriftyol/service/Yol.h>

#include "fixture.h"
#include "peer_options.h"

namespace {

using namespace yol;
using apache::thrift::TApplicationException;
using apache::thrift::transport::TTransportException;
using interop::Connection;
using interop::Fixture;
using interop::json;

struct Settings {
  std::unique_ptr<Fixture> fixture;
  std::string protocol;
  std::string transport;
  int port = 0;
  int silentPort = 0;
  std::set<std::string> skip;
};
Settings settings;

// A result variable that already holds something, to show that a call
// replaces a list or string result rather than adding to it. Records are
// read into as they are, so they start empty.
void makeStale(std::string& value) { value = "stale"; }
template <class T>
void makeStale(std::vector<T>& value) {
  value.resize(2);
}
template <class T>
void makeStale(T&) {}

// One call of the fixture on a client: its arguments in, its result checked.
class Call {
 public:
  Call(YolClient& client, const json& entry) : client(client), entry_(entry) {}

  template <class Args>
  Args args() const {
    return interop::decode<Args>(fixture(), entry_.at("args"), entry_.at("arguments"));
  }

  template <class Result>
  decltype(Result::success) stale() const {
    decltype(Result::success) value;
    makeStale(value);
    return value;
  }

  // The result equals the fixture's, both as a value of the generated type
  // and as JSON written by the generated `write`.
  template <class Result, class T>
  void check(const T& got) {
    const Result expected = interop::decode<Result>(fixture(), interop::resultFields(entry_),
                                                    interop::resultValue(entry_));
    const bool equal = got == expected.success;
    EXPECT_TRUE(equal) << "the result is not operator== to the fixture's";
    const std::string gotText = interop::text(interop::toJson(fixture(), entry_.at("result"), got));
    const std::string expectedText =
        interop::text(fixture().arriving(entry_.at("result"), entry_.at("answer")));
    EXPECT_EQ(gotText, expectedText);
    returned = true;
    matched = equal && gotText == expectedText;
  }
  template <class Result>
  void check() {
    returned = matched = true;
  }

  YolClient& client;
  bool returned = false;
  bool matched = false;

 private:
  static const Fixture& fixture() { return *settings.fixture; }
  const json& entry_;
};

using Step = std::function<void(Call&)>;

// Every call of the service, in contract order.
const std::vector<std::pair<std::string, Step>>& everyCall() {
  static const std::vector<std::pair<std::string, Step>> calls = {
      {"ping",
       [](Call& c) {
         c.client.ping();
         c.check<Yol_ping_result>();
       }},
      {"status",
       [](Call& c) {
         const auto a = c.args<Yol_status_args>();
         c.check<Yol_status_result>(c.client.status(a.id));
       }},
      {"SendMsg",
       [](Call& c) {
         const auto a = c.args<Yol_SendMsg_args>();
         c.check<Yol_SendMsg_result>(c.client.SendMsg(a.Cat, a.Tel, a.eType, a.sKey, a.sValue));
       }},
      {"SendMsgRaw",
       [](Call& c) {
         const auto a = c.args<Yol_SendMsgRaw_args>();
         c.check<Yol_SendMsgRaw_result>(
             c.client.SendMsgRaw(a.Cat, a.SubCat, a.eType, a.sKey, a.sValue));
       }},
      {"OTA_RefreshUpdateList",
       [](Call& c) {
         c.check<Yol_OTA_RefreshUpdateList_result>(c.client.OTA_RefreshUpdateList());
       }},
      {"OTA_GetUpdateList",
       [](Call& c) {
         auto r = c.stale<Yol_OTA_GetUpdateList_result>();
         c.client.OTA_GetUpdateList(r);
         c.check<Yol_OTA_GetUpdateList_result>(r);
       }},
      {"OTA_GetUpdateInfo",
       [](Call& c) {
         const auto a = c.args<Yol_OTA_GetUpdateInfo_args>();
         auto r = c.stale<Yol_OTA_GetUpdateInfo_result>();
         c.client.OTA_GetUpdateInfo(r, a.sVersion);
         c.check<Yol_OTA_GetUpdateInfo_result>(r);
       }},
      {"OTA_UpdateInitiate",
       [](Call& c) {
         const auto a = c.args<Yol_OTA_UpdateInitiate_args>();
         c.check<Yol_OTA_UpdateInitiate_result>(c.client.OTA_UpdateInitiate(a.sVersion));
       }},
      {"OTA_UpdateInitiateType",
       [](Call& c) {
         const auto a = c.args<Yol_OTA_UpdateInitiateType_args>();
         c.check<Yol_OTA_UpdateInitiateType_result>(
             c.client.OTA_UpdateInitiateType(a.sVersion, a.eType));
       }},
      {"OTA_UpdateInitiateFeature",
       [](Call& c) {
         const auto a = c.args<Yol_OTA_UpdateInitiateFeature_args>();
         c.check<Yol_OTA_UpdateInitiateFeature_result>(
             c.client.OTA_UpdateInitiateFeature(a.sFeature));
       }},
      {"OTA_Ack",
       [](Call& c) {
         const auto a = c.args<Yol_OTA_Ack_args>();
         c.check<Yol_OTA_Ack_result>(c.client.OTA_Ack(a.sessionID, a.eType));
       }},
      {"OTA_Status",
       [](Call& c) {
         auto r = c.stale<Yol_OTA_Status_result>();
         c.client.OTA_Status(r);
         c.check<Yol_OTA_Status_result>(r);
       }},
      {"requestRemoteSupport",
       [](Call& c) {
         const auto a = c.args<Yol_requestRemoteSupport_args>();
         c.check<Yol_requestRemoteSupport_result>(c.client.requestRemoteSupport(a.width, a.height));
       }},
      {"stopRemoteSupport",
       [](Call& c) { c.check<Yol_stopRemoteSupport_result>(c.client.stopRemoteSupport()); }},
      {"remoteSupportStatus",
       [](Call& c) {
         auto r = c.stale<Yol_remoteSupportStatus_result>();
         c.client.remoteSupportStatus(r);
         c.check<Yol_remoteSupportStatus_result>(r);
       }},
      {"getModemId",
       [](Call& c) {
         auto r = c.stale<Yol_getModemId_result>();
         c.client.getModemId(r);
         c.check<Yol_getModemId_result>(r);
       }},
      {"getSignalStrength",
       [](Call& c) { c.check<Yol_getSignalStrength_result>(c.client.getSignalStrength()); }},
      {"getWanStatus", [](Call& c) { c.check<Yol_getWanStatus_result>(c.client.getWanStatus()); }},
      {"getRoamingStatus",
       [](Call& c) { c.check<Yol_getRoamingStatus_result>(c.client.getRoamingStatus()); }},
      {"SetModemInfo",
       [](Call& c) {
         const auto a = c.args<Yol_SetModemInfo_args>();
         c.check<Yol_SetModemInfo_result>(c.client.SetModemInfo(a.sInfo));
       }},
      {"GetModemInfo",
       [](Call& c) {
         auto r = c.stale<Yol_GetModemInfo_result>();
         c.client.GetModemInfo(r);
         c.check<Yol_GetModemInfo_result>(r);
       }},
      {"SetGPSInfo",
       [](Call& c) {
         const auto a = c.args<Yol_SetGPSInfo_args>();
         c.check<Yol_SetGPSInfo_result>(c.client.SetGPSInfo(a.sInfo));
       }},
      {"GetGPSInfo",
       [](Call& c) {
         auto r = c.stale<Yol_GetGPSInfo_result>();
         c.client.GetGPSInfo(r);
         c.check<Yol_GetGPSInfo_result>(r);
       }},
      {"getMerivaultConnectionStatus",
       [](Call& c) {
         c.check<Yol_getMerivaultConnectionStatus_result>(c.client.getMerivaultConnectionStatus());
       }},
      {"getMerivaultUUID",
       [](Call& c) {
         auto r = c.stale<Yol_getMerivaultUUID_result>();
         c.client.getMerivaultUUID(r);
         c.check<Yol_getMerivaultUUID_result>(r);
       }},
      {"getMerivaultOwner",
       [](Call& c) {
         auto r = c.stale<Yol_getMerivaultOwner_result>();
         c.client.getMerivaultOwner(r);
         c.check<Yol_getMerivaultOwner_result>(r);
       }},
      {"getMerivaultOwnerId",
       [](Call& c) { c.check<Yol_getMerivaultOwnerId_result>(c.client.getMerivaultOwnerId()); }},
      {"getMerivaultName",
       [](Call& c) {
         auto r = c.stale<Yol_getMerivaultName_result>();
         c.client.getMerivaultName(r);
         c.check<Yol_getMerivaultName_result>(r);
       }},
      {"SetMerivaultName",
       [](Call& c) {
         const auto a = c.args<Yol_SetMerivaultName_args>();
         c.check<Yol_SetMerivaultName_result>(c.client.SetMerivaultName(a.sName));
       }},
      {"getMerivaultSystemName",
       [](Call& c) {
         auto r = c.stale<Yol_getMerivaultSystemName_result>();
         c.client.getMerivaultSystemName(r);
         c.check<Yol_getMerivaultSystemName_result>(r);
       }},
      {"getEULAVersion",
       [](Call& c) {
         auto r = c.stale<Yol_getEULAVersion_result>();
         c.client.getEULAVersion(r);
         c.check<Yol_getEULAVersion_result>(r);
       }},
      {"acceptEULA",
       [](Call& c) {
         const auto a = c.args<Yol_acceptEULA_args>();
         c.check<Yol_acceptEULA_result>(c.client.acceptEULA(a.eType));
       }},
      {"FT_GetRemoteFileList",
       [](Call& c) {
         auto r = c.stale<Yol_FT_GetRemoteFileList_result>();
         c.client.FT_GetRemoteFileList(r);
         c.check<Yol_FT_GetRemoteFileList_result>(r);
       }},
      {"FT_UploadFile",
       [](Call& c) {
         const auto a = c.args<Yol_FT_UploadFile_args>();
         c.check<Yol_FT_UploadFile_result>(c.client.FT_UploadFile(a.sFile));
       }},
      {"FT_DownloadFile",
       [](Call& c) {
         const auto a = c.args<Yol_FT_DownloadFile_args>();
         c.check<Yol_FT_DownloadFile_result>(c.client.FT_DownloadFile(a.sFile));
       }},
      {"FT_CopyFile",
       [](Call& c) {
         const auto a = c.args<Yol_FT_CopyFile_args>();
         auto r = c.stale<Yol_FT_CopyFile_result>();
         c.client.FT_CopyFile(r, a.sFileID);
         c.check<Yol_FT_CopyFile_result>(r);
       }},
      {"FT_Ack",
       [](Call& c) {
         const auto a = c.args<Yol_FT_Ack_args>();
         c.check<Yol_FT_Ack_result>(c.client.FT_Ack(a.sFileID, a.eType));
       }},
      {"FT_Acknowledge",
       [](Call& c) {
         const auto a = c.args<Yol_FT_Acknowledge_args>();
         c.check<Yol_FT_Acknowledge_result>(c.client.FT_Acknowledge(a.sFileID, a.eType, a.eError));
       }},
      {"FT_GetStatus",
       [](Call& c) {
         const auto a = c.args<Yol_FT_GetStatus_args>();
         auto r = c.stale<Yol_FT_GetStatus_result>();
         c.client.FT_GetStatus(r, a.sFileID);
         c.check<Yol_FT_GetStatus_result>(r);
       }},
      {"FT_GetActiveSessions",
       [](Call& c) {
         auto r = c.stale<Yol_FT_GetActiveSessions_result>();
         c.client.FT_GetActiveSessions(r);
         c.check<Yol_FT_GetActiveSessions_result>(r);
       }},
      {"FT_GetHistoryTime",
       [](Call& c) {
         const auto a = c.args<Yol_FT_GetHistoryTime_args>();
         auto r = c.stale<Yol_FT_GetHistoryTime_result>();
         c.client.FT_GetHistoryTime(r, a.sStartDate, a.sEndDate);
         c.check<Yol_FT_GetHistoryTime_result>(r);
       }},
      {"FT_GetHistoryIndex",
       [](Call& c) {
         const auto a = c.args<Yol_FT_GetHistoryIndex_args>();
         auto r = c.stale<Yol_FT_GetHistoryIndex_result>();
         c.client.FT_GetHistoryIndex(r, a.sStartIndex, a.sEndIndex);
         c.check<Yol_FT_GetHistoryIndex_result>(r);
       }},
      {"SYS_GetInterfaceList",
       [](Call& c) {
         auto r = c.stale<Yol_SYS_GetInterfaceList_result>();
         c.client.SYS_GetInterfaceList(r);
         c.check<Yol_SYS_GetInterfaceList_result>(r);
       }},
      {"SYS_GetPeerList",
       [](Call& c) {
         const auto a = c.args<Yol_SYS_GetPeerList_args>();
         auto r = c.stale<Yol_SYS_GetPeerList_result>();
         c.client.SYS_GetPeerList(r, a.sInterface);
         c.check<Yol_SYS_GetPeerList_result>(r);
       }},
      {"SYS_SetPeerList",
       [](Call& c) {
         const auto a = c.args<Yol_SYS_SetPeerList_args>();
         c.check<Yol_SYS_SetPeerList_result>(c.client.SYS_SetPeerList(a.sInterface, a.stDevices));
       }},
      {"TEL_SendDTC",
       [](Call& c) {
         const auto a = c.args<Yol_TEL_SendDTC_args>();
         c.check<Yol_TEL_SendDTC_result>(c.client.TEL_SendDTC(a.sInterface, a.sID, a.stDTCs));
       }},
      {"TEL_SendCAN",
       [](Call& c) {
         const auto a = c.args<Yol_TEL_SendCAN_args>();
         c.check<Yol_TEL_SendCAN_result>(c.client.TEL_SendCAN(a.sFilter, a.stDevices));
       }},
      {"TEL_SendGPS",
       [](Call& c) {
         const auto a = c.args<Yol_TEL_SendGPS_args>();
         c.check<Yol_TEL_SendGPS_result>(c.client.TEL_SendGPS(a.sGPSData));
       }},
      {"TEL_SendRTK",
       [](Call& c) {
         const auto a = c.args<Yol_TEL_SendRTK_args>();
         c.check<Yol_TEL_SendRTK_result>(c.client.TEL_SendRTK(a.stRTK));
       }},
      {"TEL_SendMDM",
       [](Call& c) {
         const auto a = c.args<Yol_TEL_SendMDM_args>();
         c.check<Yol_TEL_SendMDM_result>(c.client.TEL_SendMDM(a.sModemInfo));
       }},
      {"TEL_SendGeneric",
       [](Call& c) {
         const auto a = c.args<Yol_TEL_SendGeneric_args>();
         c.check<Yol_TEL_SendGeneric_result>(
             c.client.TEL_SendGeneric(a.sType, a.eType, a.sKey, a.sValue));
       }},
      {"TEL_SendGenericJSON",
       [](Call& c) {
         const auto a = c.args<Yol_TEL_SendGenericJSON_args>();
         c.check<Yol_TEL_SendGenericJSON_result>(c.client.TEL_SendGenericJSON(a.sType, a.sPayload));
       }},
      {"MGT_GetFeatureList",
       [](Call& c) {
         auto r = c.stale<Yol_MGT_GetFeatureList_result>();
         c.client.MGT_GetFeatureList(r);
         c.check<Yol_MGT_GetFeatureList_result>(r);
       }},
      {"MGT_IsFeatureEnabled",
       [](Call& c) {
         const auto a = c.args<Yol_MGT_IsFeatureEnabled_args>();
         c.check<Yol_MGT_IsFeatureEnabled_result>(c.client.MGT_IsFeatureEnabled(a.eFeature));
       }},
      {"MGT_GetStatus",
       [](Call& c) {
         auto r = c.stale<Yol_MGT_GetStatus_result>();
         c.client.MGT_GetStatus(r);
         c.check<Yol_MGT_GetStatus_result>(r);
       }},
      {"MGT_SetConfig",
       [](Call& c) {
         const auto a = c.args<Yol_MGT_SetConfig_args>();
         c.check<Yol_MGT_SetConfig_result>(c.client.MGT_SetConfig(a.sCfg));
       }},
      {"MGT_GetConfig",
       [](Call& c) {
         auto r = c.stale<Yol_MGT_GetConfig_result>();
         c.client.MGT_GetConfig(r);
         c.check<Yol_MGT_GetConfig_result>(r);
       }},
      {"MGT_ProvisionRequest",
       [](Call& c) {
         const auto a = c.args<Yol_MGT_ProvisionRequest_args>();
         c.check<Yol_MGT_ProvisionRequest_result>(c.client.MGT_ProvisionRequest(a.sType));
       }},
      {"MGT_GetProvisionList",
       [](Call& c) {
         auto r = c.stale<Yol_MGT_GetProvisionList_result>();
         c.client.MGT_GetProvisionList(r);
         c.check<Yol_MGT_GetProvisionList_result>(r);
       }},
      {"MGT_GetProvision",
       [](Call& c) {
         const auto a = c.args<Yol_MGT_GetProvision_args>();
         auto r = c.stale<Yol_MGT_GetProvision_result>();
         c.client.MGT_GetProvision(r, a.sType);
         c.check<Yol_MGT_GetProvision_result>(r);
       }},
      {"MGT_GetErrors",
       [](Call& c) {
         const auto a = c.args<Yol_MGT_GetErrors_args>();
         auto r = c.stale<Yol_MGT_GetErrors_result>();
         c.client.MGT_GetErrors(r, a.index);
         c.check<Yol_MGT_GetErrors_result>(r);
       }},
      {"MGT_ServiceDiscoveryRequest",
       [](Call& c) {
         const auto a = c.args<Yol_MGT_ServiceDiscoveryRequest_args>();
         auto r = c.stale<Yol_MGT_ServiceDiscoveryRequest_result>();
         c.client.MGT_ServiceDiscoveryRequest(r, a.sService, a.sVersion);
         c.check<Yol_MGT_ServiceDiscoveryRequest_result>(r);
       }},
      {"MGT_GetServiceDiscoveryResult",
       [](Call& c) {
         const auto a = c.args<Yol_MGT_GetServiceDiscoveryResult_args>();
         auto r = c.stale<Yol_MGT_GetServiceDiscoveryResult_result>();
         c.client.MGT_GetServiceDiscoveryResult(r, a.sCorrelationId);
         c.check<Yol_MGT_GetServiceDiscoveryResult_result>(r);
       }},
      {"RTK_GetLockedSource",
       [](Call& c) {
         auto r = c.stale<Yol_RTK_GetLockedSource_result>();
         c.client.RTK_GetLockedSource(r);
         c.check<Yol_RTK_GetLockedSource_result>(r);
       }},
      {"RTK_GetSources",
       [](Call& c) {
         auto r = c.stale<Yol_RTK_GetSources_result>();
         c.client.RTK_GetSources(r);
         c.check<Yol_RTK_GetSources_result>(r);
       }},
      {"JOB_GetList",
       [](Call& c) {
         auto r = c.stale<Yol_JOB_GetList_result>();
         c.client.JOB_GetList(r);
         c.check<Yol_JOB_GetList_result>(r);
       }},
      {"JOB_GetStatus",
       [](Call& c) {
         const auto a = c.args<Yol_JOB_GetStatus_args>();
         auto r = c.stale<Yol_JOB_GetStatus_result>();
         c.client.JOB_GetStatus(r, a.sGUID);
         c.check<Yol_JOB_GetStatus_result>(r);
       }},
      {"JOB_SendStatus",
       [](Call& c) {
         const auto a = c.args<Yol_JOB_SendStatus_args>();
         c.check<Yol_JOB_SendStatus_result>(c.client.JOB_SendStatus(a.sGUID, a.sName, a.sStatus));
       }},
      {"JOB_Create",
       [](Call& c) {
         const auto a = c.args<Yol_JOB_Create_args>();
         c.check<Yol_JOB_Create_result>(c.client.JOB_Create(a.sJob));
       }},
      {"JOB_CreateExt",
       [](Call& c) {
         const auto a = c.args<Yol_JOB_CreateExt_args>();
         c.check<Yol_JOB_CreateExt_result>(c.client.JOB_CreateExt(a.sJob));
       }},
      {"JOB_Join",
       [](Call& c) {
         const auto a = c.args<Yol_JOB_Join_args>();
         c.check<Yol_JOB_Join_result>(c.client.JOB_Join(a.sGUID));
       }},
      {"JOB_Leave",
       [](Call& c) {
         const auto a = c.args<Yol_JOB_Leave_args>();
         c.check<Yol_JOB_Leave_result>(c.client.JOB_Leave(a.sGUID, a.sDataGUID));
       }},
      {"JOB_RequestResources",
       [](Call& c) {
         const auto a = c.args<Yol_JOB_RequestResources_args>();
         c.check<Yol_JOB_RequestResources_result>(c.client.JOB_RequestResources(a.sGUID));
       }},
      {"JOB_GetResources",
       [](Call& c) {
         const auto a = c.args<Yol_JOB_GetResources_args>();
         auto r = c.stale<Yol_JOB_GetResources_result>();
         c.client.JOB_GetResources(r, a.sGUID);
         c.check<Yol_JOB_GetResources_result>(r);
       }},
      {"JOB_SetMutableData",
       [](Call& c) {
         const auto a = c.args<Yol_JOB_SetMutableData_args>();
         c.check<Yol_JOB_SetMutableData_result>(c.client.JOB_SetMutableData(a.sGUID, a.points));
       }},
  };
  return calls;
}

struct Session {
  explicit Session(int port)
      : connection(port, settings.protocol, settings.transport), client(connection.protocol) {}
  Connection connection;
  YolClient client;
};

TEST(CppClientToPythonServer, TheCallTableFollowsTheFixture) {
  std::vector<std::string> fixtureNames;
  for (const json& call : settings.fixture->calls()) {
    fixtureNames.push_back(call.at("name").get<std::string>());
  }
  std::vector<std::string> tableNames;
  for (const auto& call : everyCall()) {
    tableNames.push_back(call.first);
  }
  EXPECT_EQ(tableNames, fixtureNames);
  EXPECT_EQ(tableNames.size(), 75u);
}

TEST(CppClientToPythonServer, EveryCallGetsTheFixtureAnswer) {
  auto session = std::make_unique<Session>(settings.port);
  int answered = 0;
  int skipped = 0;
  for (const auto& [name, step] : everyCall()) {
    if (settings.skip.count(name) != 0) {
      ++skipped;
      continue;
    }
    SCOPED_TRACE(name);
    Call call(session->client, settings.fixture->call(name));
    try {
      step(call);
      EXPECT_TRUE(call.returned);
      answered += call.matched ? 1 : 0;
    } catch (const std::exception& e) {
      // The peer drops the connection when its handler fails: its side tells
      // why. Carry on with the next call on a new connection.
      ADD_FAILURE() << name << " failed: " << e.what();
      session = std::make_unique<Session>(settings.port);
    }
  }
  EXPECT_EQ(answered + skipped, 75);
  std::cout << "interop: " << answered << " calls answered as the fixture says, " << skipped
            << " skipped\n";
}

TEST(CppClientToPythonServer, EveryCallWithAResultReportsItsMissingResult) {
  Session session(settings.silentPort);
  int missing = 0;
  for (const auto& [name, step] : everyCall()) {
    SCOPED_TRACE(name);
    Call call(session.client, settings.fixture->call(name));
    if (name == "ping") {
      step(call);  // nothing to miss: returns normally
      EXPECT_TRUE(call.returned);
      continue;
    }
    try {
      step(call);
      ADD_FAILURE() << name << " returned although the reply had no result";
    } catch (const TApplicationException& e) {
      const bool reported = e.getType() == TApplicationException::MISSING_RESULT &&
                            e.what() == name + " failed: unknown result";
      EXPECT_TRUE(reported) << "type " << e.getType() << ": " << e.what();
      missing += reported ? 1 : 0;
    }
  }
  EXPECT_EQ(missing, 74);
  std::cout << "interop: " << missing << " calls reported their missing result\n";
}

// thriftpy's processor re-raises a handler's exception when the call
// declares none; its server logs it and closes the connection without a
// reply. Our client sees the end of the stream; the server goes on serving
// other connections.
TEST(CppClientToPythonServer, TheirFailingHandlerClosesTheConnection) {
  const json& failing = settings.fixture->failing();
  ASSERT_EQ(failing.at("name"), "status");
  {
    Session session(settings.port);
    try {
      session.client.status(failing.at("arguments").at("id").get<int32_t>());
      ADD_FAILURE() << "status returned although the peer's handler failed";
    } catch (const TTransportException& e) {
      EXPECT_EQ(e.getType(), TTransportException::END_OF_FILE);
      EXPECT_STREQ(e.what(), "No more data to read.");
    }
  }
  Session next(settings.port);
  const json& status = settings.fixture->call("status");
  EXPECT_EQ(next.client.status(status.at("arguments").at("id").get<int32_t>()),
            status.at("answer").get<int32_t>());
}

}  // namespace

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  try {
    const interop::Options options(argc, argv);
    settings.fixture = std::make_unique<Fixture>(Fixture::load(options.get("fixture")));
    settings.protocol = options.get("protocol");
    settings.transport = options.get("transport");
    settings.port = std::stoi(options.get("port"));
    settings.silentPort = std::stoi(options.get("silent-port"));
    std::istringstream skip(options.get("skip", ""));
    for (std::string name; std::getline(skip, name, ',');) {
      if (!name.empty()) settings.skip.insert(name);
    }
  } catch (const std::exception& e) {
    std::cerr << "interop_client_test: " << e.what() << "\n";
    return 2;
  }
  return RUN_ALL_TESTS();
}
