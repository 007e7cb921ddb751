// File transfers: sessions that progress as they are polled (and, when the
// state asks for it, with time), that complete on acknowledgement and then
// go into the history.
#include <algorithm>
#include <stdexcept>
#include <utility>

#include "gateway.h"

namespace gatewaysim {

using yol::eFTStateType;

void Gateway::FT_GetRemoteFileList(std::vector<yol::stFileInfo>& _return) {
  _return = state_.remote_files;
}

const yol::stFileInfo* Gateway::findRemoteFile(const std::string& id) const {
  for (const yol::stFileInfo& file : state_.remote_files) {
    if (file.id == id) {
      return &file;
    }
  }
  return nullptr;
}

int32_t Gateway::startTransfer(yol::stSessionInfo session, yol::stFileInfo file) {
  for (const Transfer& transfer : transfers_) {
    if (transfer.session.fileID == session.fileID) {
      return kNotNow;
    }
  }
  if (transfers_.size() >= kMaxActiveTransfers) {
    return kNoRoom;
  }
  Transfer transfer;
  session.sessionID = "ft-" + std::to_string(next_id_++);
  session.__set_status(eFTStateType::QUEUED);
  transfer.session = std::move(session);
  transfer.file = std::move(file);
  transfer.started = clock_();
  transfers_.push_back(std::move(transfer));
  return kDone;
}

int32_t Gateway::FT_UploadFile(const yol::stFileInfo& sFile) {
  if (sFile.id.empty()) {
    return kUnknown;
  }
  yol::stSessionInfo session;
  session.__set_fileID(sFile.id);
  session.__set_direction(yol::eFTDirection::UPLOAD);
  session.__set_type(sFile.type);
  session.__set_name(sFile.name);
  return startTransfer(std::move(session), sFile);
}

// Only files that the remote side offers can be downloaded.
int32_t Gateway::FT_DownloadFile(const yol::stDownloadFileInfo& sFile) {
  const yol::stFileInfo* remote = findRemoteFile(sFile.id);
  if (remote == nullptr) {
    return kUnknown;
  }
  yol::stSessionInfo session;
  session.__set_fileID(sFile.id);
  session.__set_direction(yol::eFTDirection::DOWNLOAD);
  session.__set_type(sFile.__isset.type ? sFile.type : remote->type);
  session.__set_name(sFile.__isset.name ? sFile.name : remote->name);
  return startTransfer(std::move(session), *remote);
}

// A copy is a new remote file with the same content under a new id.
void Gateway::FT_CopyFile(yol::stFileInfo& _return, const std::string& sFileID) {
  const yol::stFileInfo* original = findRemoteFile(sFileID);
  if (original == nullptr) {
    throw std::invalid_argument("no remote file with id '" + sFileID + "'");
  }
  if (state_.remote_files.size() >= kMaxRemoteFiles) {
    throw std::runtime_error("the remote file store is full");
  }
  yol::stFileInfo copy = *original;
  copy.id = sFileID + "-copy-" + std::to_string(next_id_++);
  copy.__set_persistID(false);
  state_.remote_files.push_back(copy);
  _return = std::move(copy);
}

int32_t Gateway::transferPercent(const Transfer& transfer) const {
  const auto seconds =
      std::chrono::duration_cast<std::chrono::seconds>(clock_() - transfer.started).count();
  const int64_t percent =
      int64_t{transfer.polls} * state_.simulation.transfer_percent_per_poll +
      static_cast<int64_t>(seconds) * state_.simulation.transfer_percent_per_second;
  return static_cast<int32_t>(std::clamp<int64_t>(percent, 0, 100));
}

// QUEUED until first polled, STARTING while nothing has moved, ON_GOING,
// then COMPLETED at 100 per cent (until acknowledged).
int32_t Gateway::transferState(const Transfer& transfer) const {
  const int32_t percent = transferPercent(transfer);
  if (percent >= 100) {
    return eFTStateType::COMPLETED;
  }
  if (percent > 0) {
    return eFTStateType::ON_GOING;
  }
  return transfer.polls == 0 ? eFTStateType::QUEUED : eFTStateType::STARTING;
}

void Gateway::finishTransfer(std::size_t at, int32_t status, int32_t error) {
  Transfer& transfer = transfers_[at];
  FinishedTransfer finished;
  int32_t index = 0;
  for (const FinishedTransfer& earlier : finished_) {
    index = std::max(index, earlier.entry.index + 1);
  }
  finished.entry.index = index;
  finished.entry.__set_id(transfer.session.fileID);
  finished.entry.__set_name(transfer.session.name);
  finished.entry.__set_direction(transfer.session.direction);
  finished.entry.__set_type(transfer.session.type);
  finished.entry.__set_status(status);
  finished.entry.__set_date(dateNow());
  finished.session_id = transfer.session.sessionID;
  finished.error = error;
  finished.percent = transferPercent(transfer);
  finished_.push_back(std::move(finished));
  if (finished_.size() > kMaxHistory) {
    finished_.erase(finished_.begin());
  }
  transfers_.erase(transfers_.begin() + static_cast<std::ptrdiff_t>(at));
}

// COMPLETE needs a transfer at 100 per cent: it is validated, and an upload
// becomes a remote file. CANCEL ends it as cancelled at any point; ERROR as
// failed on the field computer, with the error given.
int32_t Gateway::acknowledge(const std::string& fileId, yol::eFTAckType::type type,
                             yol::eFTErrorType::type error) {
  auto transfer = std::find_if(transfers_.begin(), transfers_.end(), [&](const Transfer& t) {
    return t.session.fileID == fileId;
  });
  if (transfer == transfers_.end()) {
    return kUnknown;
  }
  const std::size_t at = static_cast<std::size_t>(transfer - transfers_.begin());
  switch (type) {
    case yol::eFTAckType::COMPLETE:
      if (transferState(*transfer) != eFTStateType::COMPLETED) {
        return kNotNow;
      }
      if (transfer->session.direction == yol::eFTDirection::UPLOAD &&
          findRemoteFile(fileId) == nullptr && state_.remote_files.size() < kMaxRemoteFiles) {
        state_.remote_files.push_back(transfer->file);
      }
      finishTransfer(at, eFTStateType::VALIDATED, yol::eFTErrorType::NONE);
      return kDone;
    case yol::eFTAckType::CANCEL:
      finishTransfer(at, eFTStateType::CANCELLED, yol::eFTErrorType::NONE);
      return kDone;
    case yol::eFTAckType::ERROR:
      finishTransfer(at, eFTStateType::FAILED_ON_FC, error);
      return kDone;
  }
  return kUnknown;
}

int32_t Gateway::FT_Ack(const std::string& sFileID, yol::eFTAckType::type eType) {
  return acknowledge(sFileID, eType, yol::eFTErrorType::UNKNOWN);
}

int32_t Gateway::FT_Acknowledge(const std::string& sFileID, yol::eFTAckType::type eType,
                                yol::eFTErrorType::type eError) {
  return acknowledge(sFileID, eType, eError);
}

// Reports the transfer, then moves it on by one poll. A finished transfer
// reports its last entry in the history.
void Gateway::FT_GetStatus(yol::stFileTransferStatus& _return, const std::string& sFileID) {
  yol::stFileTransferStatus status;
  status.fileUuid = sFileID;
  for (Transfer& transfer : transfers_) {
    if (transfer.session.fileID == sFileID) {
      status.__set_status(transferState(transfer));
      status.__set_error(yol::eFTErrorType::NONE);
      status.__set_percentTransfered(transferPercent(transfer));
      status.__set_sessionId(transfer.session.sessionID);
      ++transfer.polls;
      _return = std::move(status);
      return;
    }
  }
  for (auto finished = finished_.rbegin(); finished != finished_.rend(); ++finished) {
    if (finished->entry.id == sFileID) {
      status.__set_status(finished->entry.status);
      status.__set_error(finished->error);
      status.__set_percentTransfered(finished->percent);
      if (!finished->session_id.empty()) {
        status.__set_sessionId(finished->session_id);
      }
      _return = std::move(status);
      return;
    }
  }
  throw std::invalid_argument("no transfer of file '" + sFileID + "'");
}

void Gateway::FT_GetActiveSessions(std::vector<yol::stSessionInfo>& _return) {
  _return.clear();
  for (const Transfer& transfer : transfers_) {
    _return.push_back(transfer.session);
    _return.back().__set_status(transferState(transfer));
  }
}

// Dates are compared as ISO 8601 texts; an empty bound leaves that side
// open. Both bounds are inclusive.
void Gateway::FT_GetHistoryTime(std::vector<yol::stFileHistory>& _return,
                                const std::string& sStartDate, const std::string& sEndDate) {
  _return.clear();
  for (const FinishedTransfer& finished : finished_) {
    const std::string& date = finished.entry.date;
    if ((sStartDate.empty() || date >= sStartDate) && (sEndDate.empty() || date <= sEndDate)) {
      _return.push_back(finished.entry);
    }
  }
}

// Indexes from sStartIndex to sEndIndex, both inclusive; a negative end
// leaves the end open.
void Gateway::FT_GetHistoryIndex(std::vector<yol::stFileHistory>& _return, int32_t sStartIndex,
                                 int32_t sEndIndex) {
  _return.clear();
  for (const FinishedTransfer& finished : finished_) {
    const int32_t index = finished.entry.index;
    if (index >= sStartIndex && (sEndIndex < 0 || index <= sEndIndex)) {
      _return.push_back(finished.entry);
    }
  }
}

}  // namespace gatewaysim
