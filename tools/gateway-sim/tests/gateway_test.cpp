// The simulated gateway in-process: what each call changes and how the
// processes walk as they are polled.
#include <chrono>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <thriftyol/testing/yol_samples.h>

#include "gateway.h"
#include "state.h"

namespace gatewaysim {
namespace {

using std::chrono::seconds;
using yol::eFTStateType;
using yol::eJoinRequestState;
using yol::eRemoteSupportState;
using yol::eUpdateState;

class GatewayTest : public ::testing::Test {
 protected:
  // 2024-05-06T08:00:00Z, moved on by the tests.
  std::chrono::system_clock::time_point now_ =
      std::chrono::system_clock::from_time_t(1714982400);

  Clock clock() {
    return [this] { return now_; };
  }

  Gateway make(const nlohmann::json& overrides = nlohmann::json::object()) {
    return Gateway(loadState(overrides), clock());
  }

  // The state that each of `polls` polls reports.
  template <class Status, class State>
  static std::vector<int32_t> walk(Gateway& gateway, void (Gateway::*poll)(Status&),
                                   State Status::*state, int polls) {
    std::vector<int32_t> states;
    for (int i = 0; i < polls; ++i) {
      Status status;
      (gateway.*poll)(status);
      states.push_back(status.*state);
    }
    return states;
  }

  static std::vector<int32_t> updateWalk(Gateway& gateway, int polls) {
    return walk(gateway, &Gateway::OTA_Status, &yol::stUpdateStatus::state_enum, polls);
  }

  static std::vector<int32_t> supportWalk(Gateway& gateway, int polls) {
    return walk(gateway, &Gateway::remoteSupportStatus, &yol::stRemoteSupportStatus::state, polls);
  }

  static eJoinRequestState::type joinState(Gateway& gateway, const std::string& guid) {
    std::vector<yol::stJobInfo> jobs;
    gateway.JOB_GetList(jobs);
    for (const yol::stJobInfo& job : jobs) {
      if (job.sGUID == guid) {
        return job.stEndpoint.eState;
      }
    }
    ADD_FAILURE() << "no job " << guid;
    return eJoinRequestState::IDLE;
  }

  static yol::stFileTransferStatus transferStatus(Gateway& gateway, const std::string& id) {
    yol::stFileTransferStatus status;
    gateway.FT_GetStatus(status, id);
    return status;
  }
};

yol::stFileInfo upload(const std::string& id) {
  yol::stFileInfo file;
  file.id = id;
  file.__set_name(id + ".log");
  file.__set_type(yol::eFTType::LOG_FILE);
  file.__set_size(512);
  return file;
}

TEST_F(GatewayTest, StateFileKeysReplaceBuiltInOnesWholeAndKeepTheRest) {
  Gateway gateway = make({{"interfaces", {"eth9"}}, {"modem", {{"model", "X1"}}}});
  std::vector<std::string> interfaces;
  gateway.SYS_GetInterfaceList(interfaces);
  EXPECT_EQ(interfaces, std::vector<std::string>{"eth9"});
  yol::stCellularInfo modem;
  gateway.GetModemInfo(modem);
  EXPECT_EQ(modem.model, "X1");
  EXPECT_FALSE(modem.__isset.modemid);  // replaced whole, not merged
  std::string name;
  gateway.getMerivaultName(name);
  EXPECT_EQ(name, "Tractor 7");  // untouched key keeps the built-in value
}

TEST_F(GatewayTest, StateFileErrorsNameTheOffendingValue) {
  auto problem = [](const nlohmann::json& overrides) -> std::string {
    try {
      loadState(overrides);
    } catch (const std::runtime_error& e) {
      return e.what();
    }
    return "accepted";
  };
  auto parsed = [&problem](const char* text) { return problem(nlohmann::json::parse(text)); };
  EXPECT_NE(parsed(R"({"modems": {}})").find("unknown key 'modems'"), std::string::npos);
  EXPECT_NE(parsed(R"({"modem": {"model": "X", "roaming": "yes"}})").find("state.modem.roaming"),
            std::string::npos);
  EXPECT_NE(parsed(R"({"rtk_sources": [{"eType": "UDP"}]})").find("state.rtk_sources[0]"),
            std::string::npos);
  EXPECT_NE(parsed(R"({"merivault": {"owner_id": "many"}})").find("state.merivault.owner_id"),
            std::string::npos);
  EXPECT_NE(parsed(R"({"simulation": {"telematics_kept": 0}})").find("telematics_kept"),
            std::string::npos);
  EXPECT_EQ(problem(nlohmann::json::array()), "state: expected an object");
}

TEST_F(GatewayTest, ModemCallsReportTheRecordLastSet) {
  Gateway gateway = make();
  yol::stCellularInfo info = yol::testing::sample<yol::stCellularInfo>(3);
  info.__set_rssi("-88 dBm");
  info.__set_roaming(true);
  info.__set_modem_state(yol::eCellularModemState::MODEM_STATE_SEARCHING);
  ASSERT_EQ(gateway.SetModemInfo(info), kDone);

  yol::stCellularInfo back;
  gateway.GetModemInfo(back);
  EXPECT_EQ(back, info);
  std::string id;
  gateway.getModemId(id);
  EXPECT_EQ(id, info.modemid);
  EXPECT_EQ(gateway.getSignalStrength(), -88);
  EXPECT_TRUE(gateway.getRoamingStatus());
  EXPECT_FALSE(gateway.getWanStatus());  // searching is not connected

  info.__set_modem_state(yol::eCellularModemState::MODEM_STATE_CONNECTED);
  info.__set_rssi("weak");
  gateway.SetModemInfo(info);
  EXPECT_TRUE(gateway.getWanStatus());
  EXPECT_EQ(gateway.getSignalStrength(), 0);

  yol::stCellularInfo nameless;
  EXPECT_EQ(gateway.SetModemInfo(nameless), kUnknown);
  gateway.GetModemInfo(back);
  EXPECT_EQ(back, info);
}

TEST_F(GatewayTest, PositionAccountAndPeersRoundTrip) {
  Gateway gateway = make();
  const auto gps = yol::testing::sample<yol::stGPSInfo>(5);
  EXPECT_EQ(gateway.SetGPSInfo(gps), kDone);
  yol::stGPSInfo gpsBack;
  gateway.GetGPSInfo(gpsBack);
  EXPECT_EQ(gpsBack, gps);

  EXPECT_EQ(gateway.SetMerivaultName("Harvester 2"), kDone);
  EXPECT_EQ(gateway.SetMerivaultName(""), kUnknown);
  std::string name;
  gateway.getMerivaultName(name);
  EXPECT_EQ(name, "Harvester 2");

  const std::vector<yol::stPeerDevice> devices = {yol::testing::sample<yol::stPeerDevice>(1),
                                                  yol::testing::sample<yol::stPeerDevice>(2)};
  EXPECT_EQ(gateway.SYS_SetPeerList("can1", devices), kDone);
  std::vector<yol::stPeerDevice> back;
  gateway.SYS_GetPeerList(back, "can1");
  EXPECT_EQ(back, devices);
  gateway.SYS_GetPeerList(back, "wwan0");  // listed, no peers
  EXPECT_TRUE(back.empty());
  EXPECT_EQ(gateway.SYS_SetPeerList("usb7", devices), kUnknown);
  EXPECT_THROW(gateway.SYS_GetPeerList(back, "usb7"), std::invalid_argument);
}

TEST_F(GatewayTest, EulaAcceptanceIsKeptAndPermanentWins) {
  Gateway gateway = make();
  EXPECT_FALSE(gateway.state().eula.accepted.has_value());
  EXPECT_EQ(gateway.acceptEULA(yol::eEULAAcceptType::TEMPORARY), kDone);
  EXPECT_EQ(gateway.state().eula.accepted, yol::eEULAAcceptType::TEMPORARY);
  EXPECT_EQ(gateway.acceptEULA(yol::eEULAAcceptType::PERMANENT), kDone);
  EXPECT_EQ(gateway.acceptEULA(yol::eEULAAcceptType::TEMPORARY), kDone);
  EXPECT_EQ(gateway.state().eula.accepted, yol::eEULAAcceptType::PERMANENT);
  EXPECT_EQ(gateway.acceptEULA(static_cast<yol::eEULAAcceptType::type>(7)), kUnknown);
}

TEST_F(GatewayTest, FeaturesAnswerByNumber) {
  Gateway gateway = make();
  EXPECT_TRUE(gateway.MGT_IsFeatureEnabled(yol::eMGTFeature::OTA));
  EXPECT_FALSE(gateway.MGT_IsFeatureEnabled(yol::eMGTFeature::SSH));
  EXPECT_FALSE(gateway.MGT_IsFeatureEnabled(yol::eMGTFeature::BASESTATION));  // not listed
  EXPECT_EQ(gateway.status(yol::eMGTFeature::OTA), 1);
  EXPECT_EQ(gateway.status(yol::eMGTFeature::SSH), 0);
  EXPECT_EQ(gateway.status(12), kUnknown);
}

TEST_F(GatewayTest, UploadProgressesWithPollsAndCompletesOnAcknowledgement) {
  Gateway gateway = make();
  ASSERT_EQ(gateway.FT_UploadFile(upload("up-1")), kDone);
  EXPECT_EQ(gateway.FT_UploadFile(upload("up-1")), kNotNow);  // already under way

  std::vector<yol::stSessionInfo> sessions;
  gateway.FT_GetActiveSessions(sessions);
  ASSERT_EQ(sessions.size(), 1u);
  EXPECT_EQ(sessions[0].fileID, "up-1");
  EXPECT_EQ(sessions[0].direction, yol::eFTDirection::UPLOAD);
  EXPECT_EQ(sessions[0].status, eFTStateType::QUEUED);

  std::vector<int32_t> percents;
  std::vector<int32_t> states;
  for (int poll = 0; poll < 5; ++poll) {
    if (poll == 2) {
      EXPECT_EQ(gateway.FT_Ack("up-1", yol::eFTAckType::COMPLETE), kNotNow);
    }
    const auto status = transferStatus(gateway, "up-1");
    EXPECT_EQ(status.sessionId, sessions[0].sessionID);
    percents.push_back(status.percentTransfered);
    states.push_back(status.status);
  }
  EXPECT_EQ(percents, (std::vector<int32_t>{0, 25, 50, 75, 100}));
  EXPECT_EQ(states, (std::vector<int32_t>{eFTStateType::QUEUED, eFTStateType::ON_GOING,
                                          eFTStateType::ON_GOING, eFTStateType::ON_GOING,
                                          eFTStateType::COMPLETED}));

  now_ += seconds(90);
  ASSERT_EQ(gateway.FT_Ack("up-1", yol::eFTAckType::COMPLETE), kDone);
  gateway.FT_GetActiveSessions(sessions);
  EXPECT_TRUE(sessions.empty());
  const auto finished = transferStatus(gateway, "up-1");
  EXPECT_EQ(finished.status, eFTStateType::VALIDATED);
  EXPECT_EQ(finished.percentTransfered, 100);

  std::vector<yol::stFileHistory> history;
  gateway.FT_GetHistoryIndex(history, 3, 3);
  ASSERT_EQ(history.size(), 1u);
  EXPECT_EQ(history[0].id, "up-1");
  EXPECT_EQ(history[0].status, eFTStateType::VALIDATED);
  EXPECT_EQ(history[0].date, "2024-05-06T08:01:30Z");

  std::vector<yol::stFileInfo> remote;
  gateway.FT_GetRemoteFileList(remote);
  EXPECT_EQ(remote.back(), upload("up-1"));
  EXPECT_EQ(gateway.FT_Ack("up-1", yol::eFTAckType::COMPLETE), kUnknown);  // no longer active
}

TEST_F(GatewayTest, TransferProgressCanGrowWithTime) {
  Gateway gateway = make(
      {{"simulation", {{"transfer_percent_per_poll", 0}, {"transfer_percent_per_second", 10}}}});
  yol::stDownloadFileInfo download;
  download.id = "file-1002";
  ASSERT_EQ(gateway.FT_DownloadFile(download), kDone);
  EXPECT_EQ(transferStatus(gateway, "file-1002").status, eFTStateType::QUEUED);
  EXPECT_EQ(transferStatus(gateway, "file-1002").status, eFTStateType::STARTING);
  now_ += seconds(3);
  const auto status = transferStatus(gateway, "file-1002");
  EXPECT_EQ(status.percentTransfered, 30);
  EXPECT_EQ(status.status, eFTStateType::ON_GOING);
  now_ += seconds(60);
  EXPECT_EQ(transferStatus(gateway, "file-1002").percentTransfered, 100);

  std::vector<yol::stSessionInfo> sessions;
  gateway.FT_GetActiveSessions(sessions);
  ASSERT_EQ(sessions.size(), 1u);
  EXPECT_EQ(sessions[0].direction, yol::eFTDirection::DOWNLOAD);
  EXPECT_EQ(sessions[0].name, "guidance-lines.xml");  // from the remote file
  EXPECT_EQ(sessions[0].status, eFTStateType::COMPLETED);

  download.id = "no-such-file";
  EXPECT_EQ(gateway.FT_DownloadFile(download), kUnknown);
}

TEST_F(GatewayTest, CancelAndErrorAcknowledgementsEndTransfersInTheHistory) {
  Gateway gateway = make();
  gateway.FT_UploadFile(upload("a"));
  gateway.FT_UploadFile(upload("b"));
  EXPECT_EQ(gateway.FT_Ack("a", yol::eFTAckType::CANCEL), kDone);
  EXPECT_EQ(gateway.FT_Acknowledge("b", yol::eFTAckType::ERROR,
                                   yol::eFTErrorType::INVALID_CRC),
            kDone);
  const auto a = transferStatus(gateway, "a");
  EXPECT_EQ(a.status, eFTStateType::CANCELLED);
  EXPECT_EQ(a.error, yol::eFTErrorType::NONE);
  const auto b = transferStatus(gateway, "b");
  EXPECT_EQ(b.status, eFTStateType::FAILED_ON_FC);
  EXPECT_EQ(b.error, yol::eFTErrorType::INVALID_CRC);

  std::vector<yol::stFileInfo> remote;
  gateway.FT_GetRemoteFileList(remote);
  for (const auto& file : remote) {
    EXPECT_NE(file.id, "a");  // only completed uploads reach the remote side
  }
  EXPECT_EQ(gateway.FT_Ack("unknown", yol::eFTAckType::CANCEL), kUnknown);
  EXPECT_THROW(transferStatus(gateway, "unknown"), std::invalid_argument);
}

TEST_F(GatewayTest, HistoryRangesAreInclusive) {
  Gateway gateway = make();
  std::vector<yol::stFileHistory> history;
  gateway.FT_GetHistoryIndex(history, 1, 2);
  ASSERT_EQ(history.size(), 2u);
  EXPECT_EQ(history[0].index, 1);
  EXPECT_EQ(history[1].index, 2);
  gateway.FT_GetHistoryIndex(history, 1, -1);
  EXPECT_EQ(history.size(), 2u);

  gateway.FT_GetHistoryTime(history, "2024-05-02T06:03:55Z", "2024-05-03T11:20:00Z");
  ASSERT_EQ(history.size(), 2u);
  EXPECT_EQ(history[0].id, "file-0991");
  gateway.FT_GetHistoryTime(history, "", "2024-05-01T23:59:59Z");
  ASSERT_EQ(history.size(), 1u);
  EXPECT_EQ(history[0].id, "file-0990");
}

TEST_F(GatewayTest, CopyMakesANewRemoteFile) {
  Gateway gateway = make();
  yol::stFileInfo copy;
  gateway.FT_CopyFile(copy, "file-1001");
  EXPECT_NE(copy.id, "file-1001");
  EXPECT_EQ(copy.name, "north-field-rx.zip");
  EXPECT_EQ(copy.md5, "9a0364b9e99bb480dd25e1f0284c8555");
  std::vector<yol::stFileInfo> remote;
  gateway.FT_GetRemoteFileList(remote);
  EXPECT_EQ(remote.back(), copy);
  EXPECT_THROW(gateway.FT_CopyFile(copy, "nothing"), std::invalid_argument);
}

TEST_F(GatewayTest, UpdateWalksThroughItsStatesWaitingForEachAcceptance) {
  Gateway gateway = make();
  EXPECT_EQ(gateway.OTA_RefreshUpdateList(), 2);
  EXPECT_EQ(gateway.OTA_UpdateInitiate("9.9.9"), kUnknown);
  ASSERT_EQ(gateway.OTA_UpdateInitiate("4.2.0"), kDone);
  EXPECT_EQ(gateway.OTA_UpdateInitiate("2024.05"), kNotNow);

  EXPECT_EQ(updateWalk(gateway, 5),
            (std::vector<int32_t>{eUpdateState::checking_for_updates,
                                  eUpdateState::get_update_metadata,
                                  eUpdateState::process_update_metadata,
                                  eUpdateState::download_available,
                                  eUpdateState::download_available}));
  yol::stUpdateStatus status;
  gateway.OTA_Status(status);
  EXPECT_EQ(status.state, "download_available");
  EXPECT_EQ(status.version, "4.2.0");
  EXPECT_EQ(gateway.OTA_Ack("ota-other", yol::eAckType::ACCEPT_DOWNLOAD), kUnknown);
  EXPECT_EQ(gateway.OTA_Ack(status.session_id, yol::eAckType::ACCEPT_INSTALL), kNotNow);
  ASSERT_EQ(gateway.OTA_Ack(status.session_id, yol::eAckType::ACCEPT_DOWNLOAD), kDone);

  std::vector<int32_t> percents;
  std::vector<int32_t> states;
  for (int i = 0; i < 5; ++i) {
    gateway.OTA_Status(status);
    states.push_back(status.state_enum);
    percents.push_back(status.percent);
  }
  EXPECT_EQ(states, (std::vector<int32_t>{eUpdateState::accepted_download,
                                          eUpdateState::downloading_mv,
                                          eUpdateState::downloading_mv,
                                          eUpdateState::install_available_ota,
                                          eUpdateState::install_available_ota}));
  EXPECT_EQ(percents, (std::vector<int32_t>{0, 0, 50, 100, 100}));
  ASSERT_EQ(gateway.OTA_Ack(status.session_id, yol::eAckType::ACCEPT_INSTALL), kDone);
  EXPECT_EQ(updateWalk(gateway, 6),
            (std::vector<int32_t>{eUpdateState::accepted_install, eUpdateState::installing_update,
                                  eUpdateState::installing_update, eUpdateState::rebooting,
                                  eUpdateState::update_complete,
                                  eUpdateState::update_complete}));
  EXPECT_EQ(gateway.OTA_UpdateInitiate("2024.05"), kDone);  // a finished run makes room
}

TEST_F(GatewayTest, AutoInstallNeedsNoAcceptanceAndCancelReturnsToIdle) {
  Gateway gateway = make();
  ASSERT_EQ(gateway.OTA_UpdateInitiateType("2024.05", yol::eOTAType::AUTO_INSTALL), kDone);
  const auto walk = updateWalk(gateway, 13);
  EXPECT_EQ(walk.back(), eUpdateState::update_complete);
  EXPECT_EQ(walk[4], eUpdateState::accepted_download);

  ASSERT_EQ(gateway.OTA_UpdateInitiate("4.2.0"), kDone);
  yol::stUpdateStatus status;
  gateway.OTA_Status(status);
  ASSERT_EQ(gateway.OTA_Ack(status.session_id, yol::eAckType::CANCEL), kDone);
  gateway.OTA_Status(status);
  EXPECT_EQ(status.state, "cancel_update");
  gateway.OTA_Status(status);
  EXPECT_EQ(status.state, "update_state_idle");
  EXPECT_EQ(status.session_id, "");
  EXPECT_FALSE(status.__isset.percent);
}

TEST_F(GatewayTest, FeatureUpdateSwitchesTheFeatureOnWhenComplete) {
  Gateway gateway = make();
  EXPECT_EQ(gateway.OTA_UpdateInitiateFeature("OTA"), kNotNow);  // already on
  EXPECT_EQ(gateway.OTA_UpdateInitiateFeature("WARP_DRIVE"), kUnknown);
  ASSERT_EQ(gateway.OTA_UpdateInitiateFeature("AUTOCARTGUIDANCE"), kDone);
  yol::stUpdateStatus status;
  gateway.OTA_Status(status);
  EXPECT_EQ(status.feature_name, "AUTOCARTGUIDANCE");
  EXPECT_FALSE(gateway.MGT_IsFeatureEnabled(yol::eMGTFeature::AUTOCARTGUIDANCE));
  EXPECT_EQ(updateWalk(gateway, 12).back(), eUpdateState::update_complete);
  EXPECT_TRUE(gateway.MGT_IsFeatureEnabled(yol::eMGTFeature::AUTOCARTGUIDANCE));
}

TEST_F(GatewayTest, RemoteSupportWalksToActiveAndBackWhenStopped) {
  Gateway gateway = make();
  EXPECT_EQ(gateway.stopRemoteSupport(), kNotNow);
  EXPECT_EQ(gateway.requestRemoteSupport(0, 600), kUnknown);
  ASSERT_EQ(gateway.requestRemoteSupport(800, 600), kDone);
  EXPECT_EQ(gateway.requestRemoteSupport(800, 600), kNotNow);

  yol::stRemoteSupportStatus status;
  gateway.remoteSupportStatus(status);
  EXPECT_EQ(status.state, eRemoteSupportState::SUPPORT_REQUESTED);
  EXPECT_FALSE(status.session_id.empty());
  EXPECT_EQ(status.code.size(), 6u);
  EXPECT_EQ(supportWalk(gateway, 4),
            (std::vector<int32_t>{eRemoteSupportState::SUPPORT_PENDING,
                                  eRemoteSupportState::VNC_STARTING,
                                  eRemoteSupportState::VIEWER_WAITING,
                                  eRemoteSupportState::SUPPORT_ACTIVE}));
  gateway.remoteSupportStatus(status);
  ASSERT_EQ(status.sViewers.size(), 1u);
  EXPECT_EQ(status.sViewers[0].sName, "Service desk");

  ASSERT_EQ(gateway.stopRemoteSupport(), kDone);
  EXPECT_EQ(supportWalk(gateway, 5),
            (std::vector<int32_t>{eRemoteSupportState::STOPPING_SUPPORT,
                                  eRemoteSupportState::VIEWER_STOPPED,
                                  eRemoteSupportState::VNC_DEVICE_STOPPED,
                                  eRemoteSupportState::NO_SUPPORT_VNC_STOPPED,
                                  eRemoteSupportState::NO_SUPPORT_VNC_STOPPED}));
  gateway.remoteSupportStatus(status);
  EXPECT_EQ(status.session_id, "");
  EXPECT_FALSE(status.__isset.sViewers);
}

TEST_F(GatewayTest, RemoteSupportNeedsTheModemConnection) {
  Gateway gateway =
      make({{"modem", {{"model", "EG25-G"}, {"modem_state", "MODEM_STATE_SEARCHING"}}}});
  EXPECT_EQ(supportWalk(gateway, 1)[0], eRemoteSupportState::NO_MODEM_CONNECTION);
  EXPECT_EQ(gateway.requestRemoteSupport(800, 600), kNoRoom);
}

TEST_F(GatewayTest, JoinAndLeaveWalkThroughTheJoinStates) {
  Gateway gateway = make();
  EXPECT_EQ(gateway.JOB_Join("job-none"), kUnknown);
  EXPECT_EQ(gateway.JOB_Leave("job-2024-017", ""), kNotNow);  // not joined
  ASSERT_EQ(gateway.JOB_Join("job-2024-017"), kDone);
  EXPECT_EQ(gateway.JOB_Join("job-2024-017"), kNotNow);

  EXPECT_EQ(joinState(gateway, "job-2024-017"), eJoinRequestState::REQUESTED);
  EXPECT_EQ(joinState(gateway, "job-2024-017"), eJoinRequestState::ACCEPTED);
  EXPECT_EQ(joinState(gateway, "job-2024-017"), eJoinRequestState::JOINED);
  EXPECT_EQ(joinState(gateway, "job-2024-017"), eJoinRequestState::JOINED);

  yol::stJobStatus status;
  gateway.JOB_GetStatus(status, "job-2024-017");
  ASSERT_EQ(status.stParticipants.size(), 1u);
  EXPECT_EQ(status.stParticipants[0].id, 7);  // the endpoint's participant
  EXPECT_EQ(status.stParticipants[0].sName, "Tractor 7");
  ASSERT_EQ(status.stSystems.size(), 1u);
  EXPECT_EQ(status.stSystems[0].sName, "TG2-0042");
  EXPECT_DOUBLE_EQ(status.stSystems[0].Latitude, 52.2689);
  EXPECT_EQ(status.stSystems[0].Status, eJoinRequestState::JOINED);

  ASSERT_EQ(gateway.JOB_Leave("job-2024-017", "data-1"), kDone);
  EXPECT_EQ(joinState(gateway, "job-2024-017"), eJoinRequestState::LEAVE_REQUESTED);
  EXPECT_EQ(joinState(gateway, "job-2024-017"), eJoinRequestState::LEFT);
  gateway.JOB_GetStatus(status, "job-2024-017");
  EXPECT_TRUE(status.stSystems.empty());
  EXPECT_EQ(gateway.JOB_Join("job-2024-017"), kDone);  // a job left can be joined again
}

TEST_F(GatewayTest, JoiningAJobWithoutEndpointGivesItOne) {
  Gateway gateway = make();
  ASSERT_EQ(gateway.JOB_Join("job-2024-018"), kDone);
  std::vector<yol::stJobInfo> jobs;
  gateway.JOB_GetList(jobs);
  ASSERT_TRUE(jobs[1].__isset.stEndpoint);
  EXPECT_FALSE(jobs[1].stEndpoint.sHost.empty());
  EXPECT_GT(jobs[1].stEndpoint.ParticipantId, 0);
  EXPECT_EQ(jobs[1].stEndpoint.eState, eJoinRequestState::REQUESTED);
}

TEST_F(GatewayTest, CreatedJobsAreListedWithTheirResources) {
  Gateway gateway = make();
  yol::stJobCreate request;
  request.stJob.sGUID = "job-new";
  request.stJob.__set_sName("New job");
  yol::stJobProductInfo product;
  product.sGUID = "prod-1";
  product.stRxMap.sGUID = "rx-1";
  product.__isset.stRxMap = true;
  request.__set_stProducts({product});
  ASSERT_EQ(gateway.JOB_Create(request), kDone);
  EXPECT_EQ(gateway.JOB_Create(request), kNotNow);
  yol::stJobCreate nameless;
  EXPECT_EQ(gateway.JOB_Create(nameless), kUnknown);
  EXPECT_EQ(gateway.createdJobs().size(), 1u);

  std::vector<yol::stJobInfo> jobs;
  gateway.JOB_GetList(jobs);
  ASSERT_EQ(jobs.size(), 3u);
  EXPECT_EQ(jobs[2].sGUID, "job-new");
  EXPECT_EQ(jobs[2].sName, "New job");

  std::vector<yol::stJobResource> resources;
  gateway.JOB_GetResources(resources, "job-new");
  EXPECT_TRUE(resources.empty());  // not requested yet
  ASSERT_EQ(gateway.JOB_RequestResources("job-new"), kDone);
  gateway.JOB_GetResources(resources, "job-new");
  ASSERT_EQ(resources.size(), 2u);
  EXPECT_EQ(resources[0].type, yol::eFTType::JOB_DATA_PACKAGE);
  EXPECT_EQ(resources[1].id, "rx-1");
  EXPECT_EQ(resources[1].type, yol::eFTType::PRESCRIPTION_MAP);

  gateway.JOB_RequestResources("job-2024-017");
  gateway.JOB_GetResources(resources, "job-2024-017");
  EXPECT_EQ(resources.size(), 2u);  // from the state file
  EXPECT_THROW(gateway.JOB_GetResources(resources, "job-none"), std::invalid_argument);
}

TEST_F(GatewayTest, ExtendedCreationTakesBoundaryAndFlagsFromTheField) {
  Gateway gateway = make();
  yol::stJobCreateExt request;
  request.stJob.sGUID = "job-ext";
  yol::stJobFieldBoundary boundary;
  for (auto [lat, lon] : {std::pair{52.0, 10.0}, std::pair{52.0, 10.5}, std::pair{52.5, 10.5}}) {
    yol::stJobBoundaryCoordinate point;
    point.Latitude = lat;
    point.Longitude = lon;
    boundary.stExterior.push_back(point);
  }
  boundary.__isset.stExterior = true;
  yol::stFlag flag;
  flag.stCoordinate.Latitude = 52.25;
  flag.stCoordinate.Longitude = 10.25;
  flag.__isset.stCoordinate = true;
  request.stField.sGUID = "field-1";
  request.stField.__set_stBoundaries({boundary});
  request.stField.__set_stFlags({flag});
  request.__isset.stField = true;
  ASSERT_EQ(gateway.JOB_CreateExt(request), kDone);
  EXPECT_EQ(gateway.createdJobsExt().back(), request);

  std::vector<yol::stJobInfo> jobs;
  gateway.JOB_GetList(jobs);
  EXPECT_EQ(jobs.back().sBoundary, "POLYGON((10 52, 10.5 52, 10.5 52.5))");
  ASSERT_EQ(jobs.back().stPoints.size(), 1u);
  EXPECT_EQ(jobs.back().stPoints[0].eType, yol::eJobPointType::PROXIMITY);
  EXPECT_DOUBLE_EQ(jobs.back().stPoints[0].Latitude, 52.25);

  yol::stJobPoint point;
  point.__set_Latitude(1.5);
  EXPECT_EQ(gateway.JOB_SetMutableData("job-ext", {point, point}), kDone);
  EXPECT_EQ(gateway.JOB_SetMutableData("job-none", {point}), kUnknown);
  gateway.JOB_GetList(jobs);
  EXPECT_EQ(jobs.back().stPoints, (std::vector<yol::stJobPoint>{point, point}));
}

TEST_F(GatewayTest, StatusPostsAddAndUpdateParticipants) {
  Gateway gateway = make();
  EXPECT_EQ(gateway.JOB_SendStatus("job-2024-018", "Combine 3", "harvesting"), kDone);
  EXPECT_EQ(gateway.JOB_SendStatus("job-2024-018", "Combine 3", "unloading"), kDone);
  EXPECT_EQ(gateway.JOB_SendStatus("job-2024-018", "", "x"), kUnknown);
  EXPECT_EQ(gateway.JOB_SendStatus("job-none", "A", "x"), kUnknown);
  yol::stJobStatus status;
  gateway.JOB_GetStatus(status, "job-2024-018");
  ASSERT_EQ(status.stParticipants.size(), 1u);
  EXPECT_EQ(status.stParticipants[0].sName, "Combine 3");
  EXPECT_EQ(status.stParticipants[0].sStatus, "unloading");
  EXPECT_TRUE(status.__isset.stSystems);
  EXPECT_TRUE(status.stSystems.empty());
}

TEST_F(GatewayTest, ServiceDiscoveryIsPendingOnceThenAnswers) {
  Gateway gateway = make();
  std::string id;
  gateway.MGT_ServiceDiscoveryRequest(id, "fleet-api", "v2");
  yol::ServiceDiscoveryResult result;
  gateway.MGT_GetServiceDiscoveryResult(result, id);
  EXPECT_TRUE(result.__isset.pending);
  EXPECT_TRUE(result.pending);
  EXPECT_FALSE(result.__isset.success);

  gateway.MGT_GetServiceDiscoveryResult(result, id);
  EXPECT_FALSE(result.__isset.pending);
  ASSERT_TRUE(result.__isset.success);
  EXPECT_EQ(result.success.urls,
            (std::vector<std::string>{"https://fleet.merivault.example/v2",
                                      "https://fleet-backup.merivault.example/v2"}));

  std::string other;
  gateway.MGT_ServiceDiscoveryRequest(other, "weather", "");
  EXPECT_NE(other, id);
  gateway.MGT_GetServiceDiscoveryResult(result, other);
  gateway.MGT_GetServiceDiscoveryResult(result, other);
  ASSERT_TRUE(result.__isset.failure);
  EXPECT_EQ(result.failure.error_message, "no service named 'weather'");

  gateway.MGT_GetServiceDiscoveryResult(result, "sd-unknown");
  ASSERT_TRUE(result.__isset.error);
  EXPECT_EQ(result.error.status, yol::ServiceDiscoveryErrorStatus::INVALID_UUID);
}

TEST_F(GatewayTest, ServiceDiscoveryWithoutCloudConnectionReportsNotConnected) {
  Gateway gateway = make({{"merivault", {{"connected", false}}}});
  std::string id;
  gateway.MGT_ServiceDiscoveryRequest(id, "file-store", "1");
  yol::ServiceDiscoveryResult result;
  gateway.MGT_GetServiceDiscoveryResult(result, id);
  gateway.MGT_GetServiceDiscoveryResult(result, id);
  ASSERT_TRUE(result.__isset.error);
  EXPECT_EQ(result.error.status, yol::ServiceDiscoveryErrorStatus::NOT_CONNECTED);
}

TEST_F(GatewayTest, ProvisioningIssuesPlaceholderCredentialsPerType) {
  Gateway gateway = make();
  EXPECT_EQ(gateway.MGT_ProvisionRequest(""), kUnknown);
  ASSERT_EQ(gateway.MGT_ProvisionRequest("jobs"), kDone);
  std::vector<std::string> types;
  gateway.MGT_GetProvisionList(types);
  EXPECT_EQ(types, (std::vector<std::string>{"telemetry", "jobs"}));

  yol::stProvision first;
  gateway.MGT_GetProvision(first, "jobs");
  EXPECT_EQ(first.type, "jobs");
  EXPECT_NE(first.cert.find("BEGIN CERTIFICATE"), std::string::npos);
  ASSERT_EQ(gateway.MGT_ProvisionRequest("jobs"), kDone);  // issued anew
  yol::stProvision second;
  gateway.MGT_GetProvision(second, "jobs");
  EXPECT_NE(second.cert, first.cert);
  gateway.MGT_GetProvisionList(types);
  EXPECT_EQ(types.size(), 2u);
  EXPECT_THROW(gateway.MGT_GetProvision(second, "vpn"), std::invalid_argument);
}

TEST_F(GatewayTest, ConfigurationErrorsAndConnectionStatus) {
  Gateway gateway = make();
  yol::stMGTCfg config;
  config.__set_PingDelay(-5);
  EXPECT_EQ(gateway.MGT_SetConfig(config), kUnknown);
  config.__set_PingDelay(45);
  EXPECT_EQ(gateway.MGT_SetConfig(config), kDone);
  yol::stMGTCfg back;
  gateway.MGT_GetConfig(back);
  EXPECT_EQ(back, config);

  std::vector<yol::stMGTError> errors;
  gateway.MGT_GetErrors(errors, 1);
  ASSERT_EQ(errors.size(), 1u);
  EXPECT_EQ(errors[0].Index, 1);

  now_ += seconds(100);
  gateway.TEL_SendGenericJSON("load", "{\"engine\": 81}");
  now_ += seconds(4);
  yol::stMGTStatus status;
  gateway.MGT_GetStatus(status);
  EXPECT_EQ(status.ConnectionAgeInSeconds, 3600 + 104);
  EXPECT_EQ(status.TXAgeInSeconds, 4);
  EXPECT_GT(status.TXDataBytes, 524288);
  EXPECT_EQ(status.ServerReconnects, 2);
}

TEST_F(GatewayTest, TelematicsAreCountedAndTheLatestKept) {
  Gateway gateway = make({{"simulation", {{"telematics_kept", 3}}}});
  const std::vector<yol::eDataType::type> types = {yol::eDataType::json_INTEGER};
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(gateway.TEL_SendGeneric("engine", types, {"rpm"}, {std::to_string(1000 + i)}),
              kDone);
  }
  EXPECT_EQ(gateway.TEL_SendGPS(yol::testing::sample<yol::stGPSInfo>(1)), kDone);
  EXPECT_EQ(gateway.SendMsg(yol::eCategory::TELEMATICS, yol::eTelematics::GPS, types, {"a", "b"},
                            {"1", "2"}),
            kUnknown);  // two keys, one type
  EXPECT_EQ(gateway.TEL_SendGenericJSON("x", "{not json"), kUnknown);

  EXPECT_EQ(gateway.telematicsTotal(), 5u);
  EXPECT_EQ(gateway.telematicsCount("TEL_SendGeneric"), 4u);
  EXPECT_EQ(gateway.telematicsCount("SendMsg"), 0u);
  const auto& kept = gateway.telematics();
  ASSERT_EQ(kept.size(), 3u);
  EXPECT_EQ(kept.front().sequence, 3u);
  EXPECT_NE(kept.front().text.find("1002"), std::string::npos);
  EXPECT_EQ(kept.back().call, "TEL_SendGPS");

  gateway.TEL_SendGenericJSON("big", "\"" + std::string(4000, 'x') + "\"");
  EXPECT_EQ(gateway.telematics().back().text.size(), kTelematicsTextLimit);
}

}  // namespace
}  // namespace gatewaysim
