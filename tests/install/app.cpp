// An application of an installed libthriftyol: a call through client and processor onto YolNull
// or, built with WITH_MOCK as a test, the installed GoogleMock handler.
#include <thriftyol/service/Yol.h>
#ifdef WITH_MOCK
#include <thriftyol/testing/MockYolIf.h>
#endif

#include <thrift/protocol/TBinaryProtocol.h>
#include <thrift/transport/TBufferTransports.h>

#include <memory>

int32_t setModemInfo(const std::shared_ptr<yol::YolIf>& handler, const yol::stCellularInfo& info) {
  using apache::thrift::protocol::TBinaryProtocol;
  using apache::thrift::transport::TMemoryBuffer;
  auto requests = std::make_shared<TBinaryProtocol>(std::make_shared<TMemoryBuffer>());
  auto replies = std::make_shared<TBinaryProtocol>(std::make_shared<TMemoryBuffer>());
  yol::YolClient client(replies, requests);
  client.send_SetModemInfo(info);
  yol::YolProcessor(handler).process(requests, replies, nullptr);
  return client.recv_SetModemInfo();
}

#ifdef WITH_MOCK
TEST(InstalledMock, AnswersThroughTheProcessor) {
  auto handler = std::make_shared<::testing::StrictMock<yol::MockYolIf>>();
  yol::stCellularInfo info;
  info.__set_modemid("m-1");
  EXPECT_CALL(*handler, SetModemInfo(info)).WillOnce(::testing::Return(3));
  EXPECT_EQ(setModemInfo(handler, info), 3);
}
#else
int main() { return setModemInfo(std::make_shared<yol::YolNull>(), yol::stCellularInfo()); }
#endif
