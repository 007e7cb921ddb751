// The handler that the hostile-input tests serve: it answers the calls the
// tests make with values that show the call really arrived.
#ifndef THRIFTYOL_TESTS_HOSTILE_TEST_SERVICE_H
#define THRIFTYOL_TESTS_HOSTILE_TEST_SERVICE_H

#include <cstdint>
#include <string>

#include <thriftyol/service/Yol.h>

namespace hostile {

class AnsweringHandler : public yol::YolNull {
 public:
  int32_t status(int32_t id) override { return id + 1; }
  int32_t SetMerivaultName(const std::string& sName) override {
    return static_cast<int32_t>(sName.size());
  }
  int32_t FT_Acknowledge(const std::string&, yol::eFTAckType::type,
                         yol::eFTErrorType::type eError) override {
    return static_cast<int32_t>(eError);
  }
};

class HandlerFactory : public yol::YolIfFactory {
 public:
  yol::YolIf* getHandler(const ::apache::thrift::TConnectionInfo&) override {
    return new AnsweringHandler;
  }
  void releaseHandler(yol::YolIf* handler) override { delete handler; }
};

}  // namespace hostile

#endif  // THRIFTYOL_TESTS_HOSTILE_TEST_SERVICE_H
