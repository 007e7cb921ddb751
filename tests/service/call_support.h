// What the service tests share: the shape of a call as it must appear on the
// wire, a generic decoder that reads that shape back from the bytes without
// any of our generated code, a handler base that records what it received,
// and a loopback transport that runs a processor whenever a client flushes.
#ifndef THRIFTYOL_TESTS_SERVICE_CALL_SUPPORT_H
#define THRIFTYOL_TESTS_SERVICE_CALL_SUPPORT_H

#include <any>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <ostream>
#include <stdexcept>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include <thrift/TProcessor.h>
#include <thrift/protocol/TProtocol.h>
#include <thrift/transport/TBufferTransports.h>
#include <thrift/transport/TVirtualTransport.h>

#include <thriftyol/testing/yol_samples.h>

#include "recording_protocol.h"

namespace yol {
namespace service_test {

using ::apache::thrift::protocol::TMessageType;
using ::apache::thrift::protocol::TProtocol;
using ::apache::thrift::protocol::TType;
using ::apache::thrift::transport::TTransport;

// How a call hands back its result: not at all (ping), as the return value
// (bool, i32) or through a first out-parameter (string, record, list).
enum class Shape { none, returned, out };

// The result of a call without one, so that every call has a Result type.
struct NoResult {
  bool operator==(const NoResult&) const { return true; }
};
inline std::ostream& operator<<(std::ostream& out, const NoResult&) {
  return out << "(no result)";
}

// One field of an argument or result envelope as it travels. `element` is
// the element type of a list and T_STOP otherwise.
struct WireField {
  int16_t id;
  std::string name;
  TType type;
  TType element;
};

// "3 T_LIST<T_I32>": what the bytes say about a field (protocols that do
// not transmit field names give no name).
std::string wire_text(const WireField& field);
std::vector<std::string> wire_texts(const std::vector<WireField>& fields);
// "Cat T_I32 1", as the recording protocol logs a writeFieldBegin.
std::vector<std::string> written_texts(const std::vector<WireField>& fields);

enum class Protocol { binary, compact };
const char* protocol_name(Protocol protocol);
void PrintTo(Protocol protocol, std::ostream* out);
std::shared_ptr<TProtocol> make_protocol(Protocol protocol, std::shared_ptr<TTransport> transport);

// A message read generically: its header and its body's top-level fields,
// read with readFieldBegin and skip alone.
struct WireMessage {
  std::string name;
  TMessageType type;
  int32_t seqid;
  std::vector<WireField> fields;
  uint32_t trailing_bytes;  // left in the buffer after readMessageEnd
};
WireMessage decode_message(const std::string& bytes, Protocol protocol);
// Every message in `bytes`, one after the other.
std::vector<WireMessage> decode_messages(const std::string& bytes, Protocol protocol);

// Writes the fields of a struct one by one, as a peer with its own idea of
// the contract might: `nested` opens a struct field, `end` closes it.
class StructWriter {
 public:
  explicit StructWriter(TProtocol& out) : out_(out) {}

  StructWriter& i32(int16_t id, int32_t value);
  StructWriter& string(int16_t id, const std::string& value);
  StructWriter& nested(int16_t id);
  StructWriter& end();

 private:
  TProtocol& out_;
};

// Writes whole messages, as a peer would, into a memory buffer.
class MessageWriter {
 public:
  explicit MessageWriter(Protocol protocol = Protocol::binary);

  // A message whose body is a struct with the fields that `fields` writes.
  void message(const std::string& name, TMessageType type, int32_t seqid,
               const std::function<void(StructWriter&)>& fields);
  // A message whose body is a struct with no fields.
  void empty(const std::string& name, TMessageType type, int32_t seqid);
  // A message whose body is `body.write`.
  template <class Body>
  void of(const std::string& name, TMessageType type, int32_t seqid, const Body& body) {
    out_->writeMessageBegin(name, type, seqid);
    body.write(out_.get());
    out_->writeMessageEnd();
  }

  const std::shared_ptr<::apache::thrift::transport::TMemoryBuffer>& buffer() const { return buffer_; }
  std::string bytes() const;

 private:
  std::shared_ptr<::apache::thrift::transport::TMemoryBuffer> buffer_;
  std::shared_ptr<TProtocol> out_;
};

// The top-level struct of a message as a recording protocol logged it: the
// name given to writeStructBegin and the writeFieldBegin lines of its own
// fields (those of nested records left out).
struct WrittenStruct {
  std::string name;
  std::vector<std::string> fields;
};
WrittenStruct written_struct(const std::vector<std::string>& lines);

// The exception of type E that f throws, or nothing when f returns.
// Exceptions of other types pass on.
template <class E, class F>
std::optional<E> caught(F&& f) {
  try {
    f();
  } catch (const E& e) {
    return e;
  }
  return std::nullopt;
}

// Sample values: argument k of a call is filled with seed arg_seed + k, the
// result with result_seed, so that no two values of one call coincide.
template <class Tuple, std::size_t... I>
void fill_tuple(Tuple& values, int seed, std::index_sequence<I...>) {
  (::yol::testing::fill(std::get<I>(values), seed + static_cast<int>(I) + 1), ...);
}

template <class C>
typename C::Args sample_args() {
  typename C::Args args;
  fill_tuple(args, C::arg_seed, std::make_index_sequence<std::tuple_size<typename C::Args>::value>{});
  return args;
}

template <class C>
typename C::Result sample_result(int seed = C::result_seed) {
  if constexpr (C::shape == Shape::none) {
    return {};
  } else {
    return ::yol::testing::sample<typename C::Result>(seed);
  }
}

// Base of a handler that keeps every call it receives: the wire name and the
// arguments as the call's Args tuple. Safe to fill from a server thread.
class CallRecorder {
 public:
  struct Received {
    std::string name;
    std::any args;
  };

  std::vector<Received> received() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return received_;
  }

  // From now on every call, once recorded, throws std::runtime_error(text).
  void fail_with(std::string text) {
    std::lock_guard<std::mutex> lock(mutex_);
    failure_ = std::move(text);
  }

 protected:
  template <class C>
  typename C::Result answer(typename C::Args args) {
    std::lock_guard<std::mutex> lock(mutex_);
    received_.push_back({C::name, std::move(args)});
    if (!failure_.empty()) {
      throw std::runtime_error(failure_);
    }
    return sample_result<C>();
  }

 private:
  mutable std::mutex mutex_;
  std::vector<Received> received_;
  std::string failure_;
};

// An event handler that logs each hook as "<hook> <context name>", with the
// byte count for postRead and postWrite ("postRead Yol.status 21"). Its
// per-call context is a pointer of its own; a hook given any other context
// logs " (foreign context)" after the name.
class HookRecorder : public ::apache::thrift::TProcessorEventHandler {
 public:
  std::vector<std::string> lines() const;
  // The call context that getContext was last given.
  void* call_context() const;

  void* getContext(const char* fn_name, void* serverContext) override;
  void freeContext(void* ctx, const char* fn_name) override;
  void preRead(void* ctx, const char* fn_name) override;
  void postRead(void* ctx, const char* fn_name, uint32_t bytes) override;
  void preWrite(void* ctx, const char* fn_name) override;
  void postWrite(void* ctx, const char* fn_name, uint32_t bytes) override;
  void handlerError(void* ctx, const char* fn_name) override;

 private:
  void log(const char* hook, void* ctx, const char* fn_name, const std::string& suffix = "");

  mutable std::mutex mutex_;
  std::vector<std::string> lines_;
  void* call_context_ = nullptr;
  int token_ = 0;
};

// The hook lines of a call served normally, and of one whose handler threw.
std::vector<std::string> served_hooks(const std::string& context, std::size_t bytes_read,
                                      std::size_t bytes_written);
std::vector<std::string> failed_hooks(const std::string& context, std::size_t bytes_read);

// A transport whose far end is a processor: what the client writes is
// collected until flush, then processed over memory buffers, and the reply
// becomes what the client reads. The client never blocks: reading past the
// reply throws END_OF_FILE. Keeps the last request and reply bytes, and the
// calls that the processor's output protocol made.
class Loopback : public ::apache::thrift::transport::TVirtualTransport<Loopback> {
 public:
  Loopback(Protocol protocol, std::shared_ptr<::apache::thrift::TProcessor> processor);

  bool isOpen() const override { return true; }
  void write(const uint8_t* buf, uint32_t len);
  uint32_t read(uint8_t* buf, uint32_t len);
  void flush() override;

  const std::string& request() const { return request_; }
  const std::string& reply() const { return reply_; }
  const std::vector<std::string>& reply_calls() const { return reply_calls_; }
  // What process() returned for the last request.
  bool kept_open() const { return kept_open_; }

 private:
  Protocol protocol_;
  std::shared_ptr<::apache::thrift::TProcessor> processor_;
  std::string pending_;
  std::string request_;
  std::string reply_;
  std::size_t read_pos_ = 0;
  std::vector<std::string> reply_calls_;
  bool kept_open_ = true;
};

}  // namespace service_test
}  // namespace yol

#endif  // THRIFTYOL_TESTS_SERVICE_CALL_SUPPORT_H
