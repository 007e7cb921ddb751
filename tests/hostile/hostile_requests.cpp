#include "hostile_requests.h"

#include <thrift/protocol/TBinaryProtocol.h>
#include <thrift/protocol/TCompactProtocol.h>
#include <thrift/transport/TBufferTransports.h>

#include <thriftyol/limits/safe_server.h>

namespace hostile {

namespace {

using ::apache::thrift::protocol::TBinaryProtocol;
using ::apache::thrift::protocol::TCompactProtocol;
using ::apache::thrift::protocol::TProtocol;
using ::apache::thrift::protocol::TProtocolException;
using ::apache::thrift::transport::TMemoryBuffer;
namespace wire = ::apache::thrift::protocol;

// A protocol without limits that writes into a buffer.
struct Writer {
  explicit Writer(Wire w) : buffer(std::make_shared<TMemoryBuffer>()) {
    if (w == Wire::binary) {
      out = std::make_shared<TBinaryProtocol>(buffer);
    } else {
      out = std::make_shared<TCompactProtocol>(buffer);
    }
  }

  void raw(const std::string& bytes) {
    buffer->write(reinterpret_cast<const uint8_t*>(bytes.data()),
                  static_cast<uint32_t>(bytes.size()));
  }

  std::string bytes() const { return buffer->getBufferAsString(); }

  std::shared_ptr<TMemoryBuffer> buffer;
  std::shared_ptr<TProtocol> out;
};

// A string or name length as each protocol puts it in front of the bytes:
// a big-endian i32, or an unsigned varint.
std::string lengthPrefix(Wire w, uint32_t length) {
  std::string bytes;
  if (w == Wire::binary) {
    for (int shift = 24; shift >= 0; shift -= 8) {
      bytes.push_back(static_cast<char>((length >> shift) & 0xff));
    }
  } else {
    while (length >= 0x80) {
      bytes.push_back(static_cast<char>((length & 0x7f) | 0x80));
      length >>= 7;
    }
    bytes.push_back(static_cast<char>(length));
  }
  return bytes;
}

std::string hugeString(Wire w) {
  return announcedString(w, kHuge);
}

std::string deepNesting(Wire w) {
  return deepUnknownNesting(w, 10000);
}

}  // namespace

const char* name(Wire w) {
  return w == Wire::binary ? "binary" : "compact";
}

std::shared_ptr<::apache::thrift::protocol::TProtocolFactory> safeProtocols(Wire w) {
  return w == Wire::binary ? yol::safe_server::binaryProtocolFactory()
                           : yol::safe_server::compactProtocolFactory();
}

std::string hugeRecordList(Wire w) {
  Writer writer(w);
  TProtocol& out = *writer.out;
  out.writeMessageBegin("TEL_SendCAN", wire::T_CALL, 4);
  out.writeStructBegin("Yol_TEL_SendCAN_args");
  out.writeFieldBegin("sFilter", wire::T_STRING, 1);
  out.writeString("can0");
  out.writeFieldEnd();
  out.writeFieldBegin("stDevices", wire::T_LIST, 2);
  out.writeListBegin(wire::T_STRUCT, static_cast<uint32_t>(kHuge));
  return writer.bytes();
}

std::string announcedString(Wire w, int32_t length) {
  Writer writer(w);
  TProtocol& out = *writer.out;
  out.writeMessageBegin("SetMerivaultName", wire::T_CALL, 5);
  out.writeStructBegin("Yol_SetMerivaultName_args");
  out.writeFieldBegin("sName", wire::T_STRING, 1);
  writer.raw(lengthPrefix(w, static_cast<uint32_t>(length)) + "abc");
  return writer.bytes();
}

std::string hugeMethodName(Wire w) {
  Writer writer(w);
  if (w == Wire::compact) {
    // Protocol id, version 1 with message type call, sequence id 0.
    writer.raw(std::string("\x82\x21\x00", 3));
  }
  writer.raw(lengthPrefix(w, static_cast<uint32_t>(kHuge)) + "pi");
  return writer.bytes();
}

std::string deepUnknownNesting(Wire w, int depth) {
  Writer writer(w);
  TProtocol& out = *writer.out;
  out.writeMessageBegin("ping", wire::T_CALL, 6);
  out.writeStructBegin("Yol_ping_args");
  for (int i = 0; i < depth; ++i) {
    out.writeFieldBegin("nested", wire::T_STRUCT, 99);
    out.writeStructBegin("Nested");
  }
  for (int i = 0; i < depth; ++i) {
    out.writeFieldStop();
    out.writeStructEnd();
    out.writeFieldEnd();
  }
  out.writeFieldStop();
  out.writeStructEnd();
  out.writeMessageEnd();
  return writer.bytes();
}

std::string acknowledgeWithError(Wire w, int32_t error) {
  Writer writer(w);
  TProtocol& out = *writer.out;
  out.writeMessageBegin("FT_Acknowledge", wire::T_CALL, 8);
  out.writeStructBegin("Yol_FT_Acknowledge_pargs");
  out.writeFieldBegin("sFileID", wire::T_STRING, 1);
  out.writeString("f1");
  out.writeFieldEnd();
  out.writeFieldBegin("eType", wire::T_I32, 2);
  out.writeI32(1);
  out.writeFieldEnd();
  out.writeFieldBegin("eError", wire::T_I32, 3);
  out.writeI32(error);
  out.writeFieldEnd();
  out.writeFieldStop();
  out.writeStructEnd();
  out.writeMessageEnd();
  return writer.bytes();
}

void PrintTo(Wire w, std::ostream* out) {
  *out << name(w);
}

void PrintTo(const Case& hostileCase, std::ostream* out) {
  *out << hostileCase.name;
}

const std::vector<Case>& cases() {
  static const std::vector<Case> all = {
      {"RecordListOf2G", &hugeRecordList, TProtocolException::SIZE_LIMIT},
      {"StringOf2G", &hugeString, TProtocolException::SIZE_LIMIT},
      {"MethodNameOf2G", &hugeMethodName, TProtocolException::SIZE_LIMIT},
      {"NestingOf10000", &deepNesting, TProtocolException::DEPTH_LIMIT},
  };
  return all;
}

}  // namespace hostile
