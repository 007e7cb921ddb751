#include "call_support.h"

#include <algorithm>
#include <cstring>

#include <thrift/protocol/TBinaryProtocol.h>
#include <thrift/protocol/TCompactProtocol.h>
#include <thrift/transport/TBufferTransports.h>

namespace yol {
namespace service_test {

namespace proto = ::apache::thrift::protocol;
using ::apache::thrift::transport::TMemoryBuffer;
using ::yol::testing::type_name;

std::string wire_text(const WireField& field) {
  std::string text = std::to_string(field.id) + " " + type_name(field.type);
  if (field.type == proto::T_LIST) {
    text += "<" + type_name(field.element) + ">";
  }
  return text;
}

std::vector<std::string> wire_texts(const std::vector<WireField>& fields) {
  std::vector<std::string> texts;
  for (const WireField& field : fields) {
    texts.push_back(wire_text(field));
  }
  return texts;
}

std::vector<std::string> written_texts(const std::vector<WireField>& fields) {
  std::vector<std::string> texts;
  for (const WireField& field : fields) {
    texts.push_back("writeFieldBegin " + field.name + " " + type_name(field.type) + " " +
                    std::to_string(field.id));
  }
  return texts;
}

const char* protocol_name(Protocol protocol) {
  return protocol == Protocol::binary ? "Binary" : "Compact";
}

void PrintTo(Protocol protocol, std::ostream* out) {
  *out << protocol_name(protocol);
}

std::shared_ptr<TProtocol> make_protocol(Protocol protocol, std::shared_ptr<TTransport> transport) {
  if (protocol == Protocol::binary) {
    return std::make_shared<proto::TBinaryProtocol>(std::move(transport));
  }
  return std::make_shared<proto::TCompactProtocol>(std::move(transport));
}

namespace {

WireMessage read_message(TProtocol& in) {
  WireMessage message{};
  in.readMessageBegin(message.name, message.type, message.seqid);
  std::string ignored;
  in.readStructBegin(ignored);
  while (true) {
    WireField field{0, "", proto::T_STOP, proto::T_STOP};
    in.readFieldBegin(field.name, field.type, field.id);
    if (field.type == proto::T_STOP) {
      break;
    }
    if (field.type == proto::T_LIST) {
      uint32_t size = 0;
      in.readListBegin(field.element, size);
      for (uint32_t i = 0; i < size; ++i) {
        in.skip(field.element);
      }
      in.readListEnd();
    } else {
      in.skip(field.type);
    }
    in.readFieldEnd();
    message.fields.push_back(field);
  }
  in.readStructEnd();
  in.readMessageEnd();
  return message;
}

std::shared_ptr<TMemoryBuffer> buffer_of(const std::string& bytes) {
  auto buffer = std::make_shared<TMemoryBuffer>();
  buffer->write(reinterpret_cast<const uint8_t*>(bytes.data()), static_cast<uint32_t>(bytes.size()));
  return buffer;
}

}  // namespace

WireMessage decode_message(const std::string& bytes, Protocol protocol) {
  auto buffer = buffer_of(bytes);
  WireMessage message = read_message(*make_protocol(protocol, buffer));
  message.trailing_bytes = buffer->available_read();
  return message;
}

std::vector<WireMessage> decode_messages(const std::string& bytes, Protocol protocol) {
  auto buffer = buffer_of(bytes);
  auto in = make_protocol(protocol, buffer);
  std::vector<WireMessage> messages;
  while (buffer->available_read() > 0) {
    messages.push_back(read_message(*in));
    messages.back().trailing_bytes = buffer->available_read();
  }
  return messages;
}

MessageWriter::MessageWriter(Protocol protocol)
    : buffer_(std::make_shared<TMemoryBuffer>()), out_(make_protocol(protocol, buffer_)) {}

StructWriter& StructWriter::i32(int16_t id, int32_t value) {
  out_.writeFieldBegin("", proto::T_I32, id);
  out_.writeI32(value);
  out_.writeFieldEnd();
  return *this;
}

StructWriter& StructWriter::string(int16_t id, const std::string& value) {
  out_.writeFieldBegin("", proto::T_STRING, id);
  out_.writeString(value);
  out_.writeFieldEnd();
  return *this;
}

StructWriter& StructWriter::nested(int16_t id) {
  out_.writeFieldBegin("", proto::T_STRUCT, id);
  out_.writeStructBegin("");
  return *this;
}

StructWriter& StructWriter::end() {
  out_.writeFieldStop();
  out_.writeStructEnd();
  out_.writeFieldEnd();
  return *this;
}

void MessageWriter::message(const std::string& name, TMessageType type, int32_t seqid,
                            const std::function<void(StructWriter&)>& fields) {
  out_->writeMessageBegin(name, type, seqid);
  out_->writeStructBegin("");
  StructWriter writer(*out_);
  fields(writer);
  out_->writeFieldStop();
  out_->writeStructEnd();
  out_->writeMessageEnd();
}

void MessageWriter::empty(const std::string& name, TMessageType type, int32_t seqid) {
  message(name, type, seqid, [](StructWriter&) {});
}

std::string MessageWriter::bytes() const {
  return buffer_->getBufferAsString();
}

WrittenStruct written_struct(const std::vector<std::string>& lines) {
  WrittenStruct written;
  int depth = 0;
  for (const std::string& line : lines) {
    if (line.rfind("writeStructBegin ", 0) == 0) {
      if (++depth == 1) {
        written.name = line.substr(std::strlen("writeStructBegin "));
      }
    } else if (line.rfind("writeStructEnd", 0) == 0) {
      --depth;
    } else if (depth == 1 && line.rfind("writeFieldBegin ", 0) == 0) {
      written.fields.push_back(line);
    }
  }
  return written;
}

std::vector<std::string> HookRecorder::lines() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return lines_;
}

void* HookRecorder::call_context() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return call_context_;
}

void HookRecorder::log(const char* hook, void* ctx, const char* fn_name, const std::string& suffix) {
  std::lock_guard<std::mutex> lock(mutex_);
  lines_.push_back(std::string(hook) + " " + fn_name + (ctx == &token_ ? "" : " (foreign context)") + suffix);
}

void* HookRecorder::getContext(const char* fn_name, void* serverContext) {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    call_context_ = serverContext;
  }
  log("getContext", &token_, fn_name);
  return &token_;
}

void HookRecorder::freeContext(void* ctx, const char* fn_name) {
  log("freeContext", ctx, fn_name);
}

void HookRecorder::preRead(void* ctx, const char* fn_name) {
  log("preRead", ctx, fn_name);
}

void HookRecorder::postRead(void* ctx, const char* fn_name, uint32_t bytes) {
  log("postRead", ctx, fn_name, " " + std::to_string(bytes));
}

void HookRecorder::preWrite(void* ctx, const char* fn_name) {
  log("preWrite", ctx, fn_name);
}

void HookRecorder::postWrite(void* ctx, const char* fn_name, uint32_t bytes) {
  log("postWrite", ctx, fn_name, " " + std::to_string(bytes));
}

void HookRecorder::handlerError(void* ctx, const char* fn_name) {
  log("handlerError", ctx, fn_name);
}

std::vector<std::string> served_hooks(const std::string& context, std::size_t bytes_read,
                                      std::size_t bytes_written) {
  return {"getContext " + context,
          "preRead " + context,
          "postRead " + context + " " + std::to_string(bytes_read),
          "preWrite " + context,
          "postWrite " + context + " " + std::to_string(bytes_written),
          "freeContext " + context};
}

std::vector<std::string> failed_hooks(const std::string& context, std::size_t bytes_read) {
  return {"getContext " + context, "preRead " + context,
          "postRead " + context + " " + std::to_string(bytes_read), "handlerError " + context,
          "freeContext " + context};
}

Loopback::Loopback(Protocol protocol, std::shared_ptr<::apache::thrift::TProcessor> processor)
    : protocol_(protocol), processor_(std::move(processor)) {}

void Loopback::write(const uint8_t* buf, uint32_t len) {
  pending_.append(reinterpret_cast<const char*>(buf), len);
}

uint32_t Loopback::read(uint8_t* buf, uint32_t len) {
  const std::size_t n = std::min<std::size_t>(len, reply_.size() - read_pos_);
  std::memcpy(buf, reply_.data() + read_pos_, n);
  read_pos_ += n;
  return static_cast<uint32_t>(n);
}

void Loopback::flush() {
  request_.swap(pending_);
  pending_.clear();

  auto in_buffer = std::make_shared<TMemoryBuffer>();
  in_buffer->write(reinterpret_cast<const uint8_t*>(request_.data()), static_cast<uint32_t>(request_.size()));
  auto out_buffer = std::make_shared<TMemoryBuffer>();
  auto out = std::make_shared<::yol::testing::RecordingProtocol>(make_protocol(protocol_, out_buffer));

  reply_.clear();
  read_pos_ = 0;
  kept_open_ = processor_->process(make_protocol(protocol_, in_buffer), out, nullptr);
  reply_ = out_buffer->getBufferAsString();
  reply_calls_ = out->calls();
}

}  // namespace service_test
}  // namespace yol
