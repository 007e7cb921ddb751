// How an application tests its use of the service with the GoogleMock
// handler: a YolClient talks to a YolProcessor that holds a MockYolIf, both
// in memory, and each test says what the handler expects and answers.
#include <thriftyol/service/Yol.h>
#include <thriftyol/testing/MockYolIf.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thrift/TApplicationException.h>
#include <thrift/protocol/TBinaryProtocol.h>
#include <thrift/transport/TBufferTransports.h>
#include <thrift/transport/TVirtualTransport.h>

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using ::apache::thrift::TApplicationException;
using ::apache::thrift::TProcessor;
using ::apache::thrift::protocol::TBinaryProtocol;
using ::apache::thrift::transport::TMemoryBuffer;
using ::apache::thrift::transport::TVirtualTransport;
using ::testing::_;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::Field;
using ::testing::Return;
using ::testing::SetArgReferee;
using ::testing::StrictMock;
using ::testing::Throw;

// The client's transport, with the processor at its far end: each request
// the client flushes is served at once, and its reply is what the client
// reads next.
class InMemoryLink : public TVirtualTransport<InMemoryLink> {
 public:
  explicit InMemoryLink(std::shared_ptr<TProcessor> processor)
      : processor_(std::move(processor)) {}

  bool isOpen() const override { return true; }
  void write(const uint8_t* buf, uint32_t len) { requests_->write(buf, len); }
  uint32_t read(uint8_t* buf, uint32_t len) { return replies_->read(buf, len); }
  void flush() override {
    auto in = std::make_shared<TBinaryProtocol>(requests_);
    auto out = std::make_shared<TBinaryProtocol>(replies_);
    processor_->process(in, out, nullptr);
  }

 private:
  std::shared_ptr<TProcessor> processor_;
  std::shared_ptr<TMemoryBuffer> requests_ = std::make_shared<TMemoryBuffer>();
  std::shared_ptr<TMemoryBuffer> replies_ = std::make_shared<TMemoryBuffer>();
};

class MockHandlerTest : public ::testing::Test {
 protected:
  // StrictMock: a call that a test did not expect fails that test.
  std::shared_ptr<StrictMock<yol::MockYolIf>> handler =
      std::make_shared<StrictMock<yol::MockYolIf>>();
  yol::YolClient client{std::make_shared<TBinaryProtocol>(
      std::make_shared<InMemoryLink>(std::make_shared<yol::YolProcessor>(handler)))};
};

TEST_F(MockHandlerTest, ArgumentsReachTheHandlerAndItsReturnValueComesBack) {
  EXPECT_CALL(*handler, status(7)).WillOnce(Return(3));
  EXPECT_CALL(*handler,
              SendMsg(yol::eCategory::TELEMATICS, yol::eTelematics::GPS,
                      ElementsAre(yol::eDataType::json_STRING, yol::eDataType::json_DOUBLE),
                      ElementsAre("name", "speed"), ElementsAre("north field", "4.5")))
      .WillOnce(Return(-2));
  EXPECT_CALL(*handler, getWanStatus()).WillOnce(Return(true));

  EXPECT_EQ(client.status(7), 3);
  EXPECT_EQ(client.SendMsg(yol::eCategory::TELEMATICS, yol::eTelematics::GPS,
                           {yol::eDataType::json_STRING, yol::eDataType::json_DOUBLE},
                           {"name", "speed"}, {"north field", "4.5"}),
            -2);
  EXPECT_TRUE(client.getWanStatus());
}

TEST_F(MockHandlerTest, OutParameterResultsAreSetWithSetArgReferee) {
  yol::stFileTransferStatus progress;
  progress.fileUuid = "f-81";
  progress.__set_percentTransfered(64);
  EXPECT_CALL(*handler, FT_GetStatus(_, "f-81")).WillOnce(SetArgReferee<0>(progress));

  yol::stFeatures rtk;
  rtk.feature = yol::eMGTFeature::RTK;
  rtk.enabled = true;
  EXPECT_CALL(*handler, MGT_GetFeatureList(_))
      .WillOnce(SetArgReferee<0>(std::vector<yol::stFeatures>{rtk}));

  EXPECT_CALL(*handler, OTA_GetUpdateInfo(_, "2.4.1"))
      .WillOnce(SetArgReferee<0>(std::string("fixes the RTK reconnect")));

  yol::stFileTransferStatus received;
  client.FT_GetStatus(received, "f-81");
  EXPECT_EQ(received, progress);
  EXPECT_TRUE(received.__isset.percentTransfered);
  EXPECT_FALSE(received.__isset.sessionId);

  std::vector<yol::stFeatures> features;
  client.MGT_GetFeatureList(features);
  EXPECT_THAT(features, ElementsAre(rtk));

  std::string notes;
  client.OTA_GetUpdateInfo(notes, "2.4.1");
  EXPECT_EQ(notes, "fixes the RTK reconnect");
}

TEST_F(MockHandlerTest, RecordArgumentsCanBeMatchedFieldByField) {
  yol::stFileInfo file;
  file.id = "f-3";
  file.__set_name("boundary.shp");
  EXPECT_CALL(*handler, FT_UploadFile(AllOf(Field(&yol::stFileInfo::id, "f-3"),
                                            Field(&yol::stFileInfo::name, "boundary.shp"))))
      .WillOnce(Return(0));

  EXPECT_EQ(client.FT_UploadFile(file), 0);
}

TEST_F(MockHandlerTest, AHandlerThatThrowsGivesTheClientAnExceptionReply) {
  EXPECT_CALL(*handler, JOB_Join("job-9")).WillOnce(Throw(std::runtime_error("no such job")));
  EXPECT_CALL(*handler, JOB_Join("job-10")).WillOnce(Return(1));

  try {
    client.JOB_Join("job-9");
    FAIL() << "the handler's exception did not reach the client";
  } catch (const TApplicationException& e) {
    EXPECT_EQ(e.getType(), TApplicationException::UNKNOWN);
    EXPECT_STREQ(e.what(), "no such job");
  }
  // The exception reply was a whole message: the next call works.
  EXPECT_EQ(client.JOB_Join("job-10"), 1);
}

}  // namespace
