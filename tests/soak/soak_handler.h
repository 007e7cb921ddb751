// The serving side of the soak test.
//
// Every answer of `SoakHandler` is a pure function of the call's arguments,
// of the tag that the connection's client announced first (through
// SetMerivaultName) and of the number of calls its connection has made so
// far, this one included. The functions in `answer` compute those replies;
// the handler and the checking clients both use them, so what is tested is
// that every value crosses the wire and the dispatch intact, in order, to the
// right connection's handler.
#ifndef THRIFTYOL_TESTS_SOAK_SOAK_HANDLER_H
#define THRIFTYOL_TESTS_SOAK_SOAK_HANDLER_H

#include <atomic>
#include <cstdint>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include <thriftyol/service/Yol.h>

namespace yol {
namespace soak {

// FNV-1a over bytes, for tags and for encoded values.
uint32_t fnv1a(const std::string& bytes);

// A check value of what a record (or a list of records) encodes to with the
// binary protocol: equal on both ends exactly when the value arrived intact.
int32_t digest(const stGPSInfo& value);
int32_t digest(const stJobCreateExt& value);
int32_t digest(const std::vector<stRTKInfo>& list);
int32_t digest(const std::string& sInterface, const std::vector<stPeerDevice>& list);

// The replies, as functions of what the handler knows. `served` counts the
// calls of the connection, this one included; `tag` is the client's name.
namespace answer {
int32_t status(int32_t id, int32_t served);
bool wan_status(const std::string& tag, int32_t served);
std::string modem_id(const std::string& tag, int32_t served);
stCellularInfo modem_info(const std::string& tag, int32_t served);
std::vector<std::string> interfaces(const std::string& tag, int32_t served);
// At most eight entries, whatever the bounds, so that odd arguments from a
// hostile peer cannot make the handler loop for long.
std::vector<stFileHistory> history(int32_t start, int32_t end);
stFileInfo copied_file(const std::string& file_id);
// JOB_Join fails on every fifth call of a connection with this text.
bool join_fails(int32_t served);
std::string join_failure(const std::string& guid);
int32_t joined(int32_t served);
}  // namespace answer

// Figures of the handler factory once everything is over.
struct HandlerCounts {
  long got = 0;             // handlers handed out by getHandler
  long released = 0;        // handlers taken back by releaseHandler
  long foreign = 0;         // releases of a pointer not out (twice or never given)
  long outstanding = 0;     // handlers given and not yet released
  long overlapping = 0;     // calls that entered a handler already busy
};

class SoakHandler;

// Hands out one new SoakHandler per connection and checks every release
// against the handlers it gave.
class CountingHandlerFactory : public YolIfFactory {
 public:
  CountingHandlerFactory() = default;
  ~CountingHandlerFactory() override;

  YolIf* getHandler(const ::apache::thrift::TConnectionInfo& connInfo) override;
  void releaseHandler(YolIf* handler) override;

  HandlerCounts counts() const;
  // Called by a handler when a call enters while another is still inside.
  void note_overlap() { overlapping_.fetch_add(1); }

 private:
  mutable std::mutex mutex_;
  std::set<YolIf*> out_;
  long got_ = 0;
  long released_ = 0;
  long foreign_ = 0;
  std::atomic<long> overlapping_{0};
};

// The handler of one connection. Calls it does not answer fall back to
// YolNull (they are reached only by hostile peers).
class SoakHandler : public YolNull {
 public:
  explicit SoakHandler(CountingHandlerFactory& factory) : factory_(factory) {}

  int32_t SetMerivaultName(const std::string& sName) override;
  void ping() override;
  int32_t status(int32_t id) override;
  bool getWanStatus() override;
  void getModemId(std::string& _return) override;
  void GetModemInfo(stCellularInfo& _return) override;
  void SYS_GetInterfaceList(std::vector<std::string>& _return) override;
  void FT_GetHistoryIndex(std::vector<stFileHistory>& _return, int32_t sStartIndex,
                          int32_t sEndIndex) override;
  int32_t SetGPSInfo(const stGPSInfo& sInfo) override;
  void GetGPSInfo(stGPSInfo& _return) override;
  int32_t TEL_SendRTK(const std::vector<stRTKInfo>& stRTK) override;
  int32_t JOB_CreateExt(const stJobCreateExt& sJob) override;
  int32_t SYS_SetPeerList(const std::string& sInterface,
                          const std::vector<stPeerDevice>& stDevices) override;
  void FT_CopyFile(stFileInfo& _return, const std::string& sFileID) override;
  int32_t JOB_Join(const std::string& sGUID) override;

 private:
  // Counts one call for as long as it runs; notes a call that finds another
  // one still inside (one connection's calls must never overlap).
  class Visit {
   public:
    explicit Visit(SoakHandler& handler);
    ~Visit();
    Visit(const Visit&) = delete;
    Visit& operator=(const Visit&) = delete;
    int32_t served() const { return served_; }

   private:
    SoakHandler& handler_;
    int32_t served_;
  };

  CountingHandlerFactory& factory_;
  std::atomic<int> inside_{0};
  int32_t served_ = 0;
  std::string tag_;
  stGPSInfo gps_;
};

}  // namespace soak
}  // namespace yol

#endif  // THRIFTYOL_TESTS_SOAK_SOAK_HANDLER_H
