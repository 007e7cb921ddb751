// A protocol and a transport that write down every call made on them, one
// readable line per call, so that tests can pin exact call sequences:
//
//   writeStructBegin stFeatures
//   writeFieldBegin feature T_I32 1
//   writeI32 7
//   writeFieldEnd
//   ...
//
// Both wrap a real protocol or transport and forward every call to it, so
// the bytes come out as the wrapped one makes them. Write calls are logged
// before they are forwarded (a call that throws is still in the log); read
// calls after they return, with the values they read. String values are
// quoted and escaped; names (of records, fields and messages) are not.
#ifndef THRIFTYOL_TESTS_SUPPORT_RECORDING_PROTOCOL_H
#define THRIFTYOL_TESTS_SUPPORT_RECORDING_PROTOCOL_H

#include <thrift/protocol/TProtocol.h>
#include <thrift/protocol/TProtocolDecorator.h>
#include <thrift/transport/TBufferTransports.h>
#include <thrift/transport/TVirtualTransport.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace yol {
namespace testing {

using ::apache::thrift::protocol::TMessageType;
using ::apache::thrift::protocol::TProtocol;
using ::apache::thrift::protocol::TType;
using ::apache::thrift::transport::TMemoryBuffer;
using ::apache::thrift::transport::TTransport;

// The lines written by one or more recorders, in call order.
class CallLog {
 public:
  void add(std::string line) { lines_.push_back(std::move(line)); }
  const std::vector<std::string>& lines() const { return lines_; }
  void clear() { lines_.clear(); }
  // The lines, each followed by a line break.
  std::string text() const;

 private:
  std::vector<std::string> lines_;
};

// "T_I32", "T_STRUCT", ...; an unknown code as "T_?<code>".
std::string type_name(TType type);
// "T_CALL", "T_REPLY", "T_EXCEPTION", "T_ONEWAY"; others as "T_?<code>".
std::string message_type_name(TMessageType type);
// A string value as logged: in double quotes, with \", \\, \n, \r, \t and
// \xNN escapes for other bytes outside printable ASCII.
std::string quoted(const std::string& value);

class RecordingProtocol : public ::apache::thrift::protocol::TProtocolDecorator {
 public:
  explicit RecordingProtocol(std::shared_ptr<TProtocol> inner,
                             std::shared_ptr<CallLog> log = std::make_shared<CallLog>());

  const std::vector<std::string>& calls() const { return log_->lines(); }
  // When on, "writeStructBegin" and "writeStructEnd" lines end in
  // " [depth N]": the protocol's output recursion depth at that call.
  void log_depth(bool on) { log_depth_ = on; }
  CallLog& log() { return *log_; }
  const std::shared_ptr<CallLog>& shared_log() const { return log_; }
  TProtocol& inner() { return *inner_; }

  uint32_t writeMessageBegin_virt(const std::string& name, const TMessageType messageType,
                                  const int32_t seqid) override;
  uint32_t writeMessageEnd_virt() override;
  uint32_t writeStructBegin_virt(const char* name) override;
  uint32_t writeStructEnd_virt() override;
  uint32_t writeFieldBegin_virt(const char* name, const TType fieldType, const int16_t fieldId) override;
  uint32_t writeFieldEnd_virt() override;
  uint32_t writeFieldStop_virt() override;
  uint32_t writeMapBegin_virt(const TType keyType, const TType valType, const uint32_t size) override;
  uint32_t writeMapEnd_virt() override;
  uint32_t writeListBegin_virt(const TType elemType, const uint32_t size) override;
  uint32_t writeListEnd_virt() override;
  uint32_t writeSetBegin_virt(const TType elemType, const uint32_t size) override;
  uint32_t writeSetEnd_virt() override;
  uint32_t writeBool_virt(const bool value) override;
  uint32_t writeByte_virt(const int8_t byte) override;
  uint32_t writeI16_virt(const int16_t i16) override;
  uint32_t writeI32_virt(const int32_t i32) override;
  uint32_t writeI64_virt(const int64_t i64) override;
  uint32_t writeDouble_virt(const double dub) override;
  uint32_t writeString_virt(const std::string& str) override;
  uint32_t writeBinary_virt(const std::string& str) override;

  uint32_t readMessageBegin_virt(std::string& name, TMessageType& messageType, int32_t& seqid) override;
  uint32_t readMessageEnd_virt() override;
  uint32_t readStructBegin_virt(std::string& name) override;
  uint32_t readStructEnd_virt() override;
  uint32_t readFieldBegin_virt(std::string& name, TType& fieldType, int16_t& fieldId) override;
  uint32_t readFieldEnd_virt() override;
  uint32_t readMapBegin_virt(TType& keyType, TType& valType, uint32_t& size) override;
  uint32_t readMapEnd_virt() override;
  uint32_t readListBegin_virt(TType& elemType, uint32_t& size) override;
  uint32_t readListEnd_virt() override;
  uint32_t readSetBegin_virt(TType& elemType, uint32_t& size) override;
  uint32_t readSetEnd_virt() override;
  uint32_t readBool_virt(bool& value) override;
  uint32_t readBool_virt(std::vector<bool>::reference value) override;
  uint32_t readByte_virt(int8_t& byte) override;
  uint32_t readI16_virt(int16_t& i16) override;
  uint32_t readI32_virt(int32_t& i32) override;
  uint32_t readI64_virt(int64_t& i64) override;
  uint32_t readDouble_virt(double& dub) override;
  uint32_t readString_virt(std::string& str) override;
  uint32_t readBinary_virt(std::string& str) override;

  // Logged as "skip <type>"; the reads that skip makes follow in the log.
  uint32_t skip_virt(TType type) override;

 private:
  std::string depth_note();
  // Logs what `line()` makes once a read has returned `count`.
  template <class F>
  uint32_t after(uint32_t count, F&& line) {
    log_->add(line());
    return count;
  }

  std::shared_ptr<TProtocol> inner_;
  std::shared_ptr<CallLog> log_;
  bool log_depth_ = false;
};

// A recorder over a binary protocol over a memory buffer: the usual setup
// of a test that pins a call sequence and also wants the bytes.
struct RecordedBuffer {
  RecordedBuffer();
  // Reads back what was written: a fresh recorder over the same bytes.
  explicit RecordedBuffer(const std::string& bytes);

  std::string bytes() const { return buffer->getBufferAsString(); }

  std::shared_ptr<TMemoryBuffer> buffer;
  std::shared_ptr<RecordingProtocol> protocol;
};

// The output recursion depth of a protocol; -1 when it was lowered once
// more than it was raised. The runtime has no getter, so this probes with
// the limit (and puts limit and depth back as they were).
int output_depth(TProtocol& protocol);

// A transport that forwards to another one and logs "flush", "writeEnd"
// and "readEnd" (not the bytes). It can be told to fail: a write that would
// take the total written past a given count throws TTransportException
// without writing anything.
class RecordingTransport : public ::apache::thrift::transport::TVirtualTransport<RecordingTransport> {
 public:
  explicit RecordingTransport(std::shared_ptr<TTransport> inner,
                              std::shared_ptr<CallLog> log = std::make_shared<CallLog>());

  void fail_writes_after(uint64_t bytes) { write_limit_ = bytes; }
  void never_fail() { write_limit_ = UINT64_MAX; }
  uint64_t bytes_written() const { return written_; }
  CallLog& log() { return *log_; }
  const std::shared_ptr<CallLog>& shared_log() const { return log_; }

  bool isOpen() const override { return inner_->isOpen(); }
  bool peek() override { return inner_->peek(); }
  void open() override { inner_->open(); }
  void close() override { inner_->close(); }
  uint32_t read(uint8_t* buf, uint32_t len) { return inner_->read(buf, len); }
  uint32_t readAll(uint8_t* buf, uint32_t len) { return inner_->readAll(buf, len); }
  void write(const uint8_t* buf, uint32_t len);
  uint32_t readEnd() override;
  uint32_t writeEnd() override;
  void flush() override;

 private:
  std::shared_ptr<TTransport> inner_;
  std::shared_ptr<CallLog> log_;
  uint64_t write_limit_ = UINT64_MAX;
  uint64_t written_ = 0;
};

}  // namespace testing
}  // namespace yol

#endif  // THRIFTYOL_TESTS_SUPPORT_RECORDING_PROTOCOL_H
