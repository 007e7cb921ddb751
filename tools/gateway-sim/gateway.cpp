// The gateway's construction, the core calls and telematics.
#include "gateway.h"

#include <ctime>
#include <utility>

#include <nlohmann/json.hpp>
#include <thrift/TToString.h>

namespace gatewaysim {
namespace {

// Text of a list in the records' one-line form: [a, b].
template <class T>
std::string listText(const std::vector<T>& list) {
  return ::apache::thrift::to_string(list);
}

}  // namespace

Gateway::Gateway(GatewayState state, Clock clock)
    : state_(std::move(state)), clock_(std::move(clock)) {
  started_ = clock_();
  last_telematics_ = started_;
  for (yol::stFileHistory& entry : state_.transfer_history) {
    FinishedTransfer finished;
    const bool done = entry.status == yol::eFTStateType::COMPLETED ||
                      entry.status == yol::eFTStateType::VALIDATED;
    finished.percent = done ? 100 : 0;
    finished.entry = std::move(entry);
    finished_.push_back(std::move(finished));
  }
  state_.transfer_history.clear();
  for (yol::stJobInfo& info : state_.jobs) {
    Job job;
    auto resources = state_.job_resources.find(info.sGUID);
    if (resources != state_.job_resources.end()) {
      job.resources = resources->second;
    }
    job.info = std::move(info);
    jobs_.push_back(std::move(job));
  }
  state_.jobs.clear();
  state_.job_resources.clear();
}

std::string Gateway::dateNow() const {
  const std::time_t now = std::chrono::system_clock::to_time_t(clock_());
  std::tm utc{};
  gmtime_r(&now, &utc);
  char text[32];
  std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &utc);
  return text;
}

void Gateway::ping() {}

// The feature with number `id`: 1 when it is on, 0 when it is off, -1 when
// the gateway does not list it.
int32_t Gateway::status(int32_t id) {
  for (const yol::stFeatures& feature : state_.features) {
    if (static_cast<int32_t>(feature.feature) == id) {
      return feature.enabled ? 1 : 0;
    }
  }
  return kUnknown;
}

int32_t Gateway::keepTelematics(const char* call, const std::string& text) {
  TelematicsMessage message;
  message.sequence = ++telematics_total_;
  message.call = call;
  message.text = text.size() > kTelematicsTextLimit ? text.substr(0, kTelematicsTextLimit) : text;
  telematics_bytes_ += text.size();
  last_telematics_ = clock_();
  ++telematics_counts_[call];
  telematics_.push_back(std::move(message));
  while (telematics_.size() > static_cast<std::size_t>(state_.simulation.telematics_kept)) {
    telematics_.pop_front();
  }
  return kDone;
}

uint64_t Gateway::telematicsCount(const std::string& call) const {
  auto count = telematics_counts_.find(call);
  return count == telematics_counts_.end() ? 0 : count->second;
}

// A message of key/value entries needs one type and one value per key.
int32_t Gateway::keepEntries(const char* call, const std::string& head,
                             const std::vector<yol::eDataType::type>& eType,
                             const std::vector<std::string>& sKey,
                             const std::vector<std::string>& sValue) {
  if (eType.size() != sKey.size() || sKey.size() != sValue.size()) {
    return kUnknown;
  }
  return keepTelematics(call, head + ", eType=" + listText(eType) + ", sKey=" + listText(sKey) +
                                  ", sValue=" + listText(sValue));
}

int32_t Gateway::SendMsg(yol::eCategory::type Cat, yol::eTelematics::type Tel,
                         const std::vector<yol::eDataType::type>& eType,
                         const std::vector<std::string>& sKey,
                         const std::vector<std::string>& sValue) {
  return keepEntries("SendMsg", "Cat=" + std::to_string(Cat) + ", Tel=" + std::to_string(Tel),
                     eType, sKey, sValue);
}

int32_t Gateway::SendMsgRaw(yol::eCategory::type Cat, int32_t SubCat,
                            const std::vector<yol::eDataType::type>& eType,
                            const std::vector<std::string>& sKey,
                            const std::vector<std::string>& sValue) {
  return keepEntries("SendMsgRaw",
                     "Cat=" + std::to_string(Cat) + ", SubCat=" + std::to_string(SubCat), eType,
                     sKey, sValue);
}

int32_t Gateway::TEL_SendDTC(const std::string& sInterface, const std::string& sID,
                             const std::vector<yol::stDTC>& stDTCs) {
  return keepTelematics("TEL_SendDTC", "sInterface=" + sInterface + ", sID=" + sID +
                                           ", stDTCs=" + listText(stDTCs));
}

int32_t Gateway::TEL_SendCAN(const std::string& sFilter,
                             const std::vector<yol::stCANDevice>& stDevices) {
  return keepTelematics("TEL_SendCAN",
                        "sFilter=" + sFilter + ", stDevices=" + listText(stDevices));
}

int32_t Gateway::TEL_SendGPS(const yol::stGPSInfo& sGPSData) {
  return keepTelematics("TEL_SendGPS", ::apache::thrift::to_string(sGPSData));
}

int32_t Gateway::TEL_SendRTK(const std::vector<yol::stRTKInfo>& stRTK) {
  return keepTelematics("TEL_SendRTK", listText(stRTK));
}

int32_t Gateway::TEL_SendMDM(const yol::stModemInfo& sModemInfo) {
  return keepTelematics("TEL_SendMDM", ::apache::thrift::to_string(sModemInfo));
}

int32_t Gateway::TEL_SendGeneric(const std::string& sType,
                                 const std::vector<yol::eDataType::type>& eType,
                                 const std::vector<std::string>& sKey,
                                 const std::vector<std::string>& sValue) {
  return keepEntries("TEL_SendGeneric", "sType=" + sType, eType, sKey, sValue);
}

// The payload must be JSON; the gateway would not forward anything else.
int32_t Gateway::TEL_SendGenericJSON(const std::string& sType, const std::string& sPayload) {
  if (!nlohmann::json::accept(sPayload)) {
    return kUnknown;
  }
  return keepTelematics("TEL_SendGenericJSON", "sType=" + sType + ", sPayload=" + sPayload);
}

}  // namespace gatewaysim
