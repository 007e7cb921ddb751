// What the simulated gateway knows when it starts: its modem, position,
// cloud account, files, updates, jobs and so on, as read from a state file
// (JSON). The format is described in README.md beside this file; the
// built-in state is default_state.json, compiled in.
#ifndef THRIFTYOL_TOOLS_GATEWAY_SIM_STATE_H
#define THRIFTYOL_TOOLS_GATEWAY_SIM_STATE_H

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include <thriftyol/types/yol_types.h>

namespace gatewaysim {

struct MerivaultAccount {
  bool connected = true;
  std::string uuid;
  std::string owner;
  int32_t owner_id = 0;
  std::string name;
  std::string system_name;
};

struct Eula {
  std::string version;
  std::optional<yol::eEULAAcceptType::type> accepted;
};

struct Management {
  yol::stMGTStatus status;
  yol::stMGTCfg config;
  std::vector<yol::stMGTError> errors;
};

// How fast the simulated processes go.
struct Simulation {
  // A transfer gains this many per cent with each FT_GetStatus poll...
  int32_t transfer_percent_per_poll = 25;
  // ...and this many with each second since it started.
  int32_t transfer_percent_per_second = 0;
  // Telematics messages kept (the oldest go first).
  int32_t telematics_kept = 1000;
};

struct GatewayState {
  std::vector<yol::stFeatures> features;
  yol::stCellularInfo modem;
  yol::stGPSInfo gps;
  std::vector<yol::stRTKInfo> rtk_sources;
  MerivaultAccount merivault;
  Eula eula;
  std::vector<std::string> interfaces;
  std::map<std::string, std::vector<yol::stPeerDevice>> peers;
  std::vector<yol::stFileInfo> remote_files;
  std::vector<yol::stFileHistory> transfer_history;
  std::vector<yol::stUpdateType> updates;
  std::map<std::string, std::string> update_notes;
  int32_t update_size = 0;
  std::string remote_support_viewer;
  std::vector<yol::stProvision> provisions;
  // Service name -> its URLs; "{version}" in a URL stands for the version
  // asked for.
  std::map<std::string, std::vector<std::string>> services;
  Management management;
  std::vector<yol::stJobInfo> jobs;
  std::map<std::string, std::vector<yol::stJobResource>> job_resources;
  Simulation simulation;
};

// The built-in state, as JSON text.
const char* defaultStateJson();

// Reads a state. Keys left out keep their built-in value; a key that is
// present replaces the built-in value whole. Throws std::runtime_error
// naming the offending key for anything that does not fit.
GatewayState loadState(const nlohmann::json& overrides);

// The built-in state.
GatewayState defaultState();

}  // namespace gatewaysim

#endif  // THRIFTYOL_TOOLS_GATEWAY_SIM_STATE_H
