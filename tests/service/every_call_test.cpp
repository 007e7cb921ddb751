// Every call of the service, end to end, through the binary and the compact
// protocol: a YolClient calls a YolProcessor whose handler records what it
// receives and answers with a sample result.
//
// The table of calls (contract_calls.h) is written at build time from the
// contract itself by contract_calls.py, with a parser of its own, so it
// does not share the generator's reading of the contract. For each call it
// gives the argument types, the argument and result fields (id, name, wire
// type) and the YolIf signature (RecordingHandler overrides all of them).
//
// What a transcription error in one call of the generated code makes fail:
// - a missing, extra or differently typed YolIf function, or arguments
//   passed differently (by value, by reference): RecordingHandler no longer
//   compiles (an override that overrides nothing, or an abstract class);
// - arguments swapped, or one argument's value lost between client,
//   envelope and handler: the handler's received tuple differs from the
//   sent one (every argument has its own sample value);
// - a wrong argument id, wire type or order: the request's fields, decoded
//   from the bytes without our generated code, differ from the contract's;
//   a wrong field or struct name: the recorded writeFieldBegin and
//   writeStructBegin lines differ (both sides of an id error agree with
//   each other, so only this pin against the contract catches it);
// - a wrong result kind or wire type: the reply's field 0, decoded from the
//   bytes, differs, or the client's result differs from the handler's;
// - a wrong wire name in client or processor: the request's message name
//   differs, or the processor answers UNKNOWN_METHOD and the call throws;
// - a wrong event-handler context name, or a wrong MISSING_RESULT text:
//   the hook lines or the exception text differ.
#include <string>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include <thrift/TApplicationException.h>
#include <thrift/transport/TBufferTransports.h>

#include <thriftyol/service/Yol.h>

#include "call_support.h"
#include "contract_calls.h"

namespace {

using ::apache::thrift::TApplicationException;
using ::apache::thrift::protocol::T_CALL;
using ::apache::thrift::protocol::T_EXCEPTION;
using ::apache::thrift::protocol::T_REPLY;
using ::apache::thrift::protocol::TMessageType;
using ::apache::thrift::transport::TMemoryBuffer;
using ::yol::YolClient;
using ::yol::YolProcessor;
using ::yol::testing::RecordingProtocol;
using namespace ::yol::service_test;

static_assert(AllCalls::size == 75, "the contract declares 75 calls");

// A client and a processor joined by a loopback transport, with a recorder
// on the client's output and hooks on the processor.
struct Link {
  explicit Link(Protocol protocol)
      : handler(std::make_shared<RecordingHandler>()),
        hooks(std::make_shared<HookRecorder>()),
        loop(std::make_shared<Loopback>(protocol, make_processor(handler, hooks))),
        output(std::make_shared<RecordingProtocol>(make_protocol(protocol, loop))),
        client(make_protocol(protocol, loop), output) {}

  static std::shared_ptr<YolProcessor> make_processor(std::shared_ptr<RecordingHandler> handler,
                                                      std::shared_ptr<HookRecorder> hooks) {
    auto processor = std::make_shared<YolProcessor>(handler);
    processor->setEventHandler(hooks);
    return processor;
  }

  std::shared_ptr<RecordingHandler> handler;
  std::shared_ptr<HookRecorder> hooks;
  std::shared_ptr<Loopback> loop;
  std::shared_ptr<RecordingProtocol> output;
  YolClient client;
};

template <class C>
void received_once(const RecordingHandler& handler, const typename C::Args& sent) {
  const auto received = handler.received();
  ASSERT_EQ(received.size(), 1u);
  EXPECT_EQ(received[0].name, C::name);
  const auto* args = std::any_cast<typename C::Args>(&received[0].args);
  ASSERT_NE(args, nullptr);
  EXPECT_EQ(*args, sent) << "arguments as the handler received them";
}

// A message as it must travel: its header, its top-level fields decoded
// from the bytes, and the struct and field names its writer gave.
void travels_as_contract_says(Protocol protocol, const std::string& bytes, const std::vector<std::string>& calls,
                              const std::string& name, TMessageType type, const std::string& struct_name,
                              const std::vector<WireField>& fields) {
  SCOPED_TRACE(struct_name);
  const WireMessage message = decode_message(bytes, protocol);
  EXPECT_EQ(message.name, name);
  EXPECT_EQ(message.type, type);
  EXPECT_EQ(message.seqid, 0);
  EXPECT_EQ(wire_texts(message.fields), wire_texts(fields)) << "fields on the wire";
  EXPECT_EQ(message.trailing_bytes, 0u);

  const WrittenStruct written = written_struct(calls);
  EXPECT_EQ(written.name, struct_name);
  EXPECT_EQ(written.fields, written_texts(fields));
}

template <class C>
void crosses_intact(Protocol protocol) {
  Link link(protocol);
  const typename C::Args sent = sample_args<C>();
  // Out-parameters start out holding other values: a list result must be
  // replaced, not appended to, and every field of a record result is set.
  typename C::Result result = sample_result<C>(C::result_seed + 200);
  C::call(link.client, sent, result);

  received_once<C>(*link.handler, sent);
  EXPECT_EQ(result, sample_result<C>()) << "result as the client returned it";
  const std::string envelope = std::string("Yol_") + C::name;
  travels_as_contract_says(protocol, link.loop->request(), link.output->calls(), C::name, T_CALL,
                           envelope + "_pargs", C::arg_fields());
  travels_as_contract_says(protocol, link.loop->reply(), link.loop->reply_calls(), C::name, T_REPLY,
                           envelope + "_result", C::result_fields());

  EXPECT_EQ(link.hooks->lines(), served_hooks(std::string("Yol.") + C::name, link.loop->request().size(),
                                              link.loop->reply().size()));
}

template <class C>
void handler_failure_comes_back(Protocol protocol) {
  Link link(protocol);
  link.handler->fail_with("busy in " + std::string(C::name));
  const typename C::Args sent = sample_args<C>();
  typename C::Result result{};
  const auto error = caught<TApplicationException>([&] { C::call(link.client, sent, result); });
  ASSERT_TRUE(error) << "the handler's failure did not reach the client";
  EXPECT_EQ(error->getType(), TApplicationException::UNKNOWN);
  EXPECT_EQ(std::string(error->what()), "busy in " + std::string(C::name));
  received_once<C>(*link.handler, sent);
  const WireMessage reply = decode_message(link.loop->reply(), protocol);
  EXPECT_EQ(reply.name, C::name);
  EXPECT_EQ(reply.type, T_EXCEPTION);
  EXPECT_TRUE(link.loop->kept_open());

  EXPECT_EQ(link.hooks->lines(), failed_hooks(std::string("Yol.") + C::name, link.loop->request().size()));
}

// A reply whose result struct is empty: every call with a result reports
// the missing result under its own name; ping returns normally.
template <class C>
void empty_reply(Protocol protocol) {
  MessageWriter peer(protocol);
  peer.empty(C::name, T_REPLY, 0);
  const auto& reply = peer.buffer();
  YolClient client(make_protocol(protocol, reply), make_protocol(protocol, std::make_shared<TMemoryBuffer>()));
  typename C::Result result{};
  if constexpr (C::shape == Shape::none) {
    EXPECT_NO_THROW(C::call(client, sample_args<C>(), result));
  } else {
    const auto error = caught<TApplicationException>([&] { C::call(client, sample_args<C>(), result); });
    ASSERT_TRUE(error) << "an empty reply gave a result";
    EXPECT_EQ(error->getType(), TApplicationException::MISSING_RESULT);
    EXPECT_EQ(std::string(error->what()), std::string(C::name) + " failed: unknown result");
  }
  EXPECT_EQ(reply->available_read(), 0u) << "the reply is read to its end";
}

struct CallCase {
  std::string name;
  void (*crosses_intact)(Protocol);
  void (*handler_failure_comes_back)(Protocol);
  void (*empty_reply)(Protocol);
};

void PrintTo(const CallCase& c, std::ostream* out) {
  *out << c.name;
}

std::vector<CallCase> all_calls() {
  std::vector<CallCase> cases;
  ::yol::testing::for_each_type(AllCalls{}, [&](auto type) {
    using C = typename decltype(type)::type;
    cases.push_back({C::name, &crosses_intact<C>, &handler_failure_comes_back<C>, &empty_reply<C>});
  });
  return cases;
}

class EveryCall : public ::testing::TestWithParam<std::tuple<CallCase, Protocol>> {
 protected:
  const CallCase& call() const { return std::get<0>(GetParam()); }
  Protocol protocol() const { return std::get<1>(GetParam()); }
};

TEST_P(EveryCall, ArgumentsAndResultCrossIntactAndTravelAsTheContractSays) {
  call().crosses_intact(protocol());
}

TEST_P(EveryCall, HandlerFailureReachesTheClientAsUnknownWithItsText) {
  call().handler_failure_comes_back(protocol());
}

TEST_P(EveryCall, EmptyReplyIsAMissingResultUnlessTheCallHasNone) {
  call().empty_reply(protocol());
}

INSTANTIATE_TEST_SUITE_P(Contract, EveryCall,
                         ::testing::Combine(::testing::ValuesIn(all_calls()),
                                            ::testing::Values(Protocol::binary, Protocol::compact)),
                         [](const ::testing::TestParamInfo<EveryCall::ParamType>& info) {
                           return std::string(protocol_name(std::get<1>(info.param))) + "_" +
                                  std::get<0>(info.param).name;
                         });

}  // namespace
