// The processor against scripted requests: unknown names, sequence ids,
// message types it refuses, malformed and incomplete arguments, handlers
// that throw, event-handler hooks, and the handler factories.
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <thrift/TApplicationException.h>
#include <thrift/TOutput.h>
#include <thrift/protocol/TProtocolException.h>
#include <thrift/transport/TBufferTransports.h>

#include <thriftyol/service/Yol.h>

#include "call_support.h"
#include "contract_calls.h"
#include "counting_factory.h"
#include "recording_protocol.h"

namespace {

using ::apache::thrift::TApplicationException;
using ::apache::thrift::TConnectionInfo;
using ::apache::thrift::TOutput;
using ::apache::thrift::TProcessor;
using ::apache::thrift::protocol::T_CALL;
using ::apache::thrift::protocol::T_EXCEPTION;
using ::apache::thrift::protocol::T_ONEWAY;
using ::apache::thrift::protocol::T_REPLY;
using ::apache::thrift::protocol::T_STRUCT;
using ::apache::thrift::protocol::TMessageType;
using ::apache::thrift::protocol::TProtocolException;
using ::apache::thrift::transport::TMemoryBuffer;
using ::yol::YolIf;
using ::yol::YolProcessor;
using ::yol::testing::RecordingTransport;
using namespace ::yol::service_test;

// A reply read back: the header, and the exception it carries, if any.
struct Reply {
  std::string name;
  TMessageType type;
  int32_t seqid;
  TApplicationException error;
};

Reply read_reply(TProtocol& in) {
  Reply reply{};
  in.readMessageBegin(reply.name, reply.type, reply.seqid);
  if (reply.type == T_EXCEPTION) {
    reply.error.read(&in);
  } else {
    in.skip(T_STRUCT);
  }
  in.readMessageEnd();
  return reply;
}

// A processor on a recording handler, fed from a scripted peer; what it
// writes goes to `written`, through a transport that counts the bytes.
class ProcessorTest : public ::testing::Test {
 protected:
  ProcessorTest() { processor->setEventHandler(hooks); }

  bool process_next(void* call_context = nullptr) {
    return processor->process(make_protocol(Protocol::binary, peer.buffer()), output, call_context);
  }

  Reply next_reply() { return read_reply(*make_protocol(Protocol::binary, written)); }

  std::vector<RecordingHandler::Received> received() const { return handler->received(); }

  MessageWriter peer;
  std::shared_ptr<RecordingHandler> handler = std::make_shared<RecordingHandler>();
  std::shared_ptr<HookRecorder> hooks = std::make_shared<HookRecorder>();
  std::shared_ptr<YolProcessor> processor = std::make_shared<YolProcessor>(handler);
  std::shared_ptr<TMemoryBuffer> written = std::make_shared<TMemoryBuffer>();
  std::shared_ptr<RecordingTransport> counted = std::make_shared<RecordingTransport>(written);
  std::shared_ptr<TProtocol> output = make_protocol(Protocol::binary, counted);
};

void status_request(MessageWriter& peer, int32_t id, int32_t seqid, TMessageType type = T_CALL) {
  yol::Yol_status_args args;
  args.__set_id(id);
  peer.of("status", type, seqid, args);
}

TEST_F(ProcessorTest, UnknownMethodGetsAnExceptionReplyAndTheConnectionGoesOn) {
  // The unknown call's arguments must be skipped, nested struct included.
  peer.message("reboot", T_CALL, 11, [](StructWriter& body) { body.nested(1).string(1, "now").end(); });
  status_request(peer, 5, 12);

  EXPECT_TRUE(process_next());
  const Reply unknown = next_reply();
  EXPECT_EQ(unknown.name, "reboot");
  EXPECT_EQ(unknown.type, T_EXCEPTION);
  EXPECT_EQ(unknown.seqid, 11);
  EXPECT_EQ(unknown.error.getType(), TApplicationException::UNKNOWN_METHOD);
  EXPECT_EQ(std::string(unknown.error.what()), "Invalid method name: 'reboot'");
  EXPECT_EQ(counted->log().lines(), (std::vector<std::string>{"writeEnd", "flush"}));
  EXPECT_TRUE(hooks->lines().empty()) << "no call was served";

  EXPECT_TRUE(process_next());
  const Reply served = next_reply();
  EXPECT_EQ(served.name, "status");
  EXPECT_EQ(served.type, T_REPLY);
  EXPECT_EQ(served.seqid, 12);
  ASSERT_EQ(received().size(), 1u);
  EXPECT_EQ(std::any_cast<Call_status::Args>(received()[0].args), Call_status::Args(5));
}

TEST_F(ProcessorTest, NamesAreMatchedExactly) {
  for (const std::string name : {"Ping", "ping ", "STATUS", ""}) {
    SCOPED_TRACE("'" + name + "'");
    peer.empty(name, T_CALL, 1);
    EXPECT_TRUE(process_next());
    const Reply reply = next_reply();
    EXPECT_EQ(reply.name, name);
    EXPECT_EQ(reply.error.getType(), TApplicationException::UNKNOWN_METHOD);
    EXPECT_EQ(std::string(reply.error.what()), "Invalid method name: '" + name + "'");
  }
  EXPECT_TRUE(received().empty());
}

TEST_F(ProcessorTest, ReplyCarriesTheRequestsSequenceIdAndOneWayRequestsAreAnswered) {
  status_request(peer, 1, 7);
  status_request(peer, 2, -3, T_ONEWAY);
  EXPECT_TRUE(process_next());
  EXPECT_TRUE(process_next());

  const Reply first = next_reply();
  EXPECT_EQ(first.type, T_REPLY);
  EXPECT_EQ(first.seqid, 7);
  const Reply oneway = next_reply();
  EXPECT_EQ(oneway.name, "status");
  EXPECT_EQ(oneway.type, T_REPLY);
  EXPECT_EQ(oneway.seqid, -3);
  EXPECT_EQ(received().size(), 2u);
}

// Collects what the runtime prints through GlobalOutput while alive.
class CapturedOutput {
 public:
  CapturedOutput() {
    lines().clear();
    ::apache::thrift::GlobalOutput.setOutputFunction(&CapturedOutput::keep);
  }
  ~CapturedOutput() { ::apache::thrift::GlobalOutput.setOutputFunction(&TOutput::errorTimeWrapper); }
  static std::vector<std::string>& lines() {
    static std::vector<std::string> kept;
    return kept;
  }

 private:
  static void keep(const char* line) { lines().push_back(line); }
};

TEST_F(ProcessorTest, RequestOfTypeReplyOrExceptionEndsTheConnectionWithoutReply) {
  for (const TMessageType type : {T_REPLY, T_EXCEPTION}) {
    SCOPED_TRACE(type);
    status_request(peer, 1, 1, type);
    // The runtime's two-argument form (one protocol both ways), which the
    // dispatch processor hides.
    auto transport = std::make_shared<RecordingTransport>(peer.buffer());
    TProcessor& base = *processor;
    CapturedOutput output;
    EXPECT_FALSE(base.process(make_protocol(Protocol::binary, transport), nullptr));
    EXPECT_EQ(CapturedOutput::lines(),
              std::vector<std::string>{"received invalid message type " + std::to_string(type) + " from client"});
    EXPECT_EQ(transport->bytes_written(), 0u);
    EXPECT_TRUE(transport->log().lines().empty()) << "nothing written, flushed or ended";
    peer.buffer()->resetBuffer();
  }
  EXPECT_TRUE(received().empty());
  EXPECT_TRUE(hooks->lines().empty());
}

TEST_F(ProcessorTest, MalformedArgumentsLeaveProcessWithoutReachingTheHandler) {
  // SetModemInfo whose stCellularInfo lacks its required `model`.
  peer.message("SetModemInfo", T_CALL, 1, [](StructWriter& body) { body.nested(1).string(2, "m-1").end(); });
  const auto error = caught<TProtocolException>([&] { process_next(); });
  ASSERT_TRUE(error);
  EXPECT_EQ(error->getType(), TProtocolException::INVALID_DATA);
  EXPECT_TRUE(received().empty());
  EXPECT_EQ(written->available_read(), 0u);
  EXPECT_TRUE(counted->log().lines().empty());
  EXPECT_EQ(hooks->lines(), (std::vector<std::string>{"getContext Yol.SetModemInfo", "preRead Yol.SetModemInfo",
                                                      "freeContext Yol.SetModemInfo"}));
}

TEST_F(ProcessorTest, MissingArgumentsReachTheHandlerAsDefaults) {
  // requestRemoteSupport with only its second argument, and an unknown one.
  peer.message("requestRemoteSupport", T_CALL, 1, [](StructWriter& body) { body.string(9, "ignored").i32(2, 480); });
  peer.empty("SendMsg", T_CALL, 2);
  peer.empty("SetModemInfo", T_CALL, 3);
  for (int i = 0; i < 3; ++i) {
    EXPECT_TRUE(process_next());
    EXPECT_EQ(next_reply().type, T_REPLY);
  }

  const auto calls = received();
  ASSERT_EQ(calls.size(), 3u);
  EXPECT_EQ(std::any_cast<Call_requestRemoteSupport::Args>(calls[0].args), Call_requestRemoteSupport::Args(0, 480));
  EXPECT_EQ(std::any_cast<Call_SendMsg::Args>(calls[1].args), Call_SendMsg::Args());
  EXPECT_EQ(std::any_cast<Call_SetModemInfo::Args>(calls[2].args), Call_SetModemInfo::Args());
}

// A handler whose status throws something that is not a std::exception.
class ThrowsNonStandard : public yol::YolNull {
 public:
  int32_t status(int32_t) override { throw 42; }
};

TEST_F(ProcessorTest, NonStandardExceptionLeavesProcessWithoutReply) {
  processor = std::make_shared<YolProcessor>(std::make_shared<ThrowsNonStandard>());
  processor->setEventHandler(hooks);
  status_request(peer, 1, 1);
  const std::size_t request_size = peer.buffer()->available_read();

  bool threw_42 = false;
  try {
    process_next();
  } catch (int value) {
    threw_42 = value == 42;
  }
  EXPECT_TRUE(threw_42);
  EXPECT_EQ(written->available_read(), 0u);
  EXPECT_TRUE(counted->log().lines().empty());
  EXPECT_EQ(hooks->lines(),
            (std::vector<std::string>{"getContext Yol.status", "preRead Yol.status",
                                      "postRead Yol.status " + std::to_string(request_size),
                                      "freeContext Yol.status"}));
}

TEST_F(ProcessorTest, HooksGetTheCallContextAndByteCountsOfTheTransports) {
  // Framed transports report the frame size plus 4 from readEnd and writeEnd.
  int server_context = 0;
  auto in_frames = std::make_shared<::apache::thrift::transport::TFramedTransport>(peer.buffer());
  auto out_frames = std::make_shared<::apache::thrift::transport::TFramedTransport>(written);
  {
    auto framer = make_protocol(Protocol::binary, in_frames);
    yol::Yol_status_args args;
    args.__set_id(3);
    framer->writeMessageBegin("status", T_CALL, 0);
    args.write(framer.get());
    framer->writeMessageEnd();
    in_frames->writeEnd();
    in_frames->flush();
  }
  const std::size_t request_size = peer.buffer()->available_read();

  EXPECT_TRUE(processor->process(make_protocol(Protocol::binary, in_frames),
                                 make_protocol(Protocol::binary, out_frames), &server_context));
  EXPECT_EQ(hooks->call_context(), &server_context);
  EXPECT_EQ(hooks->lines(), served_hooks("Yol.status", request_size, written->available_read()));
}

TEST(ProcessorFactory, ProcessorGivesItsHandlerBackExactlyOnceWhenDestroyed) {
  auto factory = std::make_shared<CountingFactory>();
  yol::YolProcessorFactory processors(factory);
  std::shared_ptr<TProcessor> first = processors.getProcessor(TConnectionInfo());
  std::shared_ptr<TProcessor> second = processors.getProcessor(TConnectionInfo());
  const std::vector<RecordingHandler*> handed = factory->handed();
  ASSERT_EQ(handed.size(), 2u);
  EXPECT_NE(handed[0], handed[1]);
  EXPECT_NE(dynamic_cast<YolProcessor*>(first.get()), nullptr);

  // Each processor serves with the handler it was made with.
  MessageWriter peer;
  status_request(peer, 8, 1);
  auto sink = make_protocol(Protocol::binary, std::make_shared<TMemoryBuffer>());
  first->process(make_protocol(Protocol::binary, peer.buffer()), sink, nullptr);
  EXPECT_EQ(handed[0]->received().size(), 1u);
  EXPECT_TRUE(handed[1]->received().empty());

  EXPECT_TRUE(factory->released().empty());
  second.reset();
  EXPECT_EQ(factory->released(), std::vector<YolIf*>{handed[1]});
  first.reset();
  EXPECT_EQ(factory->released(), (std::vector<YolIf*>{handed[1], handed[0]}));
}

TEST(ProcessorFactory, SingletonFactoryHandsTheSameHandlerToEveryConnectionAndKeepsIt) {
  auto handler = std::make_shared<RecordingHandler>();
  std::weak_ptr<RecordingHandler> alive = handler;
  auto singleton = std::make_shared<yol::YolIfSingletonFactory>(handler);
  EXPECT_EQ(singleton->getHandler(TConnectionInfo()), handler.get());
  handler.reset();

  yol::YolProcessorFactory processors(singleton);
  MessageWriter peer;
  status_request(peer, 1, 1);
  status_request(peer, 2, 2);
  auto sink = make_protocol(Protocol::binary, std::make_shared<TMemoryBuffer>());
  for (int i = 0; i < 2; ++i) {
    processors.getProcessor(TConnectionInfo())->process(make_protocol(Protocol::binary, peer.buffer()), sink, nullptr);
  }
  ASSERT_FALSE(alive.expired()) << "processors gone, the factory still holds the handler";
  EXPECT_EQ(alive.lock()->received().size(), 2u) << "both connections reached the one handler";
  singleton->releaseHandler(alive.lock().get());
  EXPECT_FALSE(alive.expired());
}

// YolNull answers every call with 0 or false and leaves out-parameters as
// they were.
TEST(NullHandler, AnswersNothingForEveryCall) {
  yol::YolNull null;
  ::yol::testing::for_each_type(AllCalls{}, [&](auto type) {
    using C = typename decltype(type)::type;
    SCOPED_TRACE(C::name);
    const typename C::Result before = sample_result<C>();
    typename C::Result result = before;
    C::call(null, sample_args<C>(), result);
    if constexpr (C::shape == Shape::returned) {
      EXPECT_EQ(result, typename C::Result{});
    } else {
      EXPECT_EQ(result, before);
    }
  });
}

}  // namespace
