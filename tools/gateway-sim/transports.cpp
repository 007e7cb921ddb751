#include "transports.h"

#include <stdexcept>
#include <utility>

#include <thrift/protocol/TJSONProtocol.h>
#include <thrift/transport/TBufferTransports.h>
#include <thrift/transport/TVirtualTransport.h>

#include <thriftyol/limits/safe_server.h>

namespace gatewaysim {
namespace {

using ::apache::thrift::TConfiguration;
using ::apache::thrift::transport::TBufferedTransport;
using ::apache::thrift::transport::TTransport;
using ::apache::thrift::transport::TTransportFactory;
using ::apache::thrift::transport::TVirtualTransport;

// Passes everything to the connection's socket and counts the bytes.
class CountingTransport : public TVirtualTransport<CountingTransport> {
 public:
  CountingTransport(std::shared_ptr<TTransport> inner, std::shared_ptr<TConfiguration> config)
      : TVirtualTransport(std::move(config)), inner_(std::move(inner)) {}

  bool isOpen() const override { return inner_->isOpen(); }
  bool peek() override { return inner_->peek(); }
  void open() override { inner_->open(); }
  void close() override { inner_->close(); }
  void flush() override { inner_->flush(); }
  const std::string getOrigin() const override { return inner_->getOrigin(); }

  uint32_t read(uint8_t* buf, uint32_t len) {
    const uint32_t got = inner_->read(buf, len);
    read_ += got;
    return got;
  }

  void write(const uint8_t* buf, uint32_t len) {
    inner_->write(buf, len);
    written_ += len;
  }

  uint64_t bytesRead() const { return read_; }
  uint64_t bytesWritten() const { return written_; }

 private:
  std::shared_ptr<TTransport> inner_;
  uint64_t read_ = 0;
  uint64_t written_ = 0;
};

// A buffered transport whose readEnd and writeEnd tell the size of the
// message just read or written, and whose message size budget starts afresh
// with each message. The runtime's starts afresh only on flush, which a
// server's input transport never sees: a connection would fail once 4 MiB
// had passed over it in total.
class MeteredBufferedTransport : public TBufferedTransport {
 public:
  MeteredBufferedTransport(std::shared_ptr<CountingTransport> counter,
                           std::shared_ptr<TConfiguration> config)
      : TBufferedTransport(counter, std::move(config)), counter_(std::move(counter)) {}

  uint32_t readEnd() override {
    resetConsumedMessageSize();
    const uint64_t consumed = counter_->bytesRead() - static_cast<uint64_t>(rBound_ - rBase_);
    const uint64_t size = consumed - consumed_;
    consumed_ = consumed;
    return static_cast<uint32_t>(size);
  }

  uint32_t writeEnd() override {
    const uint64_t produced =
        counter_->bytesWritten() + static_cast<uint64_t>(wBase_ - wBuf_.get());
    const uint64_t size = produced - produced_;
    produced_ = produced;
    return static_cast<uint32_t>(size);
  }

 private:
  std::shared_ptr<CountingTransport> counter_;
  uint64_t consumed_ = 0;
  uint64_t produced_ = 0;
};

class BufferedFactory : public TTransportFactory {
 public:
  std::shared_ptr<TTransport> getTransport(std::shared_ptr<TTransport> trans) override {
    auto config = yol::safe_server::configuration();
    auto counter = std::make_shared<CountingTransport>(std::move(trans), config);
    return std::make_shared<MeteredBufferedTransport>(std::move(counter), config);
  }
};

}  // namespace

std::shared_ptr<TTransportFactory> makeTransportFactory(const std::string& name) {
  if (name == "buffered") {
    return std::make_shared<BufferedFactory>();
  }
  if (name == "framed") {
    return std::make_shared<yol::safe_server::FramedTransportFactory>();
  }
  throw std::invalid_argument("unknown transport '" + name + "'");
}

std::shared_ptr<::apache::thrift::protocol::TProtocolFactory> makeProtocolFactory(
    const std::string& name) {
  if (name == "binary") {
    return yol::safe_server::binaryProtocolFactory();
  }
  if (name == "compact") {
    return yol::safe_server::compactProtocolFactory();
  }
  if (name == "json") {
    return std::make_shared<::apache::thrift::protocol::TJSONProtocolFactory>();
  }
  throw std::invalid_argument("unknown protocol '" + name + "'");
}

}  // namespace gatewaysim
