// Servers on loopback ports for yolctl's tests: a real Yol server around a
// handler that records what arrives, a server that answers every call with
// an empty result, a listener that never answers, and a port with nothing
// behind it.
#ifndef THRIFTYOL_TOOLS_YOLCTL_TESTS_TEST_SERVERS_H
#define THRIFTYOL_TOOLS_YOLCTL_TESTS_TEST_SERVERS_H

#include <any>
#include <memory>
#include <mutex>
#include <sstream>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <thrift/TProcessor.h>

#include <thriftyol/json/yol_calls.h>
#include <thriftyol/testing/yol_samples.h>

#include "loopback_server.h"

namespace yolctl {
namespace testing {

// The seed of the results that RecordingSink answers with.
constexpr int kResultSeed = 500;

// Takes every call of a ForwardingHandler: notes its name and arguments and
// answers with the sample result of seed kResultSeed, or with the result
// given to replyWith(), or throws for the one call named by failOn().
class RecordingSink {
 public:
  template <class C>
  typename C::Result handle(const typename C::Args& args) {
    std::lock_guard<std::mutex> lock(mutex_);
    calls_.push_back(C::name);
    last_args_ = args;
    if (failing_ == C::name) {
      throw std::runtime_error("the modem is switched off");
    }
    if constexpr (!std::is_void_v<typename C::Result>) {
      if (reply_call_ == C::name) {
        return std::any_cast<typename C::Result>(reply_);
      }
      return yol::testing::sample<typename C::Result>(kResultSeed);
    }
  }

  void failOn(const std::string& call) {
    std::lock_guard<std::mutex> lock(mutex_);
    failing_ = call;
  }

  template <class C>
  void replyWith(typename C::Result result) {
    std::lock_guard<std::mutex> lock(mutex_);
    reply_call_ = C::name;
    reply_ = std::move(result);
  }

  std::vector<std::string> calls() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return calls_;
  }

  // The arguments of the last call, which must have been a C.
  template <class C>
  typename C::Args lastArgs() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return std::any_cast<typename C::Args>(last_args_);
  }

 private:
  mutable std::mutex mutex_;
  std::vector<std::string> calls_;
  std::any last_args_;
  std::string failing_;
  std::string reply_call_;
  std::any reply_;
};

// A threaded server on 127.0.0.1 with the safe limits and the given
// protocol ("binary", "compact" or "json") and transport ("buffered" or
// "framed"), serving on a thread of its own until destroyed.
class TargetServer {
 public:
  TargetServer(std::shared_ptr<::apache::thrift::TProcessorFactory> processors,
               std::string protocol, std::string transport);

  int port() const { return server_.port(); }
  const std::string& protocol() const { return protocol_; }
  const std::string& transport() const { return transport_; }
  // The options that point yolctl at this server.
  std::vector<std::string> options() const;

 private:
  std::string protocol_;
  std::string transport_;
  ::yol::testing::LoopbackServer server_;
};

// A Yol server whose handler hands every call to `sink`.
std::unique_ptr<TargetServer> recordingServer(RecordingSink& sink,
                                              const std::string& protocol = "binary",
                                              const std::string& transport = "buffered");

// A binary, buffered server that reads each call and replies with an empty
// result structure, whatever the call.
std::unique_ptr<TargetServer> emptyReplyServer();

// A socket that listens on 127.0.0.1 and never accepts: connections are
// made, requests are sent, and no reply ever comes.
class SilentListener {
 public:
  SilentListener();
  ~SilentListener();

  SilentListener(const SilentListener&) = delete;
  SilentListener& operator=(const SilentListener&) = delete;

  int port() const { return port_; }

 private:
  int fd_ = -1;
  int port_ = 0;
};

// A loopback port on which nothing listens.
int closedPort();

// One yolctl run, in-process.
struct RunResult {
  int code;
  std::string out;
  std::string err;
};

RunResult runYolctl(const std::vector<std::string>& args);

}  // namespace testing
}  // namespace yolctl

#endif  // THRIFTYOL_TOOLS_YOLCTL_TESTS_TEST_SERVERS_H
