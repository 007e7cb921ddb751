// The serving side in-process: the call log with the metered transports,
// the per-message size budget, and several connections on one gateway.
#include <atomic>
#include <future>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <thrift/TApplicationException.h>
#include <thrift/protocol/TBinaryProtocol.h>
#include <thrift/protocol/TProtocolException.h>
#include <thrift/server/TThreadedServer.h>
#include <thrift/transport/TBufferTransports.h>
#include <thrift/transport/TServerSocket.h>
#include <thrift/transport/TSocket.h>

#include <thriftyol/limits/safe_server.h>

#include "call_log.h"
#include "shared_gateway.h"
#include "state.h"
#include "transports.h"

namespace gatewaysim {
namespace {

using ::apache::thrift::TApplicationException;
using ::apache::thrift::TConnectionInfo;
using ::apache::thrift::TProcessor;
using ::apache::thrift::protocol::TBinaryProtocol;
using ::apache::thrift::protocol::TProtocol;
using ::apache::thrift::protocol::TProtocolException;
using ::apache::thrift::transport::TMemoryBuffer;

// A processor of the simulator on a memory buffer that stands for the
// socket: the client writes its request into the buffer, the processor
// reads it through the simulator's transports and writes the reply back.
class Served {
 public:
  explicit Served(const std::string& transport, GatewayState state = defaultState())
      : gateway_(std::make_shared<SharedGateway>(std::move(state))),
        log_(std::make_shared<CallLog>(lines_)),
        wire_(std::make_shared<TMemoryBuffer>()),
        client_protocol_(std::make_shared<TBinaryProtocol>(clientTransport(transport))),
        client_(client_protocol_) {
    EventHandlerFactory processors(
        std::make_shared<yol::YolProcessorFactory>(
            std::make_shared<GatewayHandlerFactory>(gateway_)),
        log_);
    processor_ = processors.getProcessor(TConnectionInfo());
    // Like the runtime's servers: one transport for the requests and
    // another for the replies, both on the connection.
    auto transports = makeTransportFactory(transport);
    auto protocols = makeProtocolFactory("binary");
    server_in_ = protocols->getProtocol(transports->getTransport(wire_));
    server_out_ = protocols->getProtocol(transports->getTransport(wire_));
  }

  yol::YolClient& client() { return client_; }
  TProtocol& clientProtocol() { return *client_protocol_; }
  std::string log() const { return lines_.str(); }
  uint32_t pending() const { return wire_->available_read(); }

  // Serves the request that the client has written.
  void serve() {
    TProcessor& processor = *processor_;
    processor.process(server_in_, server_out_, nullptr);
  }

 private:
  std::shared_ptr<::apache::thrift::transport::TTransport> clientTransport(
      const std::string& transport) {
    if (transport == "framed") {
      return std::make_shared<::apache::thrift::transport::TFramedTransport>(wire_);
    }
    return wire_;
  }

  std::shared_ptr<SharedGateway> gateway_;
  std::ostringstream lines_;
  std::shared_ptr<CallLog> log_;
  std::shared_ptr<TMemoryBuffer> wire_;
  std::shared_ptr<TProtocol> client_protocol_;
  yol::YolClient client_;
  std::shared_ptr<TProcessor> processor_;
  std::shared_ptr<TProtocol> server_in_;
  std::shared_ptr<TProtocol> server_out_;
};

TEST(CallLogTest, LogsEachCallWithItsBytesAndOutcome) {
  Served served("buffered", loadState({{"rtk_sources", nlohmann::json::array()}}));
  served.client().send_status(yol::eMGTFeature::OTA);
  const uint32_t request = served.pending();
  served.serve();
  const uint32_t reply = served.pending();
  EXPECT_EQ(served.client().recv_status(), 1);

  served.client().send_RTK_GetLockedSource();
  served.serve();
  yol::stRTKInfo source;
  try {
    served.client().recv_RTK_GetLockedSource(source);
    ADD_FAILURE() << "no exception reply";
  } catch (const TApplicationException& e) {
    EXPECT_STREQ(e.what(), "no RTK source is locked");
  }

  const std::string log = served.log();
  const std::string first = log.substr(0, log.find('\n'));
  EXPECT_EQ(first.rfind("Yol.status in=" + std::to_string(request) + "B out=" +
                            std::to_string(reply) + "B ",
                        0),
            0u)
      << first;
  EXPECT_EQ(first.substr(first.size() - 3), " ok");
  EXPECT_NE(log.find("\nYol.RTK_GetLockedSource in="), std::string::npos) << log;
  EXPECT_EQ(log.substr(log.size() - 15), " handler error\n");
}

TEST(CallLogTest, AnUnreadableRequestIsLoggedWithoutReply) {
  Served served("framed");
  // SetModemInfo whose record lacks its required model.
  TProtocol& out = served.clientProtocol();
  out.writeMessageBegin("SetModemInfo", ::apache::thrift::protocol::T_CALL, 0);
  out.writeStructBegin("Yol_SetModemInfo_pargs");
  out.writeFieldBegin("sInfo", ::apache::thrift::protocol::T_STRUCT, 1);
  out.writeStructBegin("stCellularInfo");
  out.writeFieldStop();
  out.writeStructEnd();
  out.writeFieldEnd();
  out.writeFieldStop();
  out.writeStructEnd();
  out.writeMessageEnd();
  out.getTransport()->writeEnd();
  out.getTransport()->flush();

  EXPECT_THROW(served.serve(), TProtocolException);
  EXPECT_EQ(served.pending(), 0u);
  const std::string log = served.log();
  EXPECT_EQ(log.rfind("Yol.SetModemInfo in=0B out=0B ", 0), 0u) << log;
  EXPECT_EQ(log.substr(log.size() - 10), " no reply\n");
}

// The runtime counts the bytes that a buffered transport hands out of its
// buffer (short strings, for instance) against the maximum message size and
// starts over only on flush, which a server's input transport never sees;
// the simulator's transports start over with each message, so a connection
// can carry any number of messages that are each within the limit.
TEST(TransportTest, EachMessageHasItsOwnSizeBudget) {
  const std::size_t entries = 20000;  // about 1 MB of short strings a message
  const std::vector<yol::eDataType::type> types(entries, yol::eDataType::json_STRING);
  const std::vector<std::string> keys(entries, std::string(20, 'k'));
  const int messages = yol::safe_server::kMaxMessageSize / (1024 * 1024) + 2;
  for (const char* transport : {"buffered", "framed"}) {
    SCOPED_TRACE(transport);
    Served served(transport);
    for (int i = 0; i < messages; ++i) {
      served.client().send_TEL_SendGeneric("bulk", types, keys, keys);
      ASSERT_NO_THROW(served.serve()) << "message " << i;
      EXPECT_EQ(served.client().recv_TEL_SendGeneric(), kDone);
    }
  }
}

TEST(TransportTest, StringsBeyondTheLimitAreRefused) {
  Served served("buffered");
  served.client().send_SetMerivaultName(std::string(yol::safe_server::kStringLimit + 1, 'n'));
  EXPECT_THROW(served.serve(), TProtocolException);
}

TEST(TransportTest, UnknownNamesAreRefused) {
  EXPECT_THROW(makeTransportFactory("zlib"), std::invalid_argument);
  EXPECT_THROW(makeProtocolFactory("xml"), std::invalid_argument);
}

}  // namespace
}  // namespace gatewaysim
