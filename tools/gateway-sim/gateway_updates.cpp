// Over-the-air updates and remote support: two processes that walk through
// their states, one step per status poll.
#include <cstdio>
#include <stdexcept>

#include "gateway.h"

namespace gatewaysim {

using yol::eRemoteSupportState;
using yol::eUpdateState;

namespace {

// The percent gained per poll while downloading or installing.
constexpr int32_t kUpdatePercentPerPoll = 50;

const char* updateStateName(eUpdateState::type state) {
  auto name = yol::_eUpdateState_VALUES_TO_NAMES.find(state);
  return name == yol::_eUpdateState_VALUES_TO_NAMES.end() ? "unknown" : name->second;
}

// A run that has not ended: complete, cancelled or never started.
bool updateRunning(eUpdateState::type state) {
  return state != eUpdateState::update_state_idle && state != eUpdateState::update_complete &&
         state != eUpdateState::cancel_update;
}

}  // namespace

int32_t Gateway::OTA_RefreshUpdateList() { return static_cast<int32_t>(state_.updates.size()); }

void Gateway::OTA_GetUpdateList(std::vector<yol::stUpdateType>& _return) {
  _return = state_.updates;
}

void Gateway::OTA_GetUpdateInfo(std::string& _return, const std::string& sVersion) {
  for (const yol::stUpdateType& update : state_.updates) {
    if (update.sVersion == sVersion) {
      auto notes = state_.update_notes.find(sVersion);
      _return = notes != state_.update_notes.end()
                    ? notes->second
                    : update.sType + " update " + update.sVersion;
      return;
    }
  }
  throw std::invalid_argument("no update with version '" + sVersion + "'");
}

int32_t Gateway::startUpdate(const std::string& version, const std::string& feature,
                             yol::eOTAType::type mode) {
  if (updateRunning(update_.state)) {
    return kNotNow;
  }
  update_ = UpdateRun();
  update_.session_id = "ota-" + std::to_string(next_id_++);
  update_.version = version;
  update_.feature = feature;
  update_.mode = mode;
  update_.state = eUpdateState::checking_for_updates;
  return kDone;
}

int32_t Gateway::OTA_UpdateInitiate(const std::string& sVersion) {
  return OTA_UpdateInitiateType(sVersion, yol::eOTAType::NORMAL);
}

int32_t Gateway::OTA_UpdateInitiateType(const std::string& sVersion, yol::eOTAType::type eType) {
  if (eType != yol::eOTAType::NORMAL && eType != yol::eOTAType::AUTO_DOWNLOAD &&
      eType != yol::eOTAType::AUTO_INSTALL) {
    return kUnknown;
  }
  for (const yol::stUpdateType& update : state_.updates) {
    if (update.sVersion == sVersion) {
      return startUpdate(sVersion, "", eType);
    }
  }
  return kUnknown;
}

// Installs a feature that the gateway lists as switched off; once the update
// completes, the feature is on. It needs no acknowledgement.
int32_t Gateway::OTA_UpdateInitiateFeature(const std::string& sFeature) {
  for (const yol::stFeatures& feature : state_.features) {
    auto name = yol::_eMGTFeature_VALUES_TO_NAMES.find(feature.feature);
    if (name != yol::_eMGTFeature_VALUES_TO_NAMES.end() && sFeature == name->second) {
      return feature.enabled ? kNotNow
                             : startUpdate(sFeature, sFeature, yol::eOTAType::AUTO_INSTALL);
    }
  }
  return kUnknown;
}

// ACCEPT_DOWNLOAD and ACCEPT_INSTALL release a run that waits for them;
// CANCEL stops a run; ACCEPT_NOTIFY and ACCEPT_LIST are taken note of.
int32_t Gateway::OTA_Ack(const std::string& sessionID, yol::eAckType::type eType) {
  if (!updateRunning(update_.state) || sessionID != update_.session_id) {
    return kUnknown;
  }
  switch (eType) {
    case yol::eAckType::ACCEPT_DOWNLOAD:
      if (update_.state != eUpdateState::download_available) {
        return kNotNow;
      }
      update_.state = eUpdateState::accepted_download;
      return kDone;
    case yol::eAckType::ACCEPT_INSTALL:
      if (update_.state != eUpdateState::install_available_ota) {
        return kNotNow;
      }
      update_.state = eUpdateState::accepted_install;
      return kDone;
    case yol::eAckType::CANCEL:
      update_.state = eUpdateState::cancel_update;
      return kDone;
    case yol::eAckType::ACCEPT_NOTIFY:
    case yol::eAckType::ACCEPT_LIST:
      return kDone;
  }
  return kUnknown;
}

// checking_for_updates, get_update_metadata, process_update_metadata,
// download_available (waits for ACCEPT_DOWNLOAD unless the mode downloads by
// itself), accepted_download, downloading_mv (50 per cent a poll),
// install_available_ota (waits for ACCEPT_INSTALL unless AUTO_INSTALL),
// accepted_install, installing_update (50 per cent a poll), rebooting,
// update_complete. A cancelled run shows cancel_update once, then idle.
void Gateway::stepUpdate() {
  UpdateRun& run = update_;
  switch (run.state) {
    case eUpdateState::checking_for_updates:
      run.state = eUpdateState::get_update_metadata;
      break;
    case eUpdateState::get_update_metadata:
      run.state = eUpdateState::process_update_metadata;
      break;
    case eUpdateState::process_update_metadata:
      run.state = eUpdateState::download_available;
      break;
    case eUpdateState::download_available:
      if (run.mode != yol::eOTAType::NORMAL) {
        run.state = eUpdateState::accepted_download;
      }
      break;
    case eUpdateState::accepted_download:
      run.state = eUpdateState::downloading_mv;
      run.percent = 0;
      break;
    case eUpdateState::downloading_mv:
      run.percent += kUpdatePercentPerPoll;
      if (run.percent >= 100) {
        run.percent = 100;
        run.state = eUpdateState::install_available_ota;
      }
      break;
    case eUpdateState::install_available_ota:
      if (run.mode == yol::eOTAType::AUTO_INSTALL) {
        run.state = eUpdateState::accepted_install;
      }
      break;
    case eUpdateState::accepted_install:
      run.state = eUpdateState::installing_update;
      run.percent = 0;
      break;
    case eUpdateState::installing_update:
      run.percent += kUpdatePercentPerPoll;
      if (run.percent >= 100) {
        run.percent = 100;
        run.state = eUpdateState::rebooting;
      }
      break;
    case eUpdateState::rebooting:
      run.state = eUpdateState::update_complete;
      for (yol::stFeatures& feature : state_.features) {
        auto name = yol::_eMGTFeature_VALUES_TO_NAMES.find(feature.feature);
        if (name != yol::_eMGTFeature_VALUES_TO_NAMES.end() && run.feature == name->second) {
          feature.enabled = true;
        }
      }
      break;
    case eUpdateState::cancel_update:
      run = UpdateRun();
      break;
    default:
      break;
  }
}

void Gateway::OTA_Status(yol::stUpdateStatus& _return) {
  yol::stUpdateStatus status;
  status.state = updateStateName(update_.state);
  status.session_id = update_.session_id;
  status.__set_state_enum(update_.state);
  if (!update_.session_id.empty()) {
    status.__set_percent(update_.percent);
    status.__set_size(state_.update_size);
    status.__set_version(update_.version);
    if (!update_.feature.empty()) {
      status.__set_feature_name(update_.feature);
    }
  }
  _return = std::move(status);
  stepUpdate();
}

bool Gateway::remoteSupportIdle() const {
  return remote_support_.session_id.empty();
}

int32_t Gateway::requestRemoteSupport(int32_t width, int32_t height) {
  if (width <= 0 || height <= 0) {
    return kUnknown;
  }
  if (!remoteSupportIdle()) {
    return kNotNow;
  }
  if (!getWanStatus()) {
    return kNoRoom;
  }
  const uint64_t number = next_id_++;
  char code[8];
  std::snprintf(code, sizeof code, "%06u", static_cast<unsigned>((number * 7919u) % 1000000u));
  remote_support_.session_id = "rs-" + std::to_string(number);
  remote_support_.state = eRemoteSupportState::SUPPORT_REQUESTED;
  remote_support_.code = code;
  return kDone;
}

int32_t Gateway::stopRemoteSupport() {
  switch (remote_support_.state) {
    case eRemoteSupportState::SUPPORT_REQUESTED:
    case eRemoteSupportState::SUPPORT_PENDING:
    case eRemoteSupportState::VNC_STARTING:
    case eRemoteSupportState::VIEWER_WAITING:
    case eRemoteSupportState::SUPPORT_ACTIVE:
      remote_support_.state = eRemoteSupportState::STOPPING_SUPPORT;
      return kDone;
    default:
      return kNotNow;
  }
}

// SUPPORT_REQUESTED, SUPPORT_PENDING, VNC_STARTING, VIEWER_WAITING, then
// SUPPORT_ACTIVE with the viewer until stopped; stopping goes through
// STOPPING_SUPPORT, VIEWER_STOPPED and VNC_DEVICE_STOPPED back to
// NO_SUPPORT_VNC_STOPPED.
void Gateway::stepRemoteSupport() {
  RemoteSupport& support = remote_support_;
  switch (support.state) {
    case eRemoteSupportState::SUPPORT_REQUESTED:
      support.state = eRemoteSupportState::SUPPORT_PENDING;
      break;
    case eRemoteSupportState::SUPPORT_PENDING:
      support.state = eRemoteSupportState::VNC_STARTING;
      break;
    case eRemoteSupportState::VNC_STARTING:
      support.state = eRemoteSupportState::VIEWER_WAITING;
      break;
    case eRemoteSupportState::VIEWER_WAITING:
      support.state = eRemoteSupportState::SUPPORT_ACTIVE;
      break;
    case eRemoteSupportState::STOPPING_SUPPORT:
      support.state = eRemoteSupportState::VIEWER_STOPPED;
      break;
    case eRemoteSupportState::VIEWER_STOPPED:
      support.state = eRemoteSupportState::VNC_DEVICE_STOPPED;
      break;
    case eRemoteSupportState::VNC_DEVICE_STOPPED:
      support = RemoteSupport();
      break;
    default:
      break;
  }
}

// Without a session the state says whether support could be requested.
void Gateway::remoteSupportStatus(yol::stRemoteSupportStatus& _return) {
  yol::stRemoteSupportStatus status;
  status.session_id = remote_support_.session_id;
  if (remoteSupportIdle()) {
    status.state = getWanStatus() ? eRemoteSupportState::NO_SUPPORT_VNC_STOPPED
                                  : eRemoteSupportState::NO_MODEM_CONNECTION;
  } else {
    status.state = remote_support_.state;
    status.__set_code(remote_support_.code);
    std::vector<yol::stRemoteSupportViewers> viewers;
    if (remote_support_.state == eRemoteSupportState::SUPPORT_ACTIVE) {
      yol::stRemoteSupportViewers viewer;
      viewer.sName = state_.remote_support_viewer;
      viewers.push_back(viewer);
    }
    status.__set_sViewers(viewers);
  }
  _return = std::move(status);
  stepRemoteSupport();
}

}  // namespace gatewaysim
