// One gateway for all connections: each connection gets its own handler
// from GatewayHandlerFactory, and every handler makes its calls on the same
// Gateway under one lock, so calls from different connections see and
// change the same state, one at a time.
#ifndef THRIFTYOL_TOOLS_GATEWAY_SIM_SHARED_GATEWAY_H
#define THRIFTYOL_TOOLS_GATEWAY_SIM_SHARED_GATEWAY_H

#include <memory>
#include <mutex>
#include <utility>

#include <thriftyol/json/yol_calls.h>
#include <thriftyol/service/Yol.h>

#include "gateway.h"

namespace gatewaysim {

class SharedGateway {
 public:
  explicit SharedGateway(GatewayState state, Clock clock = std::chrono::system_clock::now)
      : gateway_(std::move(state), std::move(clock)) {}

  // Runs `action` on the gateway under the lock and returns its result.
  template <class Action>
  decltype(auto) with(Action&& action) {
    std::lock_guard<std::mutex> lock(mutex_);
    return action(gateway_);
  }

 private:
  std::mutex mutex_;
  Gateway gateway_;
};

// Makes each call on the shared gateway under its lock.
class LockedCalls {
 public:
  explicit LockedCalls(std::shared_ptr<SharedGateway> gateway) : gateway_(std::move(gateway)) {}

  template <class Call>
  typename Call::Result handle(const typename Call::Args& args) {
    return gateway_->with([&args](Gateway& gateway) { return Call::call(gateway, args); });
  }

 private:
  std::shared_ptr<SharedGateway> gateway_;
};

// The handler of one connection.
class ConnectionHandler : private LockedCalls, public yol::calls::ForwardingHandler<LockedCalls> {
 public:
  explicit ConnectionHandler(std::shared_ptr<SharedGateway> gateway)
      : LockedCalls(std::move(gateway)),
        ForwardingHandler<LockedCalls>(static_cast<LockedCalls&>(*this)) {}
};

class GatewayHandlerFactory : public yol::YolIfFactory {
 public:
  explicit GatewayHandlerFactory(std::shared_ptr<SharedGateway> gateway)
      : gateway_(std::move(gateway)) {}

  yol::YolIf* getHandler(const ::apache::thrift::TConnectionInfo& /* connInfo */) override {
    return new ConnectionHandler(gateway_);
  }

  void releaseHandler(yol::YolIf* handler) override { delete handler; }

 private:
  std::shared_ptr<SharedGateway> gateway_;
};

}  // namespace gatewaysim

#endif  // THRIFTYOL_TOOLS_GATEWAY_SIM_SHARED_GATEWAY_H
