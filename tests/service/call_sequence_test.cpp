// The exact protocol and transport calls of a few whole calls, on both ends:
// what any peer of the service sees, whatever the protocol.
#include <algorithm>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include <thrift/protocol/TBinaryProtocol.h>
#include <thrift/transport/TBufferTransports.h>

#include <thriftyol/service/Yol.h>

#include "call_support.h"
#include "contract_calls.h"
#include "recording_protocol.h"

namespace {

using ::apache::thrift::protocol::T_CALL;
using ::apache::thrift::protocol::T_REPLY;
using ::apache::thrift::protocol::TBinaryProtocol;
using ::apache::thrift::transport::TMemoryBuffer;
using ::yol::YolClient;
using ::yol::YolProcessor;
using ::yol::testing::CallLog;
using ::yol::testing::RecordingProtocol;
using ::yol::testing::RecordingTransport;
using namespace ::yol::service_test;
using Lines = std::vector<std::string>;

// A binary protocol over a memory buffer, with the protocol calls and the
// transport's writeEnd, flush and readEnd all written to one log.
struct Recorded {
  Recorded(std::shared_ptr<TMemoryBuffer> buffer, std::shared_ptr<CallLog> log)
      : buffer(std::move(buffer)),
        protocol(std::make_shared<RecordingProtocol>(
            std::make_shared<TBinaryProtocol>(std::make_shared<RecordingTransport>(this->buffer, log)), log)) {}

  std::shared_ptr<TMemoryBuffer> buffer;
  std::shared_ptr<RecordingProtocol> protocol;
};

class CallSequence : public ::testing::Test {
 protected:
  // Lets the processor serve what `peer` holds, both sides recorded.
  void serve(const std::shared_ptr<yol::YolIf>& handler) {
    Recorded in(peer.buffer(), log);
    Recorded out(reply, log);
    YolProcessor(handler).process(in.protocol, out.protocol, nullptr);
  }

  std::shared_ptr<CallLog> log = std::make_shared<CallLog>();
  MessageWriter peer;
  std::shared_ptr<TMemoryBuffer> reply = std::make_shared<TMemoryBuffer>();
};

class Answers : public yol::YolNull {
 public:
  int32_t status(int32_t id) override { return id * 100; }
};

TEST_F(CallSequence, ClientWritesStatusRequestThenReadsItsReply) {
  yol::Yol_status_result result;
  result.__set_success(700);
  peer.of("status", T_REPLY, 0, result);
  Recorded requests(std::make_shared<TMemoryBuffer>(), log);
  Recorded replies(peer.buffer(), log);
  YolClient client(replies.protocol, requests.protocol);

  EXPECT_EQ(client.status(7), 700);
  EXPECT_EQ(log->lines(), (Lines{
                              "writeMessageBegin status T_CALL 0",
                              "writeStructBegin Yol_status_pargs",
                              "writeFieldBegin id T_I32 1",
                              "writeI32 7",
                              "writeFieldEnd",
                              "writeFieldStop",
                              "writeStructEnd",
                              "writeMessageEnd",
                              "writeEnd",
                              "flush",
                              "readMessageBegin status T_REPLY 0",
                              "readStructBegin",
                              "readFieldBegin T_I32 0",
                              "readI32 700",
                              "readFieldEnd",
                              "readFieldBegin T_STOP",
                              "readStructEnd",
                              "readMessageEnd",
                              "readEnd",
                          }));
}

TEST_F(CallSequence, ProcessorReadsStatusArgumentsThenWritesItsReply) {
  yol::Yol_status_args args;
  args.__set_id(7);
  peer.of("status", T_CALL, 3, args);
  serve(std::make_shared<Answers>());

  EXPECT_EQ(log->lines(), (Lines{
                              "readMessageBegin status T_CALL 3",
                              "readStructBegin",
                              "readFieldBegin T_I32 1",
                              "readI32 7",
                              "readFieldEnd",
                              "readFieldBegin T_STOP",
                              "readStructEnd",
                              "readMessageEnd",
                              "readEnd",
                              "writeMessageBegin status T_REPLY 3",
                              "writeStructBegin Yol_status_result",
                              "writeFieldBegin success T_I32 0",
                              "writeI32 700",
                              "writeFieldEnd",
                              "writeFieldStop",
                              "writeStructEnd",
                              "writeMessageEnd",
                              "writeEnd",
                              "flush",
                          }));
}

TEST_F(CallSequence, SendMsgListsOfDifferentLengthsAndAnUnlistedValueTravelUnchanged) {
  const auto unlisted = static_cast<yol::eTelematics::type>(0);
  const Call_SendMsg::Args sent(yol::eCategory::TELEMATICS, unlisted,
                                {yol::eDataType::json_STRING, yol::eDataType::json_DOUBLE}, {"a", "b", "c"}, {"1"});
  Recorded requests(std::make_shared<TMemoryBuffer>(), log);
  YolClient client(make_protocol(Protocol::binary, std::make_shared<TMemoryBuffer>()), requests.protocol);
  std::apply([&](const auto&... args) { client.send_SendMsg(args...); }, sent);

  EXPECT_EQ(log->lines(), (Lines{
                              "writeMessageBegin SendMsg T_CALL 0",
                              "writeStructBegin Yol_SendMsg_pargs",
                              "writeFieldBegin Cat T_I32 1",
                              "writeI32 7",
                              "writeFieldEnd",
                              "writeFieldBegin Tel T_I32 2",
                              "writeI32 0",
                              "writeFieldEnd",
                              "writeFieldBegin eType T_LIST 3",
                              "writeListBegin T_I32 2",
                              "writeI32 0",
                              "writeI32 2",
                              "writeListEnd",
                              "writeFieldEnd",
                              "writeFieldBegin sKey T_LIST 4",
                              "writeListBegin T_STRING 3",
                              "writeString \"a\"",
                              "writeString \"b\"",
                              "writeString \"c\"",
                              "writeListEnd",
                              "writeFieldEnd",
                              "writeFieldBegin sValue T_LIST 5",
                              "writeListBegin T_STRING 1",
                              "writeString \"1\"",
                              "writeListEnd",
                              "writeFieldEnd",
                              "writeFieldStop",
                              "writeStructEnd",
                              "writeMessageEnd",
                              "writeEnd",
                              "flush",
                          }));

  auto handler = std::make_shared<RecordingHandler>();
  auto sink = make_protocol(Protocol::binary, std::make_shared<TMemoryBuffer>());
  YolProcessor(handler).process(make_protocol(Protocol::binary, requests.buffer), sink, nullptr);
  ASSERT_EQ(handler->received().size(), 1u);
  EXPECT_EQ(std::any_cast<Call_SendMsg::Args>(handler->received()[0].args), sent);
}

TEST_F(CallSequence, PingRequestAndReplyAreEmptyStructs) {
  Recorded requests(std::make_shared<TMemoryBuffer>(), log);
  YolClient client(make_protocol(Protocol::binary, std::make_shared<TMemoryBuffer>()), requests.protocol);
  client.send_ping();
  EXPECT_EQ(log->lines(), (Lines{
                              "writeMessageBegin ping T_CALL 0",
                              "writeStructBegin Yol_ping_pargs",
                              "writeFieldStop",
                              "writeStructEnd",
                              "writeMessageEnd",
                              "writeEnd",
                              "flush",
                          }));

  log->clear();
  peer.empty("ping", T_CALL, 0);
  serve(std::make_shared<Answers>());
  const Lines lines = log->lines();
  const Lines written(std::find(lines.begin(), lines.end(), "readEnd") + 1, lines.end());
  EXPECT_EQ(written, (Lines{
                         "writeMessageBegin ping T_REPLY 0",
                         "writeStructBegin Yol_ping_result",
                         "writeFieldStop",
                         "writeStructEnd",
                         "writeMessageEnd",
                         "writeEnd",
                         "flush",
                     }));
}

TEST_F(CallSequence, UnknownMethodSkipsItsArgumentsThenWritesTheException) {
  yol::Yol_status_args args;
  args.__set_id(7);
  peer.of("reboot", T_CALL, 4, args);
  serve(std::make_shared<Answers>());

  EXPECT_EQ(log->lines(), (Lines{
                              "readMessageBegin reboot T_CALL 4",
                              "skip T_STRUCT",
                              "readStructBegin",
                              "readFieldBegin T_I32 1",
                              "readI32 7",
                              "readFieldEnd",
                              "readFieldBegin T_STOP",
                              "readStructEnd",
                              "readMessageEnd",
                              "readEnd",
                              "writeMessageBegin reboot T_EXCEPTION 4",
                              "writeStructBegin TApplicationException",
                              "writeFieldBegin message T_STRING 1",
                              "writeString \"Invalid method name: 'reboot'\"",
                              "writeFieldEnd",
                              "writeFieldBegin type T_I32 2",
                              "writeI32 1",
                              "writeFieldEnd",
                              "writeFieldStop",
                              "writeStructEnd",
                              "writeMessageEnd",
                              "writeEnd",
                              "flush",
                          }));
}

template <class Envelope>
Lines writes_of(const Envelope& envelope) {
  ::yol::testing::RecordedBuffer out;
  envelope.write(out.protocol.get());
  return out.protocol->calls();
}

TEST(Envelopes, ResultWithoutItsFlagWritesAnEmptyStruct) {
  yol::Yol_status_result result;
  result.success = 5;
  EXPECT_EQ(writes_of(result), (Lines{"writeStructBegin Yol_status_result", "writeFieldStop", "writeStructEnd"}));
  EXPECT_EQ(writes_of(yol::Yol_ping_result()),
            (Lines{"writeStructBegin Yol_ping_result", "writeFieldStop", "writeStructEnd"}));
}

TEST(Envelopes, ArgumentsThatDoNotArriveKeepTheirDefaultAndFlag) {
  MessageWriter peer;
  peer.message("requestRemoteSupport", T_CALL, 0, [](StructWriter& body) { body.i32(2, 480); });
  auto in = make_protocol(Protocol::binary, peer.buffer());
  std::string name;
  ::apache::thrift::protocol::TMessageType type;
  int32_t seqid = 0;
  in->readMessageBegin(name, type, seqid);
  yol::Yol_requestRemoteSupport_args args;
  args.read(in.get());
  EXPECT_EQ(args.width, 0);
  EXPECT_FALSE(args.__isset.width);
  EXPECT_EQ(args.height, 480);
  EXPECT_TRUE(args.__isset.height);
}

}  // namespace
