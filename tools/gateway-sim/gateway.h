// The simulated gateway: answers every call of the Yol service from an
// in-memory state that the calls change. One object serves all connections;
// it takes no lock itself (SharedGateway in shared_gateway.h does).
//
// Results of the i32 calls that change something:
//   0   done
//  -1   unknown item or unusable argument (no such file, job, version...)
//  -2   not now: the item is not in a state that allows it
//  -3   a limit of the simulator is reached, or the modem has no connection
// Calls that return a record for an item that does not exist fail with an
// exception reply naming the item.
//
// Processes move on as the client polls them: each poll reports the current
// step, then takes the next one (OTA_Status for updates, remoteSupportStatus
// for remote support, JOB_GetList for join requests, FT_GetStatus for file
// transfers, MGT_GetServiceDiscoveryResult for look-ups). README.md beside
// this file tells the walks.
#ifndef THRIFTYOL_TOOLS_GATEWAY_SIM_GATEWAY_H
#define THRIFTYOL_TOOLS_GATEWAY_SIM_GATEWAY_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include <thriftyol/service/Yol.h>

#include "state.h"

namespace gatewaysim {

using Clock = std::function<std::chrono::system_clock::time_point()>;

// How much the simulator keeps at most, so that no client can make it grow
// without bound.
constexpr std::size_t kMaxActiveTransfers = 100;
constexpr std::size_t kMaxHistory = 1000;
constexpr std::size_t kMaxRemoteFiles = 1000;
constexpr std::size_t kMaxJobs = 1000;
constexpr std::size_t kMaxProvisions = 100;
constexpr std::size_t kMaxLookups = 1000;
constexpr std::size_t kTelematicsTextLimit = 512;

// Codes of the i32 results (see above).
constexpr int32_t kDone = 0;
constexpr int32_t kUnknown = -1;
constexpr int32_t kNotNow = -2;
constexpr int32_t kNoRoom = -3;

// One telematics message as kept: which call, and its arguments in one line
// (cut at kTelematicsTextLimit characters).
struct TelematicsMessage {
  uint64_t sequence = 0;
  std::string call;
  std::string text;
};

class Gateway : public yol::YolIf {
 public:
  explicit Gateway(GatewayState state, Clock clock = std::chrono::system_clock::now);

  // What the simulator holds now, for tests and inspection. Jobs and the
  // transfer history are held apart (read them through their calls).
  const GatewayState& state() const { return state_; }
  const std::deque<TelematicsMessage>& telematics() const { return telematics_; }
  uint64_t telematicsCount(const std::string& call) const;
  uint64_t telematicsTotal() const { return telematics_total_; }
  const std::vector<yol::stJobCreate>& createdJobs() const { return created_jobs_; }
  const std::vector<yol::stJobCreateExt>& createdJobsExt() const { return created_jobs_ext_; }

  // Liveness, status and generic messages.
  void ping() override;
  int32_t status(int32_t id) override;
  int32_t SendMsg(yol::eCategory::type Cat, yol::eTelematics::type Tel,
                  const std::vector<yol::eDataType::type>& eType,
                  const std::vector<std::string>& sKey,
                  const std::vector<std::string>& sValue) override;
  int32_t SendMsgRaw(yol::eCategory::type Cat, int32_t SubCat,
                     const std::vector<yol::eDataType::type>& eType,
                     const std::vector<std::string>& sKey,
                     const std::vector<std::string>& sValue) override;

  // Software updates.
  int32_t OTA_RefreshUpdateList() override;
  void OTA_GetUpdateList(std::vector<yol::stUpdateType>& _return) override;
  void OTA_GetUpdateInfo(std::string& _return, const std::string& sVersion) override;
  int32_t OTA_UpdateInitiate(const std::string& sVersion) override;
  int32_t OTA_UpdateInitiateType(const std::string& sVersion,
                                 yol::eOTAType::type eType) override;
  int32_t OTA_UpdateInitiateFeature(const std::string& sFeature) override;
  int32_t OTA_Ack(const std::string& sessionID, yol::eAckType::type eType) override;
  void OTA_Status(yol::stUpdateStatus& _return) override;

  // Remote support.
  int32_t requestRemoteSupport(int32_t width, int32_t height) override;
  int32_t stopRemoteSupport() override;
  void remoteSupportStatus(yol::stRemoteSupportStatus& _return) override;

  // Modem and position.
  void getModemId(std::string& _return) override;
  int32_t getSignalStrength() override;
  bool getWanStatus() override;
  bool getRoamingStatus() override;
  int32_t SetModemInfo(const yol::stCellularInfo& sInfo) override;
  void GetModemInfo(yol::stCellularInfo& _return) override;
  int32_t SetGPSInfo(const yol::stGPSInfo& sInfo) override;
  void GetGPSInfo(yol::stGPSInfo& _return) override;

  // Cloud account and agreement.
  bool getMerivaultConnectionStatus() override;
  void getMerivaultUUID(std::string& _return) override;
  void getMerivaultOwner(std::string& _return) override;
  int32_t getMerivaultOwnerId() override;
  void getMerivaultName(std::string& _return) override;
  int32_t SetMerivaultName(const std::string& sName) override;
  void getMerivaultSystemName(std::string& _return) override;
  void getEULAVersion(std::string& _return) override;
  int32_t acceptEULA(yol::eEULAAcceptType::type eType) override;

  // File transfer.
  void FT_GetRemoteFileList(std::vector<yol::stFileInfo>& _return) override;
  int32_t FT_UploadFile(const yol::stFileInfo& sFile) override;
  int32_t FT_DownloadFile(const yol::stDownloadFileInfo& sFile) override;
  void FT_CopyFile(yol::stFileInfo& _return, const std::string& sFileID) override;
  int32_t FT_Ack(const std::string& sFileID, yol::eFTAckType::type eType) override;
  int32_t FT_Acknowledge(const std::string& sFileID, yol::eFTAckType::type eType,
                         yol::eFTErrorType::type eError) override;
  void FT_GetStatus(yol::stFileTransferStatus& _return, const std::string& sFileID) override;
  void FT_GetActiveSessions(std::vector<yol::stSessionInfo>& _return) override;
  void FT_GetHistoryTime(std::vector<yol::stFileHistory>& _return,
                         const std::string& sStartDate, const std::string& sEndDate) override;
  void FT_GetHistoryIndex(std::vector<yol::stFileHistory>& _return, int32_t sStartIndex,
                          int32_t sEndIndex) override;

  // Interfaces and peers.
  void SYS_GetInterfaceList(std::vector<std::string>& _return) override;
  void SYS_GetPeerList(std::vector<yol::stPeerDevice>& _return,
                       const std::string& sInterface) override;
  int32_t SYS_SetPeerList(const std::string& sInterface,
                          const std::vector<yol::stPeerDevice>& stDevices) override;

  // Telematics.
  int32_t TEL_SendDTC(const std::string& sInterface, const std::string& sID,
                      const std::vector<yol::stDTC>& stDTCs) override;
  int32_t TEL_SendCAN(const std::string& sFilter,
                      const std::vector<yol::stCANDevice>& stDevices) override;
  int32_t TEL_SendGPS(const yol::stGPSInfo& sGPSData) override;
  int32_t TEL_SendRTK(const std::vector<yol::stRTKInfo>& stRTK) override;
  int32_t TEL_SendMDM(const yol::stModemInfo& sModemInfo) override;
  int32_t TEL_SendGeneric(const std::string& sType,
                          const std::vector<yol::eDataType::type>& eType,
                          const std::vector<std::string>& sKey,
                          const std::vector<std::string>& sValue) override;
  int32_t TEL_SendGenericJSON(const std::string& sType, const std::string& sPayload) override;

  // Management, provisioning and service discovery.
  void MGT_GetFeatureList(std::vector<yol::stFeatures>& _return) override;
  bool MGT_IsFeatureEnabled(yol::eMGTFeature::type eFeature) override;
  void MGT_GetStatus(yol::stMGTStatus& _return) override;
  int32_t MGT_SetConfig(const yol::stMGTCfg& sCfg) override;
  void MGT_GetConfig(yol::stMGTCfg& _return) override;
  int32_t MGT_ProvisionRequest(const std::string& sType) override;
  void MGT_GetProvisionList(std::vector<std::string>& _return) override;
  void MGT_GetProvision(yol::stProvision& _return, const std::string& sType) override;
  void MGT_GetErrors(std::vector<yol::stMGTError>& _return, int32_t index) override;
  void MGT_ServiceDiscoveryRequest(std::string& _return, const std::string& sService,
                                   const std::string& sVersion) override;
  void MGT_GetServiceDiscoveryResult(yol::ServiceDiscoveryResult& _return,
                                     const std::string& sCorrelationId) override;

  // RTK sources.
  void RTK_GetLockedSource(yol::stRTKInfo& _return) override;
  void RTK_GetSources(std::vector<yol::stRTKInfo>& _return) override;

  // Jobs.
  void JOB_GetList(std::vector<yol::stJobInfo>& _return) override;
  void JOB_GetStatus(yol::stJobStatus& _return, const std::string& sGUID) override;
  int32_t JOB_SendStatus(const std::string& sGUID, const std::string& sName,
                         const std::string& sStatus) override;
  int32_t JOB_Create(const yol::stJobCreate& sJob) override;
  int32_t JOB_CreateExt(const yol::stJobCreateExt& sJob) override;
  int32_t JOB_Join(const std::string& sGUID) override;
  int32_t JOB_Leave(const std::string& sGUID, const std::string& sDataGUID) override;
  int32_t JOB_RequestResources(const std::string& sGUID) override;
  void JOB_GetResources(std::vector<yol::stJobResource>& _return,
                        const std::string& sGUID) override;
  int32_t JOB_SetMutableData(const std::string& sGUID,
                             const std::vector<yol::stJobPoint>& points) override;

 private:
  using TimePoint = std::chrono::system_clock::time_point;

  struct Transfer {
    yol::stSessionInfo session;
    yol::stFileInfo file;  // what an upload adds to the remote files once acknowledged
    TimePoint started;
    int32_t polls = 0;
  };

  struct FinishedTransfer {
    yol::stFileHistory entry;
    std::string session_id;
    int32_t error = 0;
    int32_t percent = 0;
  };

  struct UpdateRun {
    std::string session_id;
    std::string version;
    std::string feature;
    yol::eOTAType::type mode = yol::eOTAType::NORMAL;
    yol::eUpdateState::type state = yol::eUpdateState::update_state_idle;
    int32_t percent = 0;
  };

  struct RemoteSupport {
    std::string session_id;
    yol::eRemoteSupportState::type state = yol::eRemoteSupportState::NO_SUPPORT_VNC_STOPPED;
    std::string code;
  };

  struct Job {
    yol::stJobInfo info;
    std::vector<yol::stJobParticipants> participants;
    std::vector<yol::stJobResource> resources;
    bool resources_requested = false;
    std::string data_guid;  // given when leaving
  };

  struct Lookup {
    std::string service;
    std::string version;
    int32_t polls = 0;
  };

  int32_t startUpdate(const std::string& version, const std::string& feature,
                      yol::eOTAType::type mode);
  void stepUpdate();
  void stepRemoteSupport();
  bool remoteSupportIdle() const;

  int32_t transferPercent(const Transfer& transfer) const;
  int32_t transferState(const Transfer& transfer) const;
  int32_t acknowledge(const std::string& fileId, yol::eFTAckType::type type,
                      yol::eFTErrorType::type error);
  void finishTransfer(std::size_t at, int32_t status, int32_t error);
  int32_t startTransfer(yol::stSessionInfo session, yol::stFileInfo file);
  const yol::stFileInfo* findRemoteFile(const std::string& id) const;
  std::string dateNow() const;

  Job* findJob(const std::string& guid);
  Job& existingJob(const std::string& guid);
  int32_t addJob(yol::stJobInfo info, const std::vector<yol::stJobProductInfo>& products);
  static void stepJoin(Job& job);
  int32_t nextParticipantId();

  int32_t keepTelematics(const char* call, const std::string& text);
  int32_t keepEntries(const char* call, const std::string& head,
                      const std::vector<yol::eDataType::type>& eType,
                      const std::vector<std::string>& sKey,
                      const std::vector<std::string>& sValue);

  GatewayState state_;
  Clock clock_;
  TimePoint started_;
  uint64_t next_id_ = 1;  // numbers the sessions, copies and look-ups

  UpdateRun update_;
  RemoteSupport remote_support_;
  std::vector<Transfer> transfers_;
  std::vector<FinishedTransfer> finished_;
  std::vector<Job> jobs_;
  std::vector<yol::stJobCreate> created_jobs_;
  std::vector<yol::stJobCreateExt> created_jobs_ext_;
  std::map<std::string, Lookup> lookups_;
  std::deque<std::string> lookup_order_;

  std::deque<TelematicsMessage> telematics_;
  std::map<std::string, uint64_t> telematics_counts_;
  uint64_t telematics_total_ = 0;
  uint64_t telematics_bytes_ = 0;
  TimePoint last_telematics_;
};

}  // namespace gatewaysim

#endif  // THRIFTYOL_TOOLS_GATEWAY_SIM_GATEWAY_H
