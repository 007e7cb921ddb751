// Management: features, connection status, configuration, error log,
// provisioning and service discovery.
#include <algorithm>
#include <cstdint>
#include <stdexcept>

#include "gateway.h"

namespace gatewaysim {

void Gateway::MGT_GetFeatureList(std::vector<yol::stFeatures>& _return) {
  _return = state_.features;
}

bool Gateway::MGT_IsFeatureEnabled(yol::eMGTFeature::type eFeature) {
  return status(eFeature) == 1;
}

namespace {

int32_t saturated(int64_t value) {
  return static_cast<int32_t>(std::clamp<int64_t>(value, 0, INT32_MAX));
}

}  // namespace

// The connection ages with time, and what telematics sent counts as sent
// data.
void Gateway::MGT_GetStatus(yol::stMGTStatus& _return) {
  using std::chrono::duration_cast;
  using std::chrono::seconds;
  const yol::stMGTStatus& base = state_.management.status;
  const auto now = clock_();
  const int64_t up = duration_cast<seconds>(now - started_).count();
  const int64_t sinceSent = duration_cast<seconds>(now - last_telematics_).count();
  _return = base;
  if (state_.merivault.connected) {
    _return.__set_ConnectionAgeInSeconds(saturated(int64_t{base.ConnectionAgeInSeconds} + up));
    _return.__set_TXAgeInSeconds(
        saturated(telematics_total_ == 0 ? int64_t{base.TXAgeInSeconds} + up : sinceSent));
  }
  _return.__set_TXDataBytes(
      saturated(int64_t{base.TXDataBytes} + static_cast<int64_t>(telematics_bytes_)));
}

// A PingDelay, when given, must be positive.
int32_t Gateway::MGT_SetConfig(const yol::stMGTCfg& sCfg) {
  if (sCfg.__isset.PingDelay && sCfg.PingDelay <= 0) {
    return kUnknown;
  }
  state_.management.config = sCfg;
  return kDone;
}

void Gateway::MGT_GetConfig(yol::stMGTCfg& _return) { _return = state_.management.config; }

// The entries from `index` on.
void Gateway::MGT_GetErrors(std::vector<yol::stMGTError>& _return, int32_t index) {
  _return.clear();
  for (const yol::stMGTError& error : state_.management.errors) {
    if (error.Index >= index) {
      _return.push_back(error);
    }
  }
}

// Issues (or issues anew) the certificate and key of a provisioning type.
// They are placeholders: the simulator holds no real credentials.
int32_t Gateway::MGT_ProvisionRequest(const std::string& sType) {
  if (sType.empty()) {
    return kUnknown;
  }
  auto existing = std::find_if(state_.provisions.begin(), state_.provisions.end(),
                               [&](const yol::stProvision& p) { return p.type == sType; });
  if (existing == state_.provisions.end()) {
    if (state_.provisions.size() >= kMaxProvisions) {
      return kNoRoom;
    }
    state_.provisions.emplace_back();
    existing = state_.provisions.end() - 1;
  }
  const std::string serial = std::to_string(next_id_++);
  yol::stProvision provision;
  provision.type = sType;
  provision.__set_cert("-----BEGIN CERTIFICATE-----\nsimulated " + sType + " certificate " +
                       serial + "\n-----END CERTIFICATE-----");
  provision.__set_priv("simulated private key (" + sType + " " + serial + ")");
  provision.__set_url("https://provision.merivault.example/" + sType);
  *existing = std::move(provision);
  return kDone;
}

void Gateway::MGT_GetProvisionList(std::vector<std::string>& _return) {
  _return.clear();
  for (const yol::stProvision& provision : state_.provisions) {
    _return.push_back(provision.type);
  }
}

void Gateway::MGT_GetProvision(yol::stProvision& _return, const std::string& sType) {
  for (const yol::stProvision& provision : state_.provisions) {
    if (provision.type == sType) {
      _return = provision;
      return;
    }
  }
  throw std::invalid_argument("no provision of type '" + sType + "'");
}

// Returns the correlation id of the look-up.
void Gateway::MGT_ServiceDiscoveryRequest(std::string& _return, const std::string& sService,
                                          const std::string& sVersion) {
  const std::string id = "sd-" + std::to_string(next_id_++);
  lookups_[id] = Lookup{sService, sVersion, 0};
  lookup_order_.push_back(id);
  if (lookup_order_.size() > kMaxLookups) {
    lookups_.erase(lookup_order_.front());
    lookup_order_.pop_front();
  }
  _return = id;
}

namespace {

std::string withVersion(std::string url, const std::string& version) {
  static const std::string kPlaceholder = "{version}";
  const std::string value = version.empty() ? "latest" : version;
  for (auto at = url.find(kPlaceholder); at != std::string::npos;
       at = url.find(kPlaceholder, at + value.size())) {
    url.replace(at, kPlaceholder.size(), value);
  }
  return url;
}

}  // namespace

// Pending on the first poll; then the URLs of a known service ("{version}"
// replaced by the version asked for, "latest" when none), a failure for an
// unknown one, or NOT_CONNECTED while the cloud is out of reach. An unknown
// correlation id is INVALID_UUID.
void Gateway::MGT_GetServiceDiscoveryResult(yol::ServiceDiscoveryResult& _return,
                                            const std::string& sCorrelationId) {
  yol::ServiceDiscoveryResult result;
  auto lookup = lookups_.find(sCorrelationId);
  if (lookup == lookups_.end()) {
    yol::ServiceDiscoveryError error;
    error.__set_status(yol::ServiceDiscoveryErrorStatus::INVALID_UUID);
    result.__set_error(error);
  } else if (lookup->second.polls++ == 0) {
    result.__set_pending(true);
  } else if (!state_.merivault.connected) {
    yol::ServiceDiscoveryError error;
    error.__set_status(yol::ServiceDiscoveryErrorStatus::NOT_CONNECTED);
    result.__set_error(error);
  } else {
    auto service = state_.services.find(lookup->second.service);
    if (service == state_.services.end()) {
      yol::ServiceDiscoveryFailure failure;
      failure.__set_error_message("no service named '" + lookup->second.service + "'");
      result.__set_failure(failure);
    } else {
      yol::ServiceDiscoverySuccess success;
      std::vector<std::string> urls;
      for (const std::string& url : service->second) {
        urls.push_back(withVersion(url, lookup->second.version));
      }
      success.__set_urls(urls);
      result.__set_success(success);
    }
  }
  _return = std::move(result);
}

}  // namespace gatewaysim
