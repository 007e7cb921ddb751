#include "call_log.h"

#include <chrono>
#include <cstdio>
#include <string>

namespace gatewaysim {
namespace {

struct CallRecord {
  std::string name;
  std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();
  uint32_t in = 0;
  uint32_t out = 0;
  bool replied = false;
  bool failed = false;
};

CallRecord& record(void* ctx) { return *static_cast<CallRecord*>(ctx); }

}  // namespace

void* CallLog::getContext(const char* fn_name, void* /* serverContext */) {
  auto* call = new CallRecord;
  call->name = fn_name;
  return call;
}

void CallLog::postRead(void* ctx, const char* /* fn_name */, uint32_t bytes) {
  record(ctx).in = bytes;
}

void CallLog::postWrite(void* ctx, const char* /* fn_name */, uint32_t bytes) {
  record(ctx).out = bytes;
  record(ctx).replied = true;
}

void CallLog::handlerError(void* ctx, const char* /* fn_name */) { record(ctx).failed = true; }

void CallLog::freeContext(void* ctx, const char* /* fn_name */) {
  const CallRecord* call = static_cast<CallRecord*>(ctx);
  const double ms = std::chrono::duration<double, std::milli>(
                        std::chrono::steady_clock::now() - call->start)
                        .count();
  char duration[32];
  std::snprintf(duration, sizeof duration, "%.3fms", ms);
  const char* outcome = call->failed ? "handler error" : call->replied ? "ok" : "no reply";
  const std::string line = call->name + " in=" + std::to_string(call->in) +
                           "B out=" + std::to_string(call->out) + "B " + duration + " " +
                           outcome + "\n";
  delete call;
  std::lock_guard<std::mutex> lock(mutex_);
  out_ << line << std::flush;
}

}  // namespace gatewaysim
