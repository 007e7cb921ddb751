#include "state.h"

#include <functional>
#include <stdexcept>
#include <utility>

#include <thriftyol/json/yol_json.h>

namespace gatewaysim {
namespace {

using nlohmann::json;
using yol::json::Codec;
using yol::json::Path;
using yol::json::PathStep;

template <class T>
void read(const json& j, T& out, Path& path) {
  Codec<T>::read(j, out, path);
}

// An object whose keys are free names (interfaces, services, job ids).
template <class T>
void read(const json& j, std::map<std::string, T>& out, Path& path) {
  if (!j.is_object()) {
    path.fail("expected an object");
  }
  out.clear();
  for (const auto& [key, value] : j.items()) {
    PathStep step(path, key.c_str());
    read(value, out[key], path);
  }
}

void read(const json& j, MerivaultAccount& out, Path& path);
void read(const json& j, Eula& out, Path& path);
void read(const json& j, Management& out, Path& path);
void read(const json& j, Simulation& out, Path& path);

void read(const json& j, std::optional<yol::eEULAAcceptType::type>& out, Path& path) {
  if (j.is_null()) {
    out.reset();
    return;
  }
  yol::eEULAAcceptType::type value{};
  read(j, value, path);
  out = value;
}

// Reads an object of known keys: each key present goes to its reader,
// any other key is an error.
using KeyReaders = std::map<std::string, std::function<void(const json&, Path&)>>;

void readObject(const json& j, const KeyReaders& readers, Path& path) {
  if (!j.is_object()) {
    path.fail("expected an object");
  }
  for (const auto& [key, value] : j.items()) {
    auto reader = readers.find(key);
    if (reader == readers.end()) {
      path.fail("unknown key '" + key + "'");
    }
    PathStep step(path, key.c_str());
    reader->second(value, path);
  }
}

template <class T>
std::pair<const std::string, std::function<void(const json&, Path&)>> key(const char* name,
                                                                            T& target) {
  return {name, [&target](const json& j, Path& path) { read(j, target, path); }};
}

void read(const json& j, MerivaultAccount& out, Path& path) {
  readObject(j,
             {key("connected", out.connected), key("uuid", out.uuid), key("owner", out.owner),
              key("owner_id", out.owner_id), key("name", out.name),
              key("system_name", out.system_name)},
             path);
}

void read(const json& j, Eula& out, Path& path) {
  readObject(j, {key("version", out.version), key("accepted", out.accepted)}, path);
}

void read(const json& j, Management& out, Path& path) {
  readObject(j,
             {key("status", out.status), key("config", out.config), key("errors", out.errors)},
             path);
}

void read(const json& j, Simulation& out, Path& path) {
  readObject(j,
             {key("transfer_percent_per_poll", out.transfer_percent_per_poll),
              key("transfer_percent_per_second", out.transfer_percent_per_second),
              key("telematics_kept", out.telematics_kept)},
             path);
  if (out.transfer_percent_per_poll < 0 || out.transfer_percent_per_second < 0) {
    path.fail("transfer progress cannot be negative");
  }
  if (out.telematics_kept < 1) {
    path.fail("telematics_kept must be at least 1");
  }
}

void readState(const json& j, GatewayState& s, Path& path) {
  readObject(j,
             {key("features", s.features),
              key("modem", s.modem),
              key("gps", s.gps),
              key("rtk_sources", s.rtk_sources),
              key("merivault", s.merivault),
              key("eula", s.eula),
              key("interfaces", s.interfaces),
              key("peers", s.peers),
              key("remote_files", s.remote_files),
              key("transfer_history", s.transfer_history),
              key("updates", s.updates),
              key("update_notes", s.update_notes),
              key("update_size", s.update_size),
              key("remote_support_viewer", s.remote_support_viewer),
              key("provisions", s.provisions),
              key("services", s.services),
              key("management", s.management),
              key("jobs", s.jobs),
              key("job_resources", s.job_resources),
              key("simulation", s.simulation)},
             path);
}

}  // namespace

GatewayState loadState(const json& overrides) {
  if (!overrides.is_object()) {
    throw std::runtime_error("state: expected an object");
  }
  json merged = json::parse(defaultStateJson());
  for (const auto& [name, value] : overrides.items()) {
    merged[name] = value;
  }
  GatewayState state;
  Path path("state");
  readState(merged, state, path);
  return state;
}

GatewayState defaultState() { return loadState(json::object()); }

}  // namespace gatewaysim
