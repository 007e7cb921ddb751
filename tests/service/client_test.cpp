// The client against a scripted peer: sequence ids, exception replies,
// replies it cannot use, results read into the caller's storage, and
// failures of the data and of the transport.
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <thrift/TApplicationException.h>
#include <thrift/protocol/TProtocolException.h>
#include <thrift/transport/TBufferTransports.h>
#include <thrift/transport/TTransportException.h>

#include <thriftyol/service/Yol.h>

#include "call_support.h"
#include "contract_calls.h"

namespace {

using ::apache::thrift::TApplicationException;
using ::apache::thrift::protocol::T_CALL;
using ::apache::thrift::protocol::T_EXCEPTION;
using ::apache::thrift::protocol::T_REPLY;
using ::apache::thrift::protocol::TProtocolException;
using ::apache::thrift::transport::TMemoryBuffer;
using ::apache::thrift::transport::TTransportException;
using ::yol::YolClient;
using namespace ::yol::service_test;

class ClientTest : public ::testing::Test {
 protected:
  void reply_status(int32_t value, int32_t seqid = 0) {
    yol::Yol_status_result result;
    result.__set_success(value);
    peer.of("status", T_REPLY, seqid, result);
  }

  // Field 0 an i32 (what a status result would carry) and field 1 a
  // nested struct, so that consuming the body takes a real skip.
  static void misleading_body(StructWriter& body) { body.i32(0, 55).nested(1).string(1, "inside").end(); }

  std::vector<WireMessage> requests_sent() { return decode_messages(requests->getBufferAsString(), Protocol::binary); }

  MessageWriter peer;
  std::shared_ptr<TMemoryBuffer> requests = std::make_shared<TMemoryBuffer>();
  YolClient client{make_protocol(Protocol::binary, peer.buffer()), make_protocol(Protocol::binary, requests)};
};

TEST_F(ClientTest, RequestsCarrySequenceIdZeroAndReplySequenceIdsAreNotChecked) {
  reply_status(10, 99);
  reply_status(20, -5);
  EXPECT_EQ(client.status(1), 10);
  EXPECT_EQ(client.status(2), 20);

  const std::vector<WireMessage> sent = requests_sent();
  ASSERT_EQ(sent.size(), 2u);
  for (const WireMessage& request : sent) {
    EXPECT_EQ(request.name, "status");
    EXPECT_EQ(request.type, T_CALL);
    EXPECT_EQ(request.seqid, 0);
  }
}

TEST_F(ClientTest, ExceptionReplyIsThrownWithTheServersTypeAndMessage) {
  peer.of("status", T_EXCEPTION, 0,
          TApplicationException(TApplicationException::UNKNOWN_METHOD, "Invalid method name: 'status'"));
  reply_status(3);

  const auto error = caught<TApplicationException>([&] { client.status(1); });
  ASSERT_TRUE(error);
  EXPECT_EQ(error->getType(), TApplicationException::UNKNOWN_METHOD);
  EXPECT_EQ(std::string(error->what()), "Invalid method name: 'status'");
  EXPECT_EQ(client.status(1), 3) << "the exception reply was read to its end";
}

TEST_F(ClientTest, ReplyOfTypeCallFailsAtOnceAndIsConsumedToItsEnd) {
  peer.message("status", T_CALL, 0, misleading_body);
  reply_status(9);

  const auto error = caught<TApplicationException>([&] { client.status(1); });
  ASSERT_TRUE(error);
  EXPECT_EQ(error->getType(), TApplicationException::INVALID_MESSAGE_TYPE);
  EXPECT_NE(std::string(error->what()).find("status"), std::string::npos) << error->what();
  EXPECT_EQ(client.status(1), 9) << "the next reply is read from its beginning";
  EXPECT_EQ(peer.buffer()->available_read(), 0u);
}

TEST_F(ClientTest, ReplyForAnotherMethodFailsAtOnceAndIsConsumedToItsEnd) {
  // Names are compared byte for byte: "Status" is another method.
  for (const std::string other : {"ping", "Status"}) {
    SCOPED_TRACE(other);
    peer.message(other, T_REPLY, 0, misleading_body);
    reply_status(9);

    const auto error = caught<TApplicationException>([&] { client.status(1); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getType(), TApplicationException::WRONG_METHOD_NAME);
    const std::string text = error->what();
    EXPECT_NE(text.find("status"), std::string::npos) << text;
    EXPECT_NE(text.find(other), std::string::npos) << text;
    EXPECT_EQ(client.status(1), 9) << "the next reply is read from its beginning";
  }
}

TEST_F(ClientTest, ResultFieldsOfOtherIdsOrTypesAreSkipped) {
  // Field 0 as a string: not the i32 result, so the result is missing.
  peer.message("status", T_REPLY, 0, [](StructWriter& body) { body.string(0, "7"); });
  // An unknown field before the result does not hide it.
  peer.message("status", T_REPLY, 0, [](StructWriter& body) { body.string(3, "ignored").i32(0, 12); });

  const auto error = caught<TApplicationException>([&] { client.status(1); });
  ASSERT_TRUE(error);
  EXPECT_EQ(error->getType(), TApplicationException::MISSING_RESULT);
  EXPECT_EQ(std::string(error->what()), "status failed: unknown result");
  EXPECT_EQ(client.status(1), 12);
}

TEST_F(ClientTest, RecordResultIsReadIntoWithoutBeingReset) {
  yol::Yol_GetModemInfo_result reply;
  reply.success.model = "new-model";
  reply.__isset.success = true;
  peer.of("GetModemInfo", T_REPLY, 0, reply);

  yol::stCellularInfo info;
  info.model = "old-model";
  info.__set_modemid("old-modem");
  client.GetModemInfo(info);
  EXPECT_EQ(info.model, "new-model");
  EXPECT_TRUE(info.__isset.modemid);
  EXPECT_EQ(info.modemid, "old-modem") << "a field the reply lacks keeps its former value";
}

TEST_F(ClientTest, ListResultHoldsExactlyTheReceivedElements) {
  yol::Yol_SYS_GetInterfaceList_result one;
  one.__set_success({"can0"});
  peer.of("SYS_GetInterfaceList", T_REPLY, 0, one);
  yol::Yol_SYS_GetInterfaceList_result none;
  none.__set_success({});
  peer.of("SYS_GetInterfaceList", T_REPLY, 0, none);

  std::vector<std::string> interfaces{"eth0", "eth1", "wlan0"};
  client.SYS_GetInterfaceList(interfaces);
  EXPECT_EQ(interfaces, std::vector<std::string>{"can0"});
  client.SYS_GetInterfaceList(interfaces);
  EXPECT_TRUE(interfaces.empty());
}

TEST_F(ClientTest, ResultMissingARequiredFieldIsAProtocolError) {
  // stCellularInfo without its required `model`.
  peer.message("GetModemInfo", T_REPLY, 0, [](StructWriter& body) { body.nested(0).string(2, "m-1").end(); });
  yol::stCellularInfo info;
  const auto error = caught<TProtocolException>([&] { client.GetModemInfo(info); });
  ASSERT_TRUE(error);
  EXPECT_EQ(error->getType(), TProtocolException::INVALID_DATA);
}

TEST_F(ClientTest, TransportFailureReachesTheCallerUnchanged) {
  const auto error = caught<TTransportException>([&] { client.ping(); });
  ASSERT_TRUE(error) << "no reply at all";
  EXPECT_EQ(error->getType(), TTransportException::END_OF_FILE);
}

TEST_F(ClientTest, RequestsAndRepliesCanBeHandledSeparatelyInOrder) {
  client.send_status(4);
  client.send_getModemId();
  reply_status(40);
  yol::Yol_getModemId_result modem;
  modem.__set_success("modem-4");
  peer.of("getModemId", T_REPLY, 0, modem);

  EXPECT_EQ(client.recv_status(), 40);
  std::string id;
  client.recv_getModemId(id);
  EXPECT_EQ(id, "modem-4");

  const std::vector<WireMessage> sent = requests_sent();
  ASSERT_EQ(sent.size(), 2u);
  EXPECT_EQ(sent[0].name, "status");
  EXPECT_EQ(sent[1].name, "getModemId");
}

TEST(ClientOnOneProtocol, WritesAndReadsThroughTheSameProtocol) {
  auto handler = std::make_shared<RecordingHandler>();
  auto loop = std::make_shared<Loopback>(Protocol::compact, std::make_shared<yol::YolProcessor>(handler));
  auto protocol = make_protocol(Protocol::compact, loop);
  YolClient client(protocol);
  EXPECT_EQ(client.getInputProtocol(), protocol);
  EXPECT_EQ(client.getOutputProtocol(), protocol);

  EXPECT_EQ(client.status(5), sample_result<Call_status>());
  ASSERT_EQ(handler->received().size(), 1u);
  EXPECT_EQ(std::any_cast<Call_status::Args>(handler->received()[0].args), Call_status::Args(5));
}

}  // namespace
