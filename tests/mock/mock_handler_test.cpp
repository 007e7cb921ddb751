// The GoogleMock handler (thriftyol/testing/MockYolIf.h) mocks every call of
// YolIf (else StrictMock<MockYolIf> is abstract and this does not compile) and
// answers as its header says: values through Return, others through _return.
#include <thriftyol/service/Yol.h>
#include <thriftyol/testing/MockYolIf.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace {

using ::testing::_;
using ::testing::Return;
using ::testing::SetArgReferee;

TEST(MockHandler, AnswersThroughReturnAndTheFirstArgument) {
  ::testing::StrictMock<yol::MockYolIf> mock;
  yol::YolIf& handler = mock;
  EXPECT_CALL(mock, status(7)).WillOnce(Return(3));
  EXPECT_CALL(mock, OTA_GetUpdateInfo(_, "2.4.1")).WillOnce(SetArgReferee<0>(std::string("fixes RTK")));

  EXPECT_EQ(handler.status(7), 3);
  std::string notes;
  handler.OTA_GetUpdateInfo(notes, "2.4.1");
  EXPECT_EQ(notes, "fixes RTK");
}

}  // namespace
