// interop_server: serves the Yol service on 127.0.0.1 through the processor
// factory behind a threaded server, for a peer of another implementation to
// call. Every call's arguments are checked against the interoperability
// fixture and answered with the fixture's result.
//
//   interop_server --fixture=F --protocol=binary|compact --transport=buffered|framed
//
// Serves with the safe limits. Prints "PORT <n>" once listening, then serves
// until its standard input closes or it gets SIGTERM or SIGINT. Exits 0 when
// it stopped cleanly and every handler it handed out came back; otherwise
// non-zero.

#include <poll.h>
#include <signal.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <exception>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <thriftyol/service/Yol.h>

#include "fixture.h"
#include "loopback_server.h"
#include "peer_options.h"

namespace {

using namespace yol;
using interop::Fixture;
using interop::json;

// Checks every argument against the fixture and answers with the fixture's
// result. A mismatch fails the call with std::runtime_error("argument
// mismatch in <call>: <detail>"), which the processor sends to the client as
// an UNKNOWN exception; the fixture's failing request fails with its own
// message.
class CheckingHandler : public YolIf {
 public:
  explicit CheckingHandler(const Fixture& fixture) : fixture_(fixture) {}

  void ping() override { answer<Yol_ping_result>("ping"); }
  int32_t status(int32_t id) override { return answer<Yol_status_result>("status", id).success; }
  int32_t SendMsg(eCategory::type Cat, eTelematics::type Tel,
                  const std::vector<eDataType::type>& eType, const std::vector<std::string>& sKey,
                  const std::vector<std::string>& sValue) override {
    return answer<Yol_SendMsg_result>("SendMsg", Cat, Tel, eType, sKey, sValue).success;
  }
  int32_t SendMsgRaw(eCategory::type Cat, int32_t SubCat, const std::vector<eDataType::type>& eType,
                     const std::vector<std::string>& sKey,
                     const std::vector<std::string>& sValue) override {
    return answer<Yol_SendMsgRaw_result>("SendMsgRaw", Cat, SubCat, eType, sKey, sValue).success;
  }
  int32_t OTA_RefreshUpdateList() override {
    return answer<Yol_OTA_RefreshUpdateList_result>("OTA_RefreshUpdateList").success;
  }
  void OTA_GetUpdateList(std::vector<stUpdateType>& _return) override {
    _return = answer<Yol_OTA_GetUpdateList_result>("OTA_GetUpdateList").success;
  }
  void OTA_GetUpdateInfo(std::string& _return, const std::string& sVersion) override {
    _return = answer<Yol_OTA_GetUpdateInfo_result>("OTA_GetUpdateInfo", sVersion).success;
  }
  int32_t OTA_UpdateInitiate(const std::string& sVersion) override {
    return answer<Yol_OTA_UpdateInitiate_result>("OTA_UpdateInitiate", sVersion).success;
  }
  int32_t OTA_UpdateInitiateType(const std::string& sVersion, eOTAType::type eType) override {
    return answer<Yol_OTA_UpdateInitiateType_result>("OTA_UpdateInitiateType", sVersion, eType)
        .success;
  }
  int32_t OTA_UpdateInitiateFeature(const std::string& sFeature) override {
    return answer<Yol_OTA_UpdateInitiateFeature_result>("OTA_UpdateInitiateFeature", sFeature)
        .success;
  }
  int32_t OTA_Ack(const std::string& sessionID, eAckType::type eType) override {
    return answer<Yol_OTA_Ack_result>("OTA_Ack", sessionID, eType).success;
  }
  void OTA_Status(stUpdateStatus& _return) override {
    _return = answer<Yol_OTA_Status_result>("OTA_Status").success;
  }
  int32_t requestRemoteSupport(int32_t width, int32_t height) override {
    return answer<Yol_requestRemoteSupport_result>("requestRemoteSupport", width, height).success;
  }
  int32_t stopRemoteSupport() override {
    return answer<Yol_stopRemoteSupport_result>("stopRemoteSupport").success;
  }
  void remoteSupportStatus(stRemoteSupportStatus& _return) override {
    _return = answer<Yol_remoteSupportStatus_result>("remoteSupportStatus").success;
  }
  void getModemId(std::string& _return) override {
    _return = answer<Yol_getModemId_result>("getModemId").success;
  }
  int32_t getSignalStrength() override {
    return answer<Yol_getSignalStrength_result>("getSignalStrength").success;
  }
  bool getWanStatus() override { return answer<Yol_getWanStatus_result>("getWanStatus").success; }
  bool getRoamingStatus() override {
    return answer<Yol_getRoamingStatus_result>("getRoamingStatus").success;
  }
  int32_t SetModemInfo(const stCellularInfo& sInfo) override {
    return answer<Yol_SetModemInfo_result>("SetModemInfo", sInfo).success;
  }
  void GetModemInfo(stCellularInfo& _return) override {
    _return = answer<Yol_GetModemInfo_result>("GetModemInfo").success;
  }
  int32_t SetGPSInfo(const stGPSInfo& sInfo) override {
    return answer<Yol_SetGPSInfo_result>("SetGPSInfo", sInfo).success;
  }
  void GetGPSInfo(stGPSInfo& _return) override {
    _return = answer<Yol_GetGPSInfo_result>("GetGPSInfo").success;
  }
  bool getMerivaultConnectionStatus() override {
    return answer<Yol_getMerivaultConnectionStatus_result>("getMerivaultConnectionStatus").success;
  }
  void getMerivaultUUID(std::string& _return) override {
    _return = answer<Yol_getMerivaultUUID_result>("getMerivaultUUID").success;
  }
  void getMerivaultOwner(std::string& _return) override {
    _return = answer<Yol_getMerivaultOwner_result>("getMerivaultOwner").success;
  }
  int32_t getMerivaultOwnerId() override {
    return answer<Yol_getMerivaultOwnerId_result>("getMerivaultOwnerId").success;
  }
  void getMerivaultName(std::string& _return) override {
    _return = answer<Yol_getMerivaultName_result>("getMerivaultName").success;
  }
  int32_t SetMerivaultName(const std::string& sName) override {
    return answer<Yol_SetMerivaultName_result>("SetMerivaultName", sName).success;
  }
  void getMerivaultSystemName(std::string& _return) override {
    _return = answer<Yol_getMerivaultSystemName_result>("getMerivaultSystemName").success;
  }
  void getEULAVersion(std::string& _return) override {
    _return = answer<Yol_getEULAVersion_result>("getEULAVersion").success;
  }
  int32_t acceptEULA(eEULAAcceptType::type eType) override {
    return answer<Yol_acceptEULA_result>("acceptEULA", eType).success;
  }
  void FT_GetRemoteFileList(std::vector<stFileInfo>& _return) override {
    _return = answer<Yol_FT_GetRemoteFileList_result>("FT_GetRemoteFileList").success;
  }
  int32_t FT_UploadFile(const stFileInfo& sFile) override {
    return answer<Yol_FT_UploadFile_result>("FT_UploadFile", sFile).success;
  }
  int32_t FT_DownloadFile(const stDownloadFileInfo& sFile) override {
    return answer<Yol_FT_DownloadFile_result>("FT_DownloadFile", sFile).success;
  }
  void FT_CopyFile(stFileInfo& _return, const std::string& sFileID) override {
    _return = answer<Yol_FT_CopyFile_result>("FT_CopyFile", sFileID).success;
  }
  int32_t FT_Ack(const std::string& sFileID, eFTAckType::type eType) override {
    return answer<Yol_FT_Ack_result>("FT_Ack", sFileID, eType).success;
  }
  int32_t FT_Acknowledge(const std::string& sFileID, eFTAckType::type eType,
                         eFTErrorType::type eError) override {
    return answer<Yol_FT_Acknowledge_result>("FT_Acknowledge", sFileID, eType, eError).success;
  }
  void FT_GetStatus(stFileTransferStatus& _return, const std::string& sFileID) override {
    _return = answer<Yol_FT_GetStatus_result>("FT_GetStatus", sFileID).success;
  }
  void FT_GetActiveSessions(std::vector<stSessionInfo>& _return) override {
    _return = answer<Yol_FT_GetActiveSessions_result>("FT_GetActiveSessions").success;
  }
  void FT_GetHistoryTime(std::vector<stFileHistory>& _return, const std::string& sStartDate,
                         const std::string& sEndDate) override {
    _return =
        answer<Yol_FT_GetHistoryTime_result>("FT_GetHistoryTime", sStartDate, sEndDate).success;
  }
  void FT_GetHistoryIndex(std::vector<stFileHistory>& _return, int32_t sStartIndex,
                          int32_t sEndIndex) override {
    _return =
        answer<Yol_FT_GetHistoryIndex_result>("FT_GetHistoryIndex", sStartIndex, sEndIndex).success;
  }
  void SYS_GetInterfaceList(std::vector<std::string>& _return) override {
    _return = answer<Yol_SYS_GetInterfaceList_result>("SYS_GetInterfaceList").success;
  }
  void SYS_GetPeerList(std::vector<stPeerDevice>& _return, const std::string& sInterface) override {
    _return = answer<Yol_SYS_GetPeerList_result>("SYS_GetPeerList", sInterface).success;
  }
  int32_t SYS_SetPeerList(const std::string& sInterface,
                          const std::vector<stPeerDevice>& stDevices) override {
    return answer<Yol_SYS_SetPeerList_result>("SYS_SetPeerList", sInterface, stDevices).success;
  }
  int32_t TEL_SendDTC(const std::string& sInterface, const std::string& sID,
                      const std::vector<stDTC>& stDTCs) override {
    return answer<Yol_TEL_SendDTC_result>("TEL_SendDTC", sInterface, sID, stDTCs).success;
  }
  int32_t TEL_SendCAN(const std::string& sFilter,
                      const std::vector<stCANDevice>& stDevices) override {
    return answer<Yol_TEL_SendCAN_result>("TEL_SendCAN", sFilter, stDevices).success;
  }
  int32_t TEL_SendGPS(const stGPSInfo& sGPSData) override {
    return answer<Yol_TEL_SendGPS_result>("TEL_SendGPS", sGPSData).success;
  }
  int32_t TEL_SendRTK(const std::vector<stRTKInfo>& stRTK) override {
    return answer<Yol_TEL_SendRTK_result>("TEL_SendRTK", stRTK).success;
  }
  int32_t TEL_SendMDM(const stModemInfo& sModemInfo) override {
    return answer<Yol_TEL_SendMDM_result>("TEL_SendMDM", sModemInfo).success;
  }
  int32_t TEL_SendGeneric(const std::string& sType, const std::vector<eDataType::type>& eType,
                          const std::vector<std::string>& sKey,
                          const std::vector<std::string>& sValue) override {
    return answer<Yol_TEL_SendGeneric_result>("TEL_SendGeneric", sType, eType, sKey, sValue)
        .success;
  }
  int32_t TEL_SendGenericJSON(const std::string& sType, const std::string& sPayload) override {
    return answer<Yol_TEL_SendGenericJSON_result>("TEL_SendGenericJSON", sType, sPayload).success;
  }
  void MGT_GetFeatureList(std::vector<stFeatures>& _return) override {
    _return = answer<Yol_MGT_GetFeatureList_result>("MGT_GetFeatureList").success;
  }
  bool MGT_IsFeatureEnabled(eMGTFeature::type eFeature) override {
    return answer<Yol_MGT_IsFeatureEnabled_result>("MGT_IsFeatureEnabled", eFeature).success;
  }
  void MGT_GetStatus(stMGTStatus& _return) override {
    _return = answer<Yol_MGT_GetStatus_result>("MGT_GetStatus").success;
  }
  int32_t MGT_SetConfig(const stMGTCfg& sCfg) override {
    return answer<Yol_MGT_SetConfig_result>("MGT_SetConfig", sCfg).success;
  }
  void MGT_GetConfig(stMGTCfg& _return) override {
    _return = answer<Yol_MGT_GetConfig_result>("MGT_GetConfig").success;
  }
  int32_t MGT_ProvisionRequest(const std::string& sType) override {
    return answer<Yol_MGT_ProvisionRequest_result>("MGT_ProvisionRequest", sType).success;
  }
  void MGT_GetProvisionList(std::vector<std::string>& _return) override {
    _return = answer<Yol_MGT_GetProvisionList_result>("MGT_GetProvisionList").success;
  }
  void MGT_GetProvision(stProvision& _return, const std::string& sType) override {
    _return = answer<Yol_MGT_GetProvision_result>("MGT_GetProvision", sType).success;
  }
  void MGT_GetErrors(std::vector<stMGTError>& _return, int32_t index) override {
    _return = answer<Yol_MGT_GetErrors_result>("MGT_GetErrors", index).success;
  }
  void MGT_ServiceDiscoveryRequest(std::string& _return, const std::string& sService,
                                   const std::string& sVersion) override {
    _return = answer<Yol_MGT_ServiceDiscoveryRequest_result>("MGT_ServiceDiscoveryRequest",
                                                             sService, sVersion)
                  .success;
  }
  void MGT_GetServiceDiscoveryResult(ServiceDiscoveryResult& _return,
                                     const std::string& sCorrelationId) override {
    _return = answer<Yol_MGT_GetServiceDiscoveryResult_result>("MGT_GetServiceDiscoveryResult",
                                                               sCorrelationId)
                  .success;
  }
  void RTK_GetLockedSource(stRTKInfo& _return) override {
    _return = answer<Yol_RTK_GetLockedSource_result>("RTK_GetLockedSource").success;
  }
  void RTK_GetSources(std::vector<stRTKInfo>& _return) override {
    _return = answer<Yol_RTK_GetSources_result>("RTK_GetSources").success;
  }
  void JOB_GetList(std::vector<stJobInfo>& _return) override {
    _return = answer<Yol_JOB_GetList_result>("JOB_GetList").success;
  }
  void JOB_GetStatus(stJobStatus& _return, const std::string& sGUID) override {
    _return = answer<Yol_JOB_GetStatus_result>("JOB_GetStatus", sGUID).success;
  }
  int32_t JOB_SendStatus(const std::string& sGUID, const std::string& sName,
                         const std::string& sStatus) override {
    return answer<Yol_JOB_SendStatus_result>("JOB_SendStatus", sGUID, sName, sStatus).success;
  }
  int32_t JOB_Create(const stJobCreate& sJob) override {
    return answer<Yol_JOB_Create_result>("JOB_Create", sJob).success;
  }
  int32_t JOB_CreateExt(const stJobCreateExt& sJob) override {
    return answer<Yol_JOB_CreateExt_result>("JOB_CreateExt", sJob).success;
  }
  int32_t JOB_Join(const std::string& sGUID) override {
    return answer<Yol_JOB_Join_result>("JOB_Join", sGUID).success;
  }
  int32_t JOB_Leave(const std::string& sGUID, const std::string& sDataGUID) override {
    return answer<Yol_JOB_Leave_result>("JOB_Leave", sGUID, sDataGUID).success;
  }
  int32_t JOB_RequestResources(const std::string& sGUID) override {
    return answer<Yol_JOB_RequestResources_result>("JOB_RequestResources", sGUID).success;
  }
  void JOB_GetResources(std::vector<stJobResource>& _return, const std::string& sGUID) override {
    _return = answer<Yol_JOB_GetResources_result>("JOB_GetResources", sGUID).success;
  }
  int32_t JOB_SetMutableData(const std::string& sGUID,
                             const std::vector<stJobPoint>& points) override {
    return answer<Yol_JOB_SetMutableData_result>("JOB_SetMutableData", sGUID, points).success;
  }

 private:
  template <class Result, class... Args>
  Result answer(const std::string& name, const Args&... args) const {
    const json& call = fixture_.call(name);
    const json& params = call.at("args");
    if (params.size() != sizeof...(Args)) {
      throw std::logic_error("the fixture gives " + name + " another number of arguments");
    }
    json got = json::object();
    json expected = json::object();
    std::size_t next = 0;
    auto take = [&](const auto& value) {
      const json& param = params.at(next++);
      const std::string& arg = param.at("name").get_ref<const std::string&>();
      got[arg] = interop::toJson(fixture_, param.at("type"), value);
      expected[arg] = fixture_.arriving(param.at("type"), call.at("arguments").at(arg));
    };
    (take(args), ...);
    (void)take;

    const json& failing = fixture_.failing();
    if (failing.at("name") == name && got == failing.at("arguments")) {
      throw std::runtime_error(failing.at("message").get<std::string>());
    }
    if (got != expected) {
      throw std::runtime_error("argument mismatch in " + name + ": " +
                               interop::differences(got, expected));
    }
    return interop::decode<Result>(fixture_, interop::resultFields(call),
                                   interop::resultValue(call));
  }

  const Fixture& fixture_;
};

// One handler per connection; counts what it hands out and takes back.
class HandlerFactory : public YolIfFactory {
 public:
  explicit HandlerFactory(const Fixture& fixture) : fixture_(fixture) {}

  YolIf* getHandler(const apache::thrift::TConnectionInfo&) override {
    ++handedOut_;
    return new CheckingHandler(fixture_);
  }
  void releaseHandler(YolIf* handler) override {
    ++released_;
    delete handler;
  }

  int handedOut() const { return handedOut_; }
  int released() const { return released_; }

 private:
  const Fixture& fixture_;
  std::atomic<int> handedOut_{0};
  std::atomic<int> released_{0};
};

// Blocks until standard input reaches its end or SIGTERM/SIGINT arrives.
// The signals must already be blocked in every thread.
void waitForStop(const sigset_t& signals) {
  const int signalFd = signalfd(-1, &signals, SFD_CLOEXEC);
  if (signalFd < 0) {
    throw std::runtime_error("signalfd failed");
  }
  pollfd fds[2] = {{STDIN_FILENO, POLLIN, 0}, {signalFd, POLLIN, 0}};
  for (;;) {
    if (poll(fds, 2, -1) < 0) {
      continue;  // EINTR
    }
    if (fds[1].revents != 0) {
      break;
    }
    if (fds[0].revents != 0) {
      char buffer[256];
      if (read(STDIN_FILENO, buffer, sizeof buffer) <= 0) {
        break;
      }
    }
  }
  close(signalFd);
}

int run(const interop::Options& options) {
  const Fixture fixture = Fixture::load(options.get("fixture"));
  auto factory = std::make_shared<HandlerFactory>(fixture);
  yol::testing::ServerSetup setup;
  setup.protocols = yol::testing::protocol_factory(options.get("protocol"));
  setup.transports = yol::testing::transport_factory(options.get("transport"));
  // A client that stops talking mid-call cannot hold its thread for ever.
  setup.receive_timeout = std::chrono::milliseconds(30000);
  setup.send_timeout = std::chrono::milliseconds(30000);

  // Blocked before the server's threads start, so that they inherit it.
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGTERM);
  sigaddset(&signals, SIGINT);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);

  yol::testing::LoopbackServer server(factory, setup);
  std::cout << "PORT " << server.port() << std::endl;
  waitForStop(signals);
  server.stop();
  if (factory->handedOut() != factory->released()) {
    std::cerr << "interop_server: " << factory->handedOut() << " handlers handed out, "
              << factory->released() << " released\n";
    return 3;
  }
  std::cerr << "interop_server: served " << factory->handedOut() << " connections\n";
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return run(interop::Options(argc, argv));
  } catch (const std::exception& e) {
    std::cerr << "interop_server: " << e.what() << "\n";
    return 1;
  }
}
