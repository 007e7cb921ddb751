// Concurrency: client threads, each on a few connections in turn, make every
// call of the contract with sample arguments to loopback servers of every
// protocol and transport at once, while saboteur connections send garbage,
// requests cut off halfway and oversized sizes. Each reply is checked against
// the request it answers (contract_answers.h): lost and wrong calls must both
// be none, every saboteur must lose its connection (without a reply, unless
// it sent garbage), and every connection's handler must come back.
#include <sys/socket.h>

#include <atomic>
#include <iostream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <thrift/TApplicationException.h>
#include <thrift/TOutput.h>
#include <thrift/transport/TBufferTransports.h>
#include <thrift/transport/TSocket.h>

#include <thriftyol/limits/safe_server.h>

#include "contract_answers.h"
#include "loopback_server.h"

namespace yol {
namespace {

using ::apache::thrift::TApplicationException;
using ::apache::thrift::TException;
using ::apache::thrift::protocol::TProtocol;
using ::apache::thrift::transport::TMemoryBuffer;
using ::apache::thrift::transport::TSocket;
using ::apache::thrift::transport::TTransportException;
using testing::Fields;

constexpr int kClients = 3;       // per server
constexpr int kConnections = 2;   // per client, one after the other
constexpr int kCalls = 60;        // per connection
constexpr int kTimeoutMs = 20000; // a call without a reply by then is lost
// Client 0 of each server first sends more than the maximum message size.
constexpr int kBigName = 256 * 1024;
constexpr int kBigCalls = safe_server::kMaxMessageSize / kBigName + 1;

struct Tally {
  std::atomic<long> calls{0}, lost{0}, wrong{0}, failed{0}, sabotaged{0}, mishandled{0};

  void note(std::atomic<long>& count, const std::string& what) {
    if (++count <= 10) {  // the first faults of each kind
      std::cerr << what + "\n";
    }
  }
};

struct Handlers : YolIfFactory {
  YolIf* getHandler(const ::apache::thrift::TConnectionInfo&) override {
    ++got;
    return new testing::AnswersHandler;
  }
  void releaseHandler(YolIf* handler) override {
    ++released;
    delete handler;
  }
  std::atomic<int> got{0}, released{0};
};

struct Served {
  std::string protocol, transport;
  std::shared_ptr<Handlers> handlers;
  std::unique_ptr<testing::LoopbackServer> server;

  std::string name() const { return protocol + "/" + transport; }
  // An open client transport wrapped in its protocol.
  std::shared_ptr<TProtocol> connect() const {
    auto socket = std::make_shared<TSocket>("127.0.0.1", server->port());
    socket->setRecvTimeout(kTimeoutMs);
    socket->setSendTimeout(kTimeoutMs);
    auto transport = testing::transport_factory(this->transport)->getTransport(socket);
    transport->open();
    return testing::protocol_factory(protocol)->getProtocol(transport);
  }
};

// Makes call C as the `served`-th call of its connection and checks the
// reply. False when the reply is lost: the connection is then of no use.
template <class C>
bool check(YolClient& client, const typename C::Args& args, int served, Tally& tally,
           const std::string& where) {
  using R = typename C::Result;
  const int seed = testing::answer_seed<C>(args, served);
  const std::string what = where + " " + C::name + ": ";
  ++tally.calls;
  try {
    bool right = true;
    if constexpr (std::is_void_v<R>) {
      C::call(client, args);
    } else {
      right = C::call(client, args) == testing::sample<R>(seed);
    }
    if (!right || testing::answer_fails(seed)) {
      tally.note(tally.wrong, what + (right ? "succeeded, should fail" : "another's reply"));
    }
  } catch (const TApplicationException& e) {
    if (testing::answer_fails(seed) && testing::failure_text(seed) == e.what()) {
      ++tally.failed;
    } else {
      tally.note(tally.wrong, what + e.what());
    }
  } catch (const TException& e) {
    tally.note(tally.lost, what + e.what());
    return false;
  }
  return true;
}

using Step = bool (*)(YolClient&, int seed, int served, Tally&, const std::string& where);

template <class... C>
std::vector<Step> steps(calls::CallList<C...>) {
  return {[](YolClient& client, int seed, int served, Tally& tally, const std::string& where) {
    const Fields fields = seed % 2 == 0 ? Fields::all : Fields::no_optionals;
    return check<C>(client, testing::sample_args<C>(seed, fields), served, tally, where);
  }...};
}

void run_client(const Served& served, int index, Tally& tally, std::atomic<int>& clients_left) {
  static const std::vector<Step> all = steps(calls::AllYolCalls{});
  for (int c = 0; c < kConnections; ++c) {
    const std::string where = served.name() + " client " + std::to_string(index) + "." +
                              std::to_string(c);
    int n = 0;
    try {
      YolClient client(served.connect());
      bool alive = true;
      for (int big = 0; index == 0 && c == 0 && alive && big < kBigCalls; ++big) {
        alive = check<calls::SetMerivaultName>(
            client, std::string(kBigName, static_cast<char>('a' + big)), ++n, tally, where);
      }
      for (int call = 0; alive && call < kCalls; ++call) {
        const int seed = index * 100000 + c * 1000 + call;
        alive = all[(index * 31 + c * 17 + call) % all.size()](client, seed, ++n, tally, where);
      }
    } catch (const TException& e) {
      tally.note(tally.lost, where + " connecting: " + e.what());
    }
  }
  --clients_left;
}

// Sends `bytes` on a new connection and, unless `keep_open`, closes the
// sending side. The server must then close the connection, and send
// nothing unless `may_reply`.
void sabotage(const Served& served, const std::string& bytes, bool keep_open, bool may_reply,
              Tally& tally, const std::string& where) {
  ++tally.sabotaged;
  TSocket socket("127.0.0.1", served.server->port());
  socket.setRecvTimeout(kTimeoutMs);
  std::string reply;
  try {
    socket.open();
    socket.write(reinterpret_cast<const uint8_t*>(bytes.data()),
                 static_cast<uint32_t>(bytes.size()));
    if (!keep_open) {
      ::shutdown(socket.getSocketFD(), SHUT_WR);
    }
    uint8_t buffer[512];
    while (const uint32_t got = socket.read(buffer, sizeof buffer)) {
      reply.append(reinterpret_cast<const char*>(buffer), got);
    }
  } catch (const TTransportException& e) {
    if (e.getType() == TTransportException::TIMED_OUT) {
      return tally.note(tally.mishandled, where + ": still open");
    }  // else the server reset the connection, or closed it before we wrote
  }
  if (!may_reply && !reply.empty()) {
    tally.note(tally.mishandled, where + ": replied");
  }
}

// What the saboteurs send: garbage, a request cut off halfway, and an
// oversized size (a frame over the limit, or a list of 2^31-1 records).
void run_saboteur(const Served& served, const std::atomic<int>& clients_left, Tally& tally) {
  for (int round = 0; round < 3 || clients_left > 0; ++round) {
    std::this_thread::sleep_for(std::chrono::milliseconds(2));  // a saboteur among many clients
    const std::string where = served.name() + " saboteur " + std::to_string(round);
    const auto buffer = std::make_shared<TMemoryBuffer>();
    const auto out = testing::protocol_factory(served.protocol)->getProtocol(
        testing::transport_factory(served.transport)->getTransport(buffer));
    std::string bytes;
    if (round % 3 == 0) {
      for (int i = 0; i < 64 + round; ++i) bytes += static_cast<char>((i * 167 + round * 31) % 256);
      sabotage(served, bytes, false, true, tally, where + " garbage");
    } else if (round % 3 == 1) {
      YolClient(out).send_JOB_CreateExt(testing::sample<stJobCreateExt>(round));
      bytes = buffer->getBufferAsString();
      sabotage(served, bytes.substr(0, bytes.size() / 2), false, false, tally, where + " cut off");
    } else if (served.transport == "framed") {
      static_assert(safe_server::kMaxFrameSize == 0x400000, "the frame below is one byte over");
      sabotage(served, std::string("\x00\x40\x00\x01\x80\x01", 6), true, false, tally,
               where + " oversized frame");
    } else {
      out->writeMessageBegin("SYS_SetPeerList", ::apache::thrift::protocol::T_CALL, 0);
      out->writeStructBegin("args");
      out->writeFieldBegin("stDevices", ::apache::thrift::protocol::T_LIST, 2);
      out->writeListBegin(::apache::thrift::protocol::T_STRUCT, 0x7fffffff);
      out->getTransport()->flush();
      // The JSON protocol takes no size limits: it reads on as long as bytes come.
      sabotage(served, buffer->getBufferAsString() + ",", served.protocol != "json", false, tally,
               where + " oversized list");
    }
  }
}

TEST(Concurrency, EveryCallIsAnsweredRightWhileSaboteursStrike) {
  ::apache::thrift::GlobalOutput.setOutputFunction([](const char*) {});
  Tally tally;
  std::vector<Served> stacks;
  for (const char* protocol : {"binary", "compact", "json"}) {
    for (const char* transport : {"buffered", "framed"}) {
      auto handlers = std::make_shared<Handlers>();
      stacks.push_back({protocol, transport, handlers,
                        std::make_unique<testing::LoopbackServer>(
                            handlers, testing::ServerSetup{testing::transport_factory(transport),
                                                           testing::protocol_factory(protocol)})});
    }
  }
  std::atomic<int> clients_left{kClients * static_cast<int>(stacks.size())};
  std::vector<std::thread> threads;
  for (const Served& served : stacks) {
    threads.emplace_back(run_saboteur, std::cref(served), std::cref(clients_left), std::ref(tally));
    for (int index = 0; index < kClients; ++index) {
      threads.emplace_back(run_client, std::cref(served), index, std::ref(tally),
                           std::ref(clients_left));
    }
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  // A silent connection when the server stops: the stop ends it too.
  for (Served& served : stacks) {
    YolClient held(served.connect());
    check<calls::ping>(held, {}, 1, tally, served.name() + " held");
    served.server->stop();
    EXPECT_EQ(served.handlers->released, served.handlers->got) << served.name();
    EXPECT_GE(served.handlers->got, kClients * kConnections + 4) << served.name();
  }

  std::cout << "concurrency: " << tally.calls << " calls (" << tally.failed
            << " failed in the handler as they should), " << tally.lost << " lost, "
            << tally.wrong << " wrong; " << tally.sabotaged << " saboteur connections, "
            << tally.mishandled << " mishandled" << std::endl;
  EXPECT_EQ(tally.calls, 6 * (kClients * kConnections * kCalls + kBigCalls + 1));
  EXPECT_EQ(tally.lost, 0);
  EXPECT_EQ(tally.wrong, 0);
  EXPECT_GT(tally.failed, 0);
  EXPECT_EQ(tally.mishandled, 0);
}

}  // namespace
}  // namespace yol
