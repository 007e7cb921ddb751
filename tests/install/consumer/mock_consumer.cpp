// The installed GoogleMock handler stands in for a real one behind the
// processor: a request written as a client would reaches the mock.
#include <thriftyol/service/Yol.h>
#include <thriftyol/testing/MockYolIf.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thrift/protocol/TBinaryProtocol.h>
#include <thrift/transport/TBufferTransports.h>

#include <memory>

using ::apache::thrift::protocol::TBinaryProtocol;
using ::apache::thrift::transport::TMemoryBuffer;
using ::testing::Return;
using ::testing::StrictMock;

TEST(InstalledMock, ServesARequestThroughTheProcessor) {
  auto handler = std::make_shared<StrictMock<yol::MockYolIf>>();
  EXPECT_CALL(*handler, status(7)).WillOnce(Return(3));

  // The client writes requests and reads replies; the processor the reverse.
  auto requests = std::make_shared<TBinaryProtocol>(std::make_shared<TMemoryBuffer>());
  auto replies = std::make_shared<TBinaryProtocol>(std::make_shared<TMemoryBuffer>());
  yol::YolClient client(replies, requests);
  client.send_status(7);

  std::shared_ptr<apache::thrift::TProcessor> processor =
      std::make_shared<yol::YolProcessor>(handler);
  ASSERT_TRUE(processor->process(requests, replies, nullptr));
  EXPECT_EQ(client.recv_status(), 3);
}
