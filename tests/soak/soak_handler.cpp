#include "soak_handler.h"

#include <algorithm>
#include <memory>
#include <stdexcept>

#include <thrift/protocol/TBinaryProtocol.h>
#include <thrift/transport/TBufferTransports.h>

#include <thriftyol/testing/yol_samples.h>

namespace yol {
namespace soak {

namespace {

using ::apache::thrift::protocol::TBinaryProtocol;
using ::apache::thrift::transport::TMemoryBuffer;

// A sample seed for this tag and call count: the same on both ends.
int seed_of(const std::string& tag, int32_t served) {
  return static_cast<int>(fnv1a(tag) % 1000) * 10000 + served % 10000;
}

// The bytes that a writer produces through the binary protocol.
template <class Write>
int32_t digest_of(Write&& write) {
  auto buffer = std::make_shared<TMemoryBuffer>();
  TBinaryProtocol protocol(buffer);
  write(protocol);
  return static_cast<int32_t>(fnv1a(buffer->getBufferAsString()));
}

template <class Record>
int32_t digest_list(const std::vector<Record>& list, const std::string& prefix) {
  return digest_of([&](TBinaryProtocol& protocol) {
    protocol.writeString(prefix);
    protocol.writeI32(static_cast<int32_t>(list.size()));
    for (const Record& element : list) {
      element.write(&protocol);
    }
  });
}

}  // namespace

uint32_t fnv1a(const std::string& bytes) {
  uint32_t hash = 2166136261u;
  for (const char byte : bytes) {
    hash = (hash ^ static_cast<uint8_t>(byte)) * 16777619u;
  }
  return hash;
}

int32_t digest(const stGPSInfo& value) {
  return digest_of([&](TBinaryProtocol& protocol) { value.write(&protocol); });
}

int32_t digest(const stJobCreateExt& value) {
  return digest_of([&](TBinaryProtocol& protocol) { value.write(&protocol); });
}

int32_t digest(const std::vector<stRTKInfo>& list) { return digest_list(list, ""); }

int32_t digest(const std::string& sInterface, const std::vector<stPeerDevice>& list) {
  return digest_list(list, sInterface);
}

namespace answer {

int32_t status(int32_t id, int32_t served) {
  return static_cast<int32_t>(static_cast<uint32_t>(id) * 7u + static_cast<uint32_t>(served));
}

bool wan_status(const std::string& tag, int32_t served) {
  return (fnv1a(tag) + static_cast<uint32_t>(served)) % 3 == 0;
}

std::string modem_id(const std::string& tag, int32_t served) {
  return tag + "#" + std::to_string(served);
}

stCellularInfo modem_info(const std::string& tag, int32_t served) {
  return testing::sample<stCellularInfo>(seed_of(tag, served));
}

std::vector<std::string> interfaces(const std::string& tag, int32_t served) {
  std::vector<std::string> names;
  for (int32_t i = 0; i < served % 4; ++i) {
    names.push_back(tag + ":if" + std::to_string(i));
  }
  return names;
}

std::vector<stFileHistory> history(int32_t start, int32_t end) {
  std::vector<stFileHistory> entries;
  const int64_t count = std::clamp<int64_t>(int64_t{end} - int64_t{start} + 1, 0, 8);
  for (int64_t i = 0; i < count; ++i) {
    const auto index = static_cast<int32_t>(start + i);
    auto entry = testing::sample<stFileHistory>(index % 100000);
    entry.__set_index(index);
    entries.push_back(std::move(entry));
  }
  return entries;
}

stFileInfo copied_file(const std::string& file_id) {
  auto file = testing::sample<stFileInfo>(static_cast<int>(fnv1a(file_id) % 100000));
  file.__set_id(file_id);
  return file;
}

bool join_fails(int32_t served) { return served % 5 == 0; }

std::string join_failure(const std::string& guid) { return "busy: " + guid; }

int32_t joined(int32_t served) { return served * 3; }

}  // namespace answer

CountingHandlerFactory::~CountingHandlerFactory() {
  // Whatever a broken server never gave back; the counts have been read.
  for (YolIf* handler : out_) {
    delete handler;
  }
}

YolIf* CountingHandlerFactory::getHandler(const ::apache::thrift::TConnectionInfo&) {
  auto handler = std::make_unique<SoakHandler>(*this);
  std::lock_guard<std::mutex> lock(mutex_);
  out_.insert(handler.get());
  ++got_;
  return handler.release();
}

void CountingHandlerFactory::releaseHandler(YolIf* handler) {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (out_.erase(handler) == 0) {
      // Released twice, or never handed out: do not touch it.
      ++foreign_;
      return;
    }
    ++released_;
  }
  delete handler;
}

HandlerCounts CountingHandlerFactory::counts() const {
  std::lock_guard<std::mutex> lock(mutex_);
  HandlerCounts counts;
  counts.got = got_;
  counts.released = released_;
  counts.foreign = foreign_;
  counts.outstanding = static_cast<long>(out_.size());
  counts.overlapping = overlapping_.load();
  return counts;
}

SoakHandler::Visit::Visit(SoakHandler& handler) : handler_(handler) {
  if (handler_.inside_.fetch_add(1) != 0) {
    handler_.factory_.note_overlap();
  }
  served_ = ++handler_.served_;
}

SoakHandler::Visit::~Visit() { handler_.inside_.fetch_sub(1); }

int32_t SoakHandler::SetMerivaultName(const std::string& sName) {
  const Visit visit(*this);
  tag_ = sName;
  return visit.served();
}

void SoakHandler::ping() { const Visit visit(*this); }

int32_t SoakHandler::status(int32_t id) {
  const Visit visit(*this);
  return answer::status(id, visit.served());
}

bool SoakHandler::getWanStatus() {
  const Visit visit(*this);
  return answer::wan_status(tag_, visit.served());
}

void SoakHandler::getModemId(std::string& _return) {
  const Visit visit(*this);
  _return = answer::modem_id(tag_, visit.served());
}

void SoakHandler::GetModemInfo(stCellularInfo& _return) {
  const Visit visit(*this);
  _return = answer::modem_info(tag_, visit.served());
}

void SoakHandler::SYS_GetInterfaceList(std::vector<std::string>& _return) {
  const Visit visit(*this);
  _return = answer::interfaces(tag_, visit.served());
}

void SoakHandler::FT_GetHistoryIndex(std::vector<stFileHistory>& _return, int32_t sStartIndex,
                                     int32_t sEndIndex) {
  const Visit visit(*this);
  _return = answer::history(sStartIndex, sEndIndex);
}

int32_t SoakHandler::SetGPSInfo(const stGPSInfo& sInfo) {
  const Visit visit(*this);
  gps_ = sInfo;
  return digest(sInfo);
}

void SoakHandler::GetGPSInfo(stGPSInfo& _return) {
  const Visit visit(*this);
  _return = gps_;
}

int32_t SoakHandler::TEL_SendRTK(const std::vector<stRTKInfo>& stRTK) {
  const Visit visit(*this);
  return digest(stRTK);
}

int32_t SoakHandler::JOB_CreateExt(const stJobCreateExt& sJob) {
  const Visit visit(*this);
  return digest(sJob);
}

int32_t SoakHandler::SYS_SetPeerList(const std::string& sInterface,
                                     const std::vector<stPeerDevice>& stDevices) {
  const Visit visit(*this);
  return digest(sInterface, stDevices);
}

void SoakHandler::FT_CopyFile(stFileInfo& _return, const std::string& sFileID) {
  const Visit visit(*this);
  _return = answer::copied_file(sFileID);
}

int32_t SoakHandler::JOB_Join(const std::string& sGUID) {
  const Visit visit(*this);
  if (answer::join_fails(visit.served())) {
    throw std::runtime_error(answer::join_failure(sGUID));
  }
  return answer::joined(visit.served());
}

}  // namespace soak
}  // namespace yol
