// One log line per call, from the processor's event hooks:
//   Yol.FT_GetStatus in=41B out=74B 0.093ms ok
// with the bytes of the request and of the reply as the transports count
// them, the time from the start of reading to the end of the call, and the
// outcome: "ok", "handler error" (the reply is an exception) or "no reply"
// (the request could not be read or the reply not written).
#ifndef THRIFTYOL_TOOLS_GATEWAY_SIM_CALL_LOG_H
#define THRIFTYOL_TOOLS_GATEWAY_SIM_CALL_LOG_H

#include <cstdint>
#include <memory>
#include <mutex>
#include <ostream>
#include <utility>

#include <thrift/TProcessor.h>

namespace gatewaysim {

class CallLog : public ::apache::thrift::TProcessorEventHandler {
 public:
  // Lines go to `out`, which must outlive the log.
  explicit CallLog(std::ostream& out) : out_(out) {}

  void* getContext(const char* fn_name, void* serverContext) override;
  void freeContext(void* ctx, const char* fn_name) override;
  void postRead(void* ctx, const char* fn_name, uint32_t bytes) override;
  void postWrite(void* ctx, const char* fn_name, uint32_t bytes) override;
  void handlerError(void* ctx, const char* fn_name) override;

 private:
  std::ostream& out_;
  std::mutex mutex_;  // one line at a time from the connections' threads
};

// Sets an event handler on every processor that another factory makes.
class EventHandlerFactory : public ::apache::thrift::TProcessorFactory {
 public:
  EventHandlerFactory(std::shared_ptr<::apache::thrift::TProcessorFactory> processors,
                      std::shared_ptr<::apache::thrift::TProcessorEventHandler> handler)
      : processors_(std::move(processors)), handler_(std::move(handler)) {}

  std::shared_ptr<::apache::thrift::TProcessor> getProcessor(
      const ::apache::thrift::TConnectionInfo& connInfo) override {
    auto processor = processors_->getProcessor(connInfo);
    processor->setEventHandler(handler_);
    return processor;
  }

 private:
  std::shared_ptr<::apache::thrift::TProcessorFactory> processors_;
  std::shared_ptr<::apache::thrift::TProcessorEventHandler> handler_;
};

}  // namespace gatewaysim

#endif  // THRIFTYOL_TOOLS_GATEWAY_SIM_CALL_LOG_H
