// capture PROTOCOL TRANSPORT: the bytes of every call of the contract, as
// our client writes the call and our processor the reply, then a call of an
// unknown method and its exception reply; printed as text2pcap's input with
// directions (O: client to server, I: back). The largest request goes out
// in many TCP segments; the first two requests share one segment.

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include <thrift/transport/TBufferTransports.h>
#include <thrift/transport/TVirtualTransport.h>

#include "contract_calls.h"
#include "loopback_server.h"

namespace {

using apache::thrift::transport::TMemoryBuffer;
using namespace yol::service_test;

struct Packet {
  char direction;
  std::string bytes;
};

// The far end of the client: each flush runs the processor on what was
// written and makes its reply what the client reads.
class Pipe : public apache::thrift::transport::TVirtualTransport<Pipe> {
 public:
  Pipe(std::string protocol, std::string transport, std::vector<Packet>& packets)
      : protocol_(std::move(protocol)), transport_(std::move(transport)), packets_(packets) {}
  bool isOpen() const override { return true; }
  void write(const uint8_t* buf, uint32_t len) { pending_.append(reinterpret_cast<const char*>(buf), len); }
  uint32_t read(uint8_t* buf, uint32_t len) { return reply_->read(buf, len); }
  void flush() override {
    auto in = std::make_shared<TMemoryBuffer>();
    in->write(reinterpret_cast<const uint8_t*>(pending_.data()), static_cast<uint32_t>(pending_.size()));
    auto out = std::make_shared<TMemoryBuffer>();
    auto protocols = yol::testing::protocol_factory(protocol_);
    auto transports = yol::testing::transport_factory(transport_);
    yol::YolProcessor(std::make_shared<RecordingHandler>())
        .process(protocols->getProtocol(transports->getTransport(in)),
                 protocols->getProtocol(transports->getTransport(out)), nullptr);
    packets_.push_back({'O', pending_});
    packets_.push_back({'I', out->getBufferAsString()});
    reply_ = out;
    pending_.clear();
  }

 private:
  std::string protocol_, transport_, pending_;
  std::vector<Packet>& packets_;
  std::shared_ptr<TMemoryBuffer> reply_;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  std::vector<Packet> packets;
  auto pipe = std::make_shared<Pipe>(argv[1], argv[2], packets);
  auto protocol = yol::testing::protocol_factory(argv[1])->getProtocol(
      yol::testing::transport_factory(argv[2])->getTransport(pipe));
  yol::YolClient client(protocol);
  yol::testing::for_each_type(AllCalls{}, [&](auto type) {
    using C = typename decltype(type)::type;
    typename C::Result result{};
    C::call(client, sample_args<C>(), result);
  });
  protocol->writeMessageBegin("x", apache::thrift::protocol::T_CALL, 75);
  yol::Yol_ping_args().write(protocol.get());  // an empty struct
  protocol->writeMessageEnd();
  protocol->getTransport()->flush();
  std::size_t largest = 0;
  for (std::size_t i = 0; i < packets.size(); i += 2) {
    if (packets[i].bytes.size() > packets[largest].bytes.size()) largest = i;
  }
  const std::string whole = packets[largest].bytes;  // goes out in segments of 100 bytes
  packets.erase(packets.begin() + largest);
  for (std::size_t at = 0; at < whole.size(); at += 100) {
    packets.insert(packets.begin() + largest + at / 100, {'O', whole.substr(at, 100)});
  }
  packets[0].bytes += packets[2].bytes;  // two requests back to back, then both replies
  packets.erase(packets.begin() + 2);
  for (const Packet& p : packets) {
    std::printf("%c\n", p.direction);
    for (std::size_t i = 0; i < p.bytes.size(); ++i) {
      if (i % 16 == 0) std::printf(i ? "\n%06zx" : "%06zx", i);
      std::printf(" %02x", static_cast<unsigned char>(p.bytes[i]));
    }
    std::printf("\n");
  }
}
