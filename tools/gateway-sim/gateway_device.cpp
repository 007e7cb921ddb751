// The modem, the position and RTK sources, the cloud account with its
// agreement, and the machine's interfaces and peers.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <stdexcept>

#include "gateway.h"

namespace gatewaysim {

void Gateway::getModemId(std::string& _return) { _return = state_.modem.modemid; }

// The modem's rssi as a number (dBm), 0 when it reports none.
int32_t Gateway::getSignalStrength() {
  const char* text = state_.modem.rssi.c_str();
  char* end = nullptr;
  const long value = std::strtol(text, &end, 10);
  if (end == text || value < INT32_MIN || value > INT32_MAX) {
    return 0;
  }
  return static_cast<int32_t>(value);
}

// The WAN is up while the modem reports itself connected.
bool Gateway::getWanStatus() {
  return state_.modem.__isset.modem_state &&
         state_.modem.modem_state == yol::eCellularModemState::MODEM_STATE_CONNECTED;
}

bool Gateway::getRoamingStatus() { return state_.modem.roaming; }

int32_t Gateway::SetModemInfo(const yol::stCellularInfo& sInfo) {
  if (sInfo.model.empty()) {
    return kUnknown;
  }
  state_.modem = sInfo;
  return kDone;
}

void Gateway::GetModemInfo(yol::stCellularInfo& _return) { _return = state_.modem; }

int32_t Gateway::SetGPSInfo(const yol::stGPSInfo& sInfo) {
  state_.gps = sInfo;
  return kDone;
}

void Gateway::GetGPSInfo(yol::stGPSInfo& _return) { _return = state_.gps; }

void Gateway::RTK_GetLockedSource(yol::stRTKInfo& _return) {
  for (const yol::stRTKInfo& source : state_.rtk_sources) {
    if (source.locked) {
      _return = source;
      return;
    }
  }
  throw std::runtime_error("no RTK source is locked");
}

void Gateway::RTK_GetSources(std::vector<yol::stRTKInfo>& _return) {
  _return = state_.rtk_sources;
}

bool Gateway::getMerivaultConnectionStatus() { return state_.merivault.connected; }

void Gateway::getMerivaultUUID(std::string& _return) { _return = state_.merivault.uuid; }

void Gateway::getMerivaultOwner(std::string& _return) { _return = state_.merivault.owner; }

int32_t Gateway::getMerivaultOwnerId() { return state_.merivault.owner_id; }

void Gateway::getMerivaultName(std::string& _return) { _return = state_.merivault.name; }

int32_t Gateway::SetMerivaultName(const std::string& sName) {
  if (sName.empty()) {
    return kUnknown;
  }
  state_.merivault.name = sName;
  return kDone;
}

void Gateway::getMerivaultSystemName(std::string& _return) {
  _return = state_.merivault.system_name;
}

void Gateway::getEULAVersion(std::string& _return) { _return = state_.eula.version; }

int32_t Gateway::acceptEULA(yol::eEULAAcceptType::type eType) {
  if (eType != yol::eEULAAcceptType::PERMANENT && eType != yol::eEULAAcceptType::TEMPORARY) {
    return kUnknown;
  }
  // A permanent acceptance is not taken back by a temporary one.
  if (state_.eula.accepted != yol::eEULAAcceptType::PERMANENT) {
    state_.eula.accepted = eType;
  }
  return kDone;
}

void Gateway::SYS_GetInterfaceList(std::vector<std::string>& _return) {
  _return = state_.interfaces;
}

namespace {

bool listed(const std::vector<std::string>& names, const std::string& name) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

}  // namespace

void Gateway::SYS_GetPeerList(std::vector<yol::stPeerDevice>& _return,
                              const std::string& sInterface) {
  if (!listed(state_.interfaces, sInterface)) {
    throw std::invalid_argument("no interface named '" + sInterface + "'");
  }
  auto peers = state_.peers.find(sInterface);
  if (peers == state_.peers.end()) {
    _return.clear();
  } else {
    _return = peers->second;
  }
}

int32_t Gateway::SYS_SetPeerList(const std::string& sInterface,
                                 const std::vector<yol::stPeerDevice>& stDevices) {
  if (!listed(state_.interfaces, sInterface)) {
    return kUnknown;
  }
  state_.peers[sInterface] = stDevices;
  return kDone;
}

}  // namespace gatewaysim
