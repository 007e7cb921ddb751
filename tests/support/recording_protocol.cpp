#include "recording_protocol.h"

#include <thrift/protocol/TBinaryProtocol.h>
#include <thrift/protocol/TProtocolException.h>
#include <thrift/transport/TTransportException.h>

#include <cstdio>
#include <stdexcept>
#include <utility>

namespace yol {
namespace testing {

using ::apache::thrift::protocol::TProtocolException;
using ::apache::thrift::transport::TTransportException;
namespace proto = ::apache::thrift::protocol;

std::string CallLog::text() const {
  std::string out;
  for (const std::string& line : lines_) {
    out += line;
    out += '\n';
  }
  return out;
}

std::string type_name(TType type) {
  switch (type) {
    case proto::T_STOP:
      return "T_STOP";
    case proto::T_VOID:
      return "T_VOID";
    case proto::T_BOOL:
      return "T_BOOL";
    case proto::T_BYTE:
      return "T_BYTE";
    case proto::T_I16:
      return "T_I16";
    case proto::T_I32:
      return "T_I32";
    case proto::T_U64:
      return "T_U64";
    case proto::T_I64:
      return "T_I64";
    case proto::T_DOUBLE:
      return "T_DOUBLE";
    case proto::T_STRING:
      return "T_STRING";
    case proto::T_STRUCT:
      return "T_STRUCT";
    case proto::T_MAP:
      return "T_MAP";
    case proto::T_SET:
      return "T_SET";
    case proto::T_LIST:
      return "T_LIST";
    case proto::T_UTF8:
      return "T_UTF8";
    case proto::T_UTF16:
      return "T_UTF16";
  }
  return "T_?" + std::to_string(static_cast<int>(type));
}

std::string message_type_name(TMessageType type) {
  switch (type) {
    case proto::T_CALL:
      return "T_CALL";
    case proto::T_REPLY:
      return "T_REPLY";
    case proto::T_EXCEPTION:
      return "T_EXCEPTION";
    case proto::T_ONEWAY:
      return "T_ONEWAY";
  }
  return "T_?" + std::to_string(static_cast<int>(type));
}

std::string quoted(const std::string& value) {
  std::string out = "\"";
  for (const char c : value) {
    switch (c) {
      case '"':
        out += "\\\"";
        break;
      case '\\':
        out += "\\\\";
        break;
      case '\n':
        out += "\\n";
        break;
      case '\r':
        out += "\\r";
        break;
      case '\t':
        out += "\\t";
        break;
      default:
        if (c >= 0x20 && c < 0x7f) {
          out += c;
        } else {
          char hex[5];
          std::snprintf(hex, sizeof hex, "\\x%02X", static_cast<unsigned>(static_cast<unsigned char>(c)));
          out += hex;
        }
    }
  }
  return out + "\"";
}

namespace {

std::string number(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%.17g", value);
  return text;
}

const char* boolean(bool value) { return value ? "true" : "false"; }

// "name " when a name was read (JSON and binary protocols read none).
std::string read_name(const std::string& name) { return name.empty() ? std::string() : name + " "; }

}  // namespace

RecordingProtocol::RecordingProtocol(std::shared_ptr<TProtocol> inner, std::shared_ptr<CallLog> log)
    : TProtocolDecorator(inner), inner_(std::move(inner)), log_(std::move(log)) {}

std::string RecordingProtocol::depth_note() {
  return log_depth_ ? " [depth " + std::to_string(output_depth(*this)) + "]" : std::string();
}

// --- Writing: logged, then forwarded ------------------------------------------

uint32_t RecordingProtocol::writeMessageBegin_virt(const std::string& name, const TMessageType messageType,
                                                   const int32_t seqid) {
  log_->add("writeMessageBegin " + name + " " + message_type_name(messageType) + " " + std::to_string(seqid));
  return inner_->writeMessageBegin(name, messageType, seqid);
}

uint32_t RecordingProtocol::writeMessageEnd_virt() {
  log_->add("writeMessageEnd");
  return inner_->writeMessageEnd();
}

uint32_t RecordingProtocol::writeStructBegin_virt(const char* name) {
  log_->add(std::string("writeStructBegin ") + name + depth_note());
  return inner_->writeStructBegin(name);
}

uint32_t RecordingProtocol::writeStructEnd_virt() {
  log_->add("writeStructEnd" + depth_note());
  return inner_->writeStructEnd();
}

uint32_t RecordingProtocol::writeFieldBegin_virt(const char* name, const TType fieldType, const int16_t fieldId) {
  log_->add(std::string("writeFieldBegin ") + name + " " + type_name(fieldType) + " " + std::to_string(fieldId));
  return inner_->writeFieldBegin(name, fieldType, fieldId);
}

uint32_t RecordingProtocol::writeFieldEnd_virt() {
  log_->add("writeFieldEnd");
  return inner_->writeFieldEnd();
}

uint32_t RecordingProtocol::writeFieldStop_virt() {
  log_->add("writeFieldStop");
  return inner_->writeFieldStop();
}

uint32_t RecordingProtocol::writeMapBegin_virt(const TType keyType, const TType valType, const uint32_t size) {
  log_->add("writeMapBegin " + type_name(keyType) + " " + type_name(valType) + " " + std::to_string(size));
  return inner_->writeMapBegin(keyType, valType, size);
}

uint32_t RecordingProtocol::writeMapEnd_virt() {
  log_->add("writeMapEnd");
  return inner_->writeMapEnd();
}

uint32_t RecordingProtocol::writeListBegin_virt(const TType elemType, const uint32_t size) {
  log_->add("writeListBegin " + type_name(elemType) + " " + std::to_string(size));
  return inner_->writeListBegin(elemType, size);
}

uint32_t RecordingProtocol::writeListEnd_virt() {
  log_->add("writeListEnd");
  return inner_->writeListEnd();
}

uint32_t RecordingProtocol::writeSetBegin_virt(const TType elemType, const uint32_t size) {
  log_->add("writeSetBegin " + type_name(elemType) + " " + std::to_string(size));
  return inner_->writeSetBegin(elemType, size);
}

uint32_t RecordingProtocol::writeSetEnd_virt() {
  log_->add("writeSetEnd");
  return inner_->writeSetEnd();
}

uint32_t RecordingProtocol::writeBool_virt(const bool value) {
  log_->add(std::string("writeBool ") + boolean(value));
  return inner_->writeBool(value);
}

uint32_t RecordingProtocol::writeByte_virt(const int8_t byte) {
  log_->add("writeByte " + std::to_string(byte));
  return inner_->writeByte(byte);
}

uint32_t RecordingProtocol::writeI16_virt(const int16_t i16) {
  log_->add("writeI16 " + std::to_string(i16));
  return inner_->writeI16(i16);
}

uint32_t RecordingProtocol::writeI32_virt(const int32_t i32) {
  log_->add("writeI32 " + std::to_string(i32));
  return inner_->writeI32(i32);
}

uint32_t RecordingProtocol::writeI64_virt(const int64_t i64) {
  log_->add("writeI64 " + std::to_string(i64));
  return inner_->writeI64(i64);
}

uint32_t RecordingProtocol::writeDouble_virt(const double dub) {
  log_->add("writeDouble " + number(dub));
  return inner_->writeDouble(dub);
}

uint32_t RecordingProtocol::writeString_virt(const std::string& str) {
  log_->add("writeString " + quoted(str));
  return inner_->writeString(str);
}

uint32_t RecordingProtocol::writeBinary_virt(const std::string& str) {
  log_->add("writeBinary " + quoted(str));
  return inner_->writeBinary(str);
}

// --- Reading: forwarded, then logged with what was read -------------------------

uint32_t RecordingProtocol::readMessageBegin_virt(std::string& name, TMessageType& messageType, int32_t& seqid) {
  return after(inner_->readMessageBegin(name, messageType, seqid), [&] {
    return "readMessageBegin " + name + " " + message_type_name(messageType) + " " + std::to_string(seqid);
  });
}

uint32_t RecordingProtocol::readMessageEnd_virt() {
  return after(inner_->readMessageEnd(), [&] { return "readMessageEnd"; });
}

uint32_t RecordingProtocol::readStructBegin_virt(std::string& name) {
  return after(inner_->readStructBegin(name),
               [&] { return name.empty() ? "readStructBegin" : "readStructBegin " + name; });
}

uint32_t RecordingProtocol::readStructEnd_virt() {
  return after(inner_->readStructEnd(), [&] { return "readStructEnd"; });
}

uint32_t RecordingProtocol::readFieldBegin_virt(std::string& name, TType& fieldType, int16_t& fieldId) {
  const uint32_t n = inner_->readFieldBegin(name, fieldType, fieldId);
  if (fieldType == proto::T_STOP) {
    log_->add("readFieldBegin T_STOP");
  } else {
    log_->add("readFieldBegin " + read_name(name) + type_name(fieldType) + " " + std::to_string(fieldId));
  }
  return n;
}

uint32_t RecordingProtocol::readFieldEnd_virt() {
  return after(inner_->readFieldEnd(), [&] { return "readFieldEnd"; });
}

uint32_t RecordingProtocol::readMapBegin_virt(TType& keyType, TType& valType, uint32_t& size) {
  return after(inner_->readMapBegin(keyType, valType, size), [&] {
    return "readMapBegin " + type_name(keyType) + " " + type_name(valType) + " " + std::to_string(size);
  });
}

uint32_t RecordingProtocol::readMapEnd_virt() {
  return after(inner_->readMapEnd(), [&] { return "readMapEnd"; });
}

uint32_t RecordingProtocol::readListBegin_virt(TType& elemType, uint32_t& size) {
  return after(inner_->readListBegin(elemType, size),
               [&] { return "readListBegin " + type_name(elemType) + " " + std::to_string(size); });
}

uint32_t RecordingProtocol::readListEnd_virt() {
  return after(inner_->readListEnd(), [&] { return "readListEnd"; });
}

uint32_t RecordingProtocol::readSetBegin_virt(TType& elemType, uint32_t& size) {
  return after(inner_->readSetBegin(elemType, size),
               [&] { return "readSetBegin " + type_name(elemType) + " " + std::to_string(size); });
}

uint32_t RecordingProtocol::readSetEnd_virt() {
  return after(inner_->readSetEnd(), [&] { return "readSetEnd"; });
}

uint32_t RecordingProtocol::readBool_virt(bool& value) {
  return after(inner_->readBool(value), [&] { return std::string("readBool ") + boolean(value); });
}

uint32_t RecordingProtocol::readBool_virt(std::vector<bool>::reference value) {
  bool read = false;
  const uint32_t n = readBool_virt(read);
  value = read;
  return n;
}

uint32_t RecordingProtocol::readByte_virt(int8_t& byte) {
  return after(inner_->readByte(byte), [&] { return "readByte " + std::to_string(byte); });
}

uint32_t RecordingProtocol::readI16_virt(int16_t& i16) {
  return after(inner_->readI16(i16), [&] { return "readI16 " + std::to_string(i16); });
}

uint32_t RecordingProtocol::readI32_virt(int32_t& i32) {
  return after(inner_->readI32(i32), [&] { return "readI32 " + std::to_string(i32); });
}

uint32_t RecordingProtocol::readI64_virt(int64_t& i64) {
  return after(inner_->readI64(i64), [&] { return "readI64 " + std::to_string(i64); });
}

uint32_t RecordingProtocol::readDouble_virt(double& dub) {
  return after(inner_->readDouble(dub), [&] { return "readDouble " + number(dub); });
}

uint32_t RecordingProtocol::readString_virt(std::string& str) {
  return after(inner_->readString(str), [&] { return "readString " + quoted(str); });
}

uint32_t RecordingProtocol::readBinary_virt(std::string& str) {
  return after(inner_->readBinary(str), [&] { return "readBinary " + quoted(str); });
}

uint32_t RecordingProtocol::skip_virt(TType type) {
  log_->add("skip " + type_name(type));
  return TProtocol::skip_virt(type);
}

// --- Helpers -----------------------------------------------------------------

RecordedBuffer::RecordedBuffer()
    : buffer(std::make_shared<TMemoryBuffer>()),
      protocol(std::make_shared<RecordingProtocol>(std::make_shared<proto::TBinaryProtocol>(buffer))) {}

RecordedBuffer::RecordedBuffer(const std::string& bytes) : RecordedBuffer() {
  buffer->write(reinterpret_cast<const uint8_t*>(bytes.data()), static_cast<uint32_t>(bytes.size()));
}

int output_depth(TProtocol& protocol) {
  const uint32_t saved_limit = protocol.getRecursionLimit();
  // With limit L, raising succeeds exactly when depth + 1 <= L (in unsigned
  // arithmetic, so a depth lowered below zero succeeds even at L = 0). The
  // runtime raises before it checks: lower again whatever the outcome.
  for (uint32_t limit = 0; limit < 1000000; ++limit) {
    protocol.setRecurisionLimit(limit);
    bool raised = true;
    try {
      protocol.incrementOutputRecursionDepth();
    } catch (const TProtocolException&) {
      raised = false;
    }
    protocol.decrementOutputRecursionDepth();
    if (raised) {
      protocol.setRecurisionLimit(saved_limit);
      return static_cast<int>(limit) - 1;
    }
  }
  protocol.setRecurisionLimit(saved_limit);
  throw std::runtime_error("output recursion depth beyond probing");
}

RecordingTransport::RecordingTransport(std::shared_ptr<TTransport> inner, std::shared_ptr<CallLog> log)
    : TVirtualTransport(inner->getConfiguration()), inner_(std::move(inner)), log_(std::move(log)) {}

void RecordingTransport::write(const uint8_t* buf, uint32_t len) {
  if (written_ + len > write_limit_) {
    throw TTransportException(TTransportException::UNKNOWN, "write failed on purpose");
  }
  inner_->write(buf, len);
  written_ += len;
}

uint32_t RecordingTransport::readEnd() {
  log_->add("readEnd");
  return inner_->readEnd();
}

uint32_t RecordingTransport::writeEnd() {
  log_->add("writeEnd");
  return inner_->writeEnd();
}

void RecordingTransport::flush() {
  log_->add("flush");
  inner_->flush();
}

}  // namespace testing
}  // namespace yol
