// The service end to end: every call of the contract (from contract_calls.h,
// read from the contract by a parser of its own) through client, processor,
// handler and back, against every kind of reply, without arguments, and on
// YolNull; then the processor's unknown, malformed and failing requests and
// the processor factory.
#include <functional>
#include <memory>
#include <optional>
#include <ostream>
#include <tuple>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <thrift/TApplicationException.h>
#include <thrift/protocol/TBinaryProtocol.h>
#include <thrift/protocol/TProtocolException.h>
#include <thrift/transport/TBufferTransports.h>
#include <thrift/transport/TTransportException.h>
#include <thrift/transport/TVirtualTransport.h>

#include <thriftyol/service/Yol.h>

#include "contract_calls.h"

namespace {

using namespace ::apache::thrift;
using namespace ::apache::thrift::protocol;
using namespace ::apache::thrift::transport;
using namespace ::yol::service_test;
using ::yol::YolClient;
using ::yol::YolIf;
using ::yol::YolProcessor;
using Ex = TApplicationException;

static_assert(AllCalls::size == 75, "the contract declares 75 calls");

std::shared_ptr<TProtocol> binary(std::shared_ptr<TMemoryBuffer> buffer = std::make_shared<TMemoryBuffer>()) {
  return std::make_shared<TBinaryProtocol>(std::move(buffer));
}

std::shared_ptr<TMemoryBuffer> buffer_of(std::string bytes) {
  return std::make_shared<TMemoryBuffer>(reinterpret_cast<uint8_t*>(bytes.data()),
                                         static_cast<uint32_t>(bytes.size()), TMemoryBuffer::COPY);
}

// The exception of type E that f throws, or nothing when f returns.
template <class E, class F>
std::optional<E> caught(F&& f) {
  try {
    f();
  } catch (const E& e) {
    return e;
  }
  return std::nullopt;
}

// Reads a message: returns its name, type and sequence id, and reads the
// exception an exception message carries into `error`.
using Header = std::tuple<std::string, TMessageType, int32_t>;
Header read_message(TProtocol& in, Ex* error = nullptr) {
  Header h;
  in.readMessageBegin(std::get<0>(h), std::get<1>(h), std::get<2>(h));
  if (error) error->read(&in); else in.skip(T_STRUCT);
  in.readMessageEnd();
  return h;
}

// Writes struct fields as a peer with its own idea of the contract might.
using Fields = std::function<void(TProtocol&)>;
void write_struct(TProtocol& out, const Fields& fields) {
  out.writeStructBegin("");
  if (fields) fields(out);
  out.writeFieldStop();
  out.writeStructEnd();
}
void field(TProtocol& out, int16_t id, int32_t value) {
  out.writeFieldBegin("", T_I32, id), out.writeI32(value), out.writeFieldEnd();
}
void field(TProtocol& out, int16_t id, const std::string& value) {
  out.writeFieldBegin("", T_STRING, id), out.writeString(value), out.writeFieldEnd();
}
void field(TProtocol& out, int16_t id, const Fields& nested) {
  out.writeFieldBegin("", T_STRUCT, id), write_struct(out, nested), out.writeFieldEnd();
}
// Field 0 an i32 (what an i32 result would be), field 1 a nested struct
// (so that consuming the body takes a real skip).
void misleading(TProtocol& out) {
  field(out, 0, 55);
  field(out, 1, Fields([](TProtocol& in) { field(in, 1, std::string("inside")); }));
}
void status_id_5(TProtocol& out) { field(out, 1, 5); }

// Writes whole messages, as a peer would, into a memory buffer.
struct Peer {
  void send(const std::string& name, TMessageType type, int32_t seqid, const Fields& fields) {
    out->writeMessageBegin(name, type, seqid);
    write_struct(*out, fields);
    out->writeMessageEnd();
  }
  std::shared_ptr<TMemoryBuffer> buffer = std::make_shared<TMemoryBuffer>();
  std::shared_ptr<TProtocol> out = binary(buffer);
};

// Logs each hook as "<hook> <context name>", with the byte count after
// postRead and postWrite. A hook given a per-call context other than the one
// getContext returned is marked "(foreign context)".
class HookRecorder : public TProcessorEventHandler {
 public:
  void* getContext(const char* fn, void* serverContext) override {
    call_context = serverContext;
    log("getContext", &token, fn);
    return &token;
  }
  void freeContext(void* ctx, const char* fn) override { log("freeContext", ctx, fn); }
  void preRead(void* ctx, const char* fn) override { log("preRead", ctx, fn); }
  void postRead(void* ctx, const char* fn, uint32_t n) override { log("postRead", ctx, fn, n); }
  void preWrite(void* ctx, const char* fn) override { log("preWrite", ctx, fn); }
  void postWrite(void* ctx, const char* fn, uint32_t n) override { log("postWrite", ctx, fn, n); }
  void handlerError(void* ctx, const char* fn) override { log("handlerError", ctx, fn); }

  std::vector<std::string> lines;
  void* call_context = nullptr;  // the connection context that getContext was given
  int token = 0;                 // the per-call context

  void log(const char* hook, void* ctx, const char* fn, std::optional<uint32_t> bytes = {}) {
    lines.push_back(std::string(hook) + " " + fn + (ctx == &token ? "" : " (foreign context)") +
                    (bytes ? " " + std::to_string(*bytes) : ""));
  }
};

// {"getContext", "postRead 21"} for status: {"getContext Yol.status", "postRead Yol.status 21"}.
std::vector<std::string> hook_lines(const std::string& call, std::vector<std::string> hooks) {
  for (std::string& hook : hooks) hook.insert(std::min(hook.find(' '), hook.size()), " Yol." + call);
  return hooks;
}

std::shared_ptr<YolProcessor> processor_on(std::shared_ptr<YolIf> handler, std::shared_ptr<HookRecorder> hooks) {
  auto processor = std::make_shared<YolProcessor>(std::move(handler));
  processor->setEventHandler(std::move(hooks));
  return processor;
}

// The client's transport, with a processor at its far end: each request the
// client flushes is served at once, with the transport as connection
// context, and its reply is what the client reads next. On the way the
// request's sequence id becomes 7, as from a peer that numbers its calls.
// Keeps the headers and sizes of both messages.
class Loopback : public ::apache::thrift::transport::TVirtualTransport<Loopback> {
 public:
  explicit Loopback(std::shared_ptr<TProcessor> processor) : processor_(std::move(processor)) {}

  bool isOpen() const override { return true; }
  void write(const uint8_t* buf, uint32_t len) { request_.append(reinterpret_cast<const char*>(buf), len); }
  uint32_t read(uint8_t* buf, uint32_t len) { return reply_->read(buf, len); }
  void flush() override {
    requests.push_back(read_message(*binary(buffer_of(request_))));
    // After the version and type word, the name's length and its bytes.
    request_.replace(8 + std::get<0>(requests.back()).size(), 4, std::string("\0\0\0\7", 4));
    reply_ = std::make_shared<TMemoryBuffer>();
    kept_open = processor_->process(binary(buffer_of(request_)), binary(reply_), this);
    replies.push_back(read_message(*binary(buffer_of(reply_->getBufferAsString()))));
    sizes = {request_.size(), reply_->available_read()};
    request_.clear();
  }

  std::vector<Header> requests, replies;
  std::pair<std::size_t, std::size_t> sizes;  // of the last request and reply
  bool kept_open = false;

 private:
  std::shared_ptr<TProcessor> processor_;
  std::string request_;
  std::shared_ptr<TMemoryBuffer> reply_;
};

struct Link {
  std::shared_ptr<RecordingHandler> handler = std::make_shared<RecordingHandler>();
  std::shared_ptr<HookRecorder> hooks = std::make_shared<HookRecorder>();
  std::shared_ptr<Loopback> loop = std::make_shared<Loopback>(processor_on(handler, hooks));
  YolClient client{std::make_shared<TBinaryProtocol>(loop)};
};

template <class C>
void expect_received(const RecordingHandler& handler, const std::vector<typename C::Args>& sent) {
  const auto received = handler.received();
  ASSERT_EQ(received.size(), sent.size());
  for (std::size_t i = 0; i < sent.size(); ++i) {
    EXPECT_EQ(received[i].name, C::name);
    EXPECT_EQ(std::any_cast<typename C::Args>(received[i].args), sent[i]) << "arguments as received";
  }
}

// Every check below runs once for every call of the table, named after it.
template <class C>
class EveryCall : public ::testing::Test {};
template <class List>
struct AsTypes;
template <class... C>
struct AsTypes<::yol::testing::TypeList<C...>> {
  using type = ::testing::Types<C...>;
};
struct CallName {
  template <class C>
  static std::string GetName(int) { return C::name; }
};
TYPED_TEST_SUITE(EveryCall, AsTypes<AllCalls>::type, CallName);

// A call whose handler fails, then the same call answered: the failure
// reaches the client as UNKNOWN with its text and the connection goes on.
TYPED_TEST(EveryCall, FailsInTheHandlerThenCrossesIntact) {
  using C = TypeParam;
  Link link;
  const typename C::Args sent = sample_args<C>();
  link.handler->fail_with(std::string("busy in ") + C::name);
  // The out-parameter holds other values: a list result must be replaced.
  typename C::Result result = sample_result<C>(C::result_seed + 200);
  const auto error = caught<Ex>([&] { C::call(link.client, sent, result); });
  ASSERT_TRUE(error) << "the handler's failure did not reach the client";
  EXPECT_EQ(error->getType(), Ex::UNKNOWN);
  EXPECT_EQ(std::string(error->what()), std::string("busy in ") + C::name);
  link.handler->fail_with("");
  C::call(link.client, sent, result);
  EXPECT_EQ(result, sample_result<C>()) << "result as the client returned it";

  expect_received<C>(*link.handler, {sent, sent});
  EXPECT_EQ(link.loop->requests, (std::vector<Header>{{C::name, T_CALL, 0}, {C::name, T_CALL, 0}}));
  EXPECT_EQ(link.loop->replies, (std::vector<Header>{{C::name, T_EXCEPTION, 7}, {C::name, T_REPLY, 7}}));
  EXPECT_TRUE(link.loop->kept_open);
  EXPECT_EQ(link.hooks->call_context, link.loop.get());
  const std::string read = std::to_string(link.loop->sizes.first);
  EXPECT_EQ(link.hooks->lines,
            hook_lines(C::name, {"getContext", "preRead", "postRead " + read, "handlerError", "freeContext", "getContext",
                                 "preRead", "postRead " + read, "preWrite",
                                 "postWrite " + std::to_string(link.loop->sizes.second), "freeContext"}));
}

// The client against a peer that answers with, in turn: an exception, a
// message of type call, a reply for a name differing only in case, a reply
// without a result, and then nothing. Each failed reply is consumed to its
// end, so the next one is read from its beginning.
TYPED_TEST(EveryCall, ClientFailsOnEveryUnusableReplyAndReadsItToItsEnd) {
  using C = TypeParam;
  std::string other = C::name;
  other[0] ^= 0x20;
  Peer peer;
  peer.send(C::name, T_EXCEPTION, 3, [](TProtocol& out) {  // an exception's message and type
    field(out, 1, std::string("out of order")), field(out, 2, Ex::INTERNAL_ERROR);
  });
  peer.send(C::name, T_CALL, 0, misleading);
  peer.send(other, T_REPLY, 0, misleading);
  peer.send(C::name, T_REPLY, 0, [](TProtocol& out) { field(out, 1, Fields(misleading)); });
  YolClient client(binary(peer.buffer), binary());
  typename C::Result result{};
  const auto fails = [&](Ex::TApplicationExceptionType type, const std::string& text) {
    const auto error = caught<Ex>([&] { C::call(client, sample_args<C>(), result); });
    ASSERT_TRUE(error) << "no failure, expected: " << text;
    EXPECT_EQ(error->getType(), type);
    EXPECT_EQ(std::string(error->what()), text);
  };
  const std::string name = C::name;
  fails(Ex::INTERNAL_ERROR, "out of order");
  fails(Ex::INVALID_MESSAGE_TYPE, name + " failed: reply of message type 1 instead of a reply");
  fails(Ex::WRONG_METHOD_NAME, name + " failed: reply for '" + other + "'");
  if constexpr (C::shape == Shape::none) {
    EXPECT_NO_THROW(C::call(client, sample_args<C>(), result));
  } else {
    fails(Ex::MISSING_RESULT, name + " failed: unknown result");
  }
  EXPECT_EQ(peer.buffer->available_read(), 0u);
  EXPECT_THROW(C::call(client, sample_args<C>(), result), TTransportException) << "no reply at all";
}

// A request without its arguments is served with every argument at its
// default; a processor without event handler serves as well.
TYPED_TEST(EveryCall, MissingArgumentsReachTheHandlerAsDefaults) {
  using C = TypeParam;
  Peer peer;
  peer.send(C::name, T_CALL, 9, {});
  auto handler = std::make_shared<RecordingHandler>();
  auto reply = std::make_shared<TMemoryBuffer>();
  EXPECT_TRUE(YolProcessor(handler).process(binary(peer.buffer), binary(reply), nullptr));
  expect_received<C>(*handler, {typename C::Args{}});
  EXPECT_EQ(read_message(*binary(reply)), (Header{C::name, T_REPLY, 9}));
}

// YolNull answers 0 or false and leaves out-parameters as they were.
TYPED_TEST(EveryCall, NullHandlerAnswersNothing) {
  using C = TypeParam;
  yol::YolNull null;
  const typename C::Result before = sample_result<C>();
  typename C::Result result = before;
  C::call(null, sample_args<C>(), result);
  EXPECT_EQ(result, C::shape == Shape::returned ? typename C::Result{} : before);
}

TEST(Client, RecordResultIsReadIntoWithoutBeingReset) {
  Peer peer;
  peer.send("GetModemInfo", T_REPLY, 0,
            [](TProtocol& out) { field(out, 0, Fields([](TProtocol& in) { field(in, 1, std::string("new")); })); });
  yol::stCellularInfo info;
  info.model = "old";
  info.__set_modemid("old-modem");
  YolClient(binary(peer.buffer), binary()).GetModemInfo(info);
  EXPECT_EQ(info.model, "new");
  EXPECT_TRUE(info.__isset.modemid && info.modemid == "old-modem") << "a field the reply lacks keeps its value";
}

// A processor with a recording handler and hooks, fed by a scripted peer.
class ProcessorTest : public ::testing::Test {
 protected:
  bool process_next() { return processor->process(binary(peer.buffer), binary(written), nullptr); }

  Peer peer;
  std::shared_ptr<RecordingHandler> handler = std::make_shared<RecordingHandler>();
  std::shared_ptr<HookRecorder> hooks = std::make_shared<HookRecorder>();
  std::shared_ptr<YolProcessor> processor = processor_on(handler, hooks);
  std::shared_ptr<TMemoryBuffer> written = std::make_shared<TMemoryBuffer>();
};

TEST_F(ProcessorTest, UnknownMethodIsAnsweredAndSkippedAndTheNextRequestIsServed) {
  // Names match exactly: Ping is not ping.
  peer.send("reboot", T_CALL, 11, misleading);
  peer.send("Ping", T_CALL, 12, misleading);
  peer.send("status", T_CALL, 13, status_id_5);
  auto replies = binary(written);
  for (const auto& [name, seqid] : std::vector<std::pair<std::string, int32_t>>{{"reboot", 11}, {"Ping", 12}}) {
    EXPECT_TRUE(process_next());
    Ex error;
    EXPECT_EQ(read_message(*replies, &error), (Header{name, T_EXCEPTION, seqid}));
    EXPECT_EQ(error.getType(), Ex::UNKNOWN_METHOD);
    EXPECT_EQ(std::string(error.what()), "Invalid method name: '" + name + "'");
  }
  EXPECT_TRUE(hooks->lines.empty()) << "no call was served";
  EXPECT_TRUE(process_next());
  EXPECT_EQ(read_message(*replies), (Header{"status", T_REPLY, 13}));
  expect_received<Call_status>(*handler, {Call_status::Args(5)});
}

TEST_F(ProcessorTest, MalformedArgumentsLeaveProcessUnansweredWithoutReachingTheHandler) {
  // SetModemInfo whose stCellularInfo lacks its required model.
  peer.send("SetModemInfo", T_CALL, 1,
            [](TProtocol& out) { field(out, 1, Fields([](TProtocol& in) { field(in, 2, std::string("m-1")); })); });
  EXPECT_THROW(process_next(), TProtocolException);
  EXPECT_EQ(written->available_read(), 0u);
  EXPECT_TRUE(handler->received().empty());
  EXPECT_EQ(hooks->lines, hook_lines("SetModemInfo", {"getContext", "preRead", "freeContext"}));
}

class ThrowsNonStandard : public yol::YolNull {
 public:
  int32_t status(int32_t) override { throw 42; }
};

TEST_F(ProcessorTest, NonStandardHandlerExceptionLeavesProcessUnanswered) {
  processor = processor_on(std::make_shared<ThrowsNonStandard>(), hooks);
  peer.send("status", T_CALL, 1, status_id_5);
  const uint32_t request_size = peer.buffer->available_read();
  EXPECT_THROW(process_next(), int);
  EXPECT_EQ(written->available_read(), 0u);
  EXPECT_EQ(hooks->lines, hook_lines("status", {"getContext", "preRead", "postRead " + std::to_string(request_size),
                                                "freeContext"}));
}

// Hands each connection a new RecordingHandler and keeps, in order, every
// handler it handed out and every one it got back.
class CountingFactory : public yol::YolIfFactory {
 public:
  YolIf* getHandler(const TConnectionInfo&) override {
    handed.push_back(std::make_unique<RecordingHandler>());
    return handed.back().get();
  }
  void releaseHandler(YolIf* handler) override { released.push_back(handler); }

  std::vector<std::unique_ptr<RecordingHandler>> handed;
  std::vector<YolIf*> released;
};

TEST(ProcessorFactory, EachProcessorServesWithItsOwnHandlerAndGivesItBackOnceWhenDestroyed) {
  auto factory = std::make_shared<CountingFactory>();
  yol::YolProcessorFactory processors(factory);
  std::shared_ptr<TProcessor> first = processors.getProcessor(TConnectionInfo());
  std::shared_ptr<TProcessor> second = processors.getProcessor(TConnectionInfo());
  ASSERT_EQ(factory->handed.size(), 2u);
  Peer peer;
  peer.send("status", T_CALL, 1, status_id_5);
  first->process(binary(peer.buffer), binary(), nullptr);
  EXPECT_EQ(factory->handed[0]->received().size(), 1u);
  EXPECT_TRUE(factory->handed[1]->received().empty());

  EXPECT_TRUE(factory->released.empty());
  second.reset();
  first.reset();
  EXPECT_EQ(factory->released, (std::vector<YolIf*>{factory->handed[1].get(), factory->handed[0].get()}));
}

}  // namespace
