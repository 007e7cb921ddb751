// A handler factory that hands each connection a new RecordingHandler and
// keeps, in order, every handler it handed out and every one it got back.
// The handlers live as long as the factory, so that what they received can
// be read after their connection has gone.
#ifndef THRIFTYOL_TESTS_SERVICE_COUNTING_FACTORY_H
#define THRIFTYOL_TESTS_SERVICE_COUNTING_FACTORY_H

#include <memory>
#include <mutex>
#include <vector>

#include <thriftyol/service/Yol.h>

#include "contract_calls.h"

namespace yol {
namespace service_test {

class CountingFactory : public YolIfFactory {
 public:
  YolIf* getHandler(const ::apache::thrift::TConnectionInfo&) override {
    std::lock_guard<std::mutex> lock(mutex_);
    handlers_.push_back(std::make_unique<RecordingHandler>());
    return handlers_.back().get();
  }

  void releaseHandler(YolIf* handler) override {
    std::lock_guard<std::mutex> lock(mutex_);
    released_.push_back(handler);
  }

  std::vector<RecordingHandler*> handed() const {
    std::lock_guard<std::mutex> lock(mutex_);
    std::vector<RecordingHandler*> handed;
    for (const auto& handler : handlers_) {
      handed.push_back(handler.get());
    }
    return handed;
  }

  std::vector<YolIf*> released() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return released_;
  }

 private:
  mutable std::mutex mutex_;
  std::vector<std::unique_ptr<RecordingHandler>> handlers_;
  std::vector<YolIf*> released_;
};

}  // namespace service_test
}  // namespace yol

#endif  // THRIFTYOL_TESTS_SERVICE_COUNTING_FACTORY_H
