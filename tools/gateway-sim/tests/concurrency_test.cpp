// Several connections at once on one simulated gateway, served as the simulator serves them
// (threaded, a handler per connection, one state, one call log), each carrying more than the
// message size limit in all.
#include <algorithm>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <thrift/protocol/TBinaryProtocol.h>
#include <thrift/transport/TBufferTransports.h>
#include <thrift/transport/TSocket.h>

#include "call_log.h"
#include "loopback_server.h"
#include "shared_gateway.h"
#include "state.h"
#include "transports.h"

namespace gatewaysim {
namespace {

constexpr int kClients = 4;
constexpr int kRounds = 50;

// Bulky telematics, uploads polled to completion, and status posts to one shared job.
void clientWork(int port, int client) {
  const std::vector<yol::eDataType::type> types(2500, yol::eDataType::json_STRING);
  const std::vector<std::string> keys(types.size(), std::string(20, 'k'));
  auto socket = std::make_shared<::apache::thrift::transport::TSocket>("127.0.0.1", port);
  socket->setRecvTimeout(10000);
  auto transport = std::make_shared<::apache::thrift::transport::TBufferedTransport>(socket);
  yol::YolClient yol(std::make_shared<::apache::thrift::protocol::TBinaryProtocol>(transport));
  transport->open();
  for (int round = 0; round < kRounds; ++round) {
    EXPECT_EQ(yol.TEL_SendGeneric("bulk", types, keys, keys), kDone);
    yol::stFileInfo file;
    file.id = "c" + std::to_string(client) + "-" + std::to_string(round);
    ASSERT_EQ(yol.FT_UploadFile(file), kDone);
    yol::stFileTransferStatus status;
    while (status.percentTransfered < 100) {
      yol.FT_GetStatus(status, file.id);
    }
    EXPECT_EQ(yol.FT_Ack(file.id, yol::eFTAckType::COMPLETE), kDone);
    EXPECT_EQ(yol.JOB_SendStatus("job-2024-018", "client " + std::to_string(client),
                                 "round " + std::to_string(round)), kDone);
  }
}

TEST(ConcurrencyTest, ConnectionsShareOneGatewayWithoutLosingCalls) {
  auto gateway = std::make_shared<SharedGateway>(defaultState());
  std::ostringstream lines;
  yol::testing::LoopbackServer server(
      std::make_shared<EventHandlerFactory>(
          std::make_shared<yol::YolProcessorFactory>(std::make_shared<GatewayHandlerFactory>(gateway)),
          std::make_shared<CallLog>(lines)),
      {makeTransportFactory("buffered"), makeProtocolFactory("binary")});
  std::vector<std::thread> clients;
  for (int client = 0; client < kClients; ++client) {
    clients.emplace_back(clientWork, server.port(), client);
  }
  std::for_each(clients.begin(), clients.end(), [](std::thread& client) { client.join(); });
  server.stop();

  gateway->with([](Gateway& g) {
    EXPECT_EQ(g.telematicsTotal(), static_cast<uint64_t>(kClients * kRounds));
    std::vector<yol::stFileHistory> history;
    g.FT_GetHistoryIndex(history, 0, -1);
    ASSERT_EQ(history.size(), 3u + kClients * kRounds);
    for (std::size_t i = 0; i < history.size(); ++i) {
      EXPECT_EQ(history[i].index, static_cast<int32_t>(i));
    }
    yol::stJobStatus status;
    g.JOB_GetStatus(status, "job-2024-018");
    EXPECT_EQ(status.stParticipants.size(), static_cast<std::size_t>(kClients));
  });
  // Every call has its whole line.
  std::istringstream log(lines.str());
  int ok = 0;
  for (std::string line; std::getline(log, line); ok += line.substr(line.size() - 3) == " ok") {
    ASSERT_EQ(line.rfind("Yol.", 0), 0u) << line;
  }
  EXPECT_GE(ok, kClients * kRounds * 5);
}

}  // namespace
}  // namespace gatewaysim
