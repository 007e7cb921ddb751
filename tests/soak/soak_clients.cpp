// Well-behaved clients: a fixed schedule of calls of every shape, each reply
// compared with what the connection's handler must have answered.

#include <exception>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <thrift/TApplicationException.h>
#include <thrift/TToString.h>
#include <thrift/protocol/TBinaryProtocol.h>
#include <thrift/transport/TSocket.h>

#include <thriftyol/limits/safe_server.h>
#include <thriftyol/service/Yol.h>
#include <thriftyol/testing/yol_samples.h>

#include "soak_handler.h"
#include "soak_peers.h"

namespace yol {
namespace soak {

using ::apache::thrift::TApplicationException;
using ::apache::thrift::protocol::TBinaryProtocol;
using ::apache::thrift::protocol::TProtocol;
using ::apache::thrift::transport::TSocket;

std::shared_ptr<TProtocol> connect_to(int port) {
  auto socket = std::make_shared<TSocket>("127.0.0.1", port, safe_server::configuration());
  const int timeout_ms = static_cast<int>(kReplyTimeout.count());
  socket->setConnTimeout(timeout_ms);
  socket->setRecvTimeout(timeout_ms);
  socket->setSendTimeout(timeout_ms);
  auto transport = std::make_shared<safe_server::BufferedTransport>(socket,
                                                                    safe_server::configuration());
  auto protocol = std::make_shared<TBinaryProtocol>(transport, safe_server::kStringLimit,
                                                    safe_server::kContainerLimit,
                                                    /* strict_read */ true,
                                                    /* strict_write */ true);
  transport->open();
  return protocol;
}

void FaultNotes::add(std::string note) {
  ++count_;
  if (first_.size() < kKept) {
    first_.push_back(std::move(note));
  }
}

void FaultNotes::merge(const FaultNotes& other) {
  count_ += other.count_;
  for (const std::string& note : other.first_) {
    if (first_.size() < kKept) {
      first_.push_back(note);
    }
  }
}

void ClientTally::merge(const ClientTally& other) {
  calls += other.calls;
  lost += other.lost;
  wrong += other.wrong;
  failure_replies += other.failure_replies;
  connections += other.connections;
  faults.merge(other.faults);
}

namespace {

template <class T>
std::string text(const T& value) {
  return ::apache::thrift::to_string(value);
}

// One client's schedule. The shape of call n rotates through every shape,
// offset by the client's index so that at any moment the clients make
// different calls.
class LoadClient {
 public:
  LoadClient(int index, const SoakSettings& settings, int port)
      : index_(index),
        settings_(settings),
        port_(port),
        tag_("client-" + std::to_string(index)) {}

  ClientTally run(const std::atomic<bool>& abandon) {
    const bool reconnects = index_ % 4 == 0;
    for (int n = 0; n < settings_.calls; ++n) {
      if (abandon.load()) {
        tally_.lost += settings_.calls - n;
        tally_.faults.add(tag_ + ": abandoned at call " + std::to_string(n));
        break;
      }
      if (!client_ || (reconnects && n > 0 && n % settings_.reconnect_every == 0)) {
        if (!connect(n)) {
          tally_.lost += settings_.calls - n;
          break;
        }
      }
      ++tally_.calls;
      try {
        call(n);
      } catch (const std::exception& e) {
        // No reply: the connection's state is unknown, so start afresh.
        ++tally_.lost;
        tally_.faults.add(tag_ + " call " + std::to_string(n) + ": " + e.what());
        client_.reset();
      }
    }
    return tally_;
  }

 private:
  static constexpr int kShapes = 14;

  // Opens a connection and tells its handler who is calling.
  bool connect(int n) {
    client_.reset();
    try {
      client_ = std::make_unique<YolClient>(connect_to(port_));
      ++tally_.connections;
      served_ = 0;
      gps_ = stGPSInfo();
      expect_equal(client_->SetMerivaultName(tag_), ++served_, n, "SetMerivaultName");
      return true;
    } catch (const std::exception& e) {
      tally_.faults.add(tag_ + " connecting before call " + std::to_string(n) + ": " + e.what());
      client_.reset();
      return false;
    }
  }

  void expect(bool ok, int n, const char* call, const std::string& detail) {
    if (!ok) {
      ++tally_.wrong;
      tally_.faults.add(tag_ + " call " + std::to_string(n) + " " + call + ": " + detail);
    }
  }

  template <class T>
  void expect_equal(const T& got, const T& want, int n, const char* call) {
    expect(got == want, n, call, "got " + text(got) + ", want " + text(want));
  }

  int seed(int n) const { return index_ * 10000 + n; }

  void call(int n) {
    YolClient& client = *client_;
    const int32_t served = ++served_;
    switch ((n + index_) % kShapes) {
      case 0:
        client.ping();
        break;
      case 1: {
        const int32_t id = n * 1000003 + index_;
        expect_equal(client.status(id), answer::status(id, served), n, "status");
        break;
      }
      case 2:
        expect_equal(client.getWanStatus(), answer::wan_status(tag_, served), n, "getWanStatus");
        break;
      case 3: {
        std::string id;
        client.getModemId(id);
        expect_equal(id, answer::modem_id(tag_, served), n, "getModemId");
        break;
      }
      case 4:
        // Into the record of the previous call: every field comes anew.
        client.GetModemInfo(modem_);
        expect_equal(modem_, answer::modem_info(tag_, served), n, "GetModemInfo");
        break;
      case 5:
        // Into the list of the previous call, which held other elements.
        client.SYS_GetInterfaceList(interfaces_);
        expect_equal(interfaces_, answer::interfaces(tag_, served), n, "SYS_GetInterfaceList");
        break;
      case 6: {
        const int32_t start = n * 10 + index_;
        client.FT_GetHistoryIndex(history_, start, start + n % 5 - 1);
        expect_equal(history_, answer::history(start, start + n % 5 - 1), n,
                     "FT_GetHistoryIndex");
        break;
      }
      case 7: {
        const auto fields = n % 2 == 0 ? testing::Fields::all : testing::Fields::no_optionals;
        gps_ = testing::sample<stGPSInfo>(seed(n), fields);
        expect_equal(client.SetGPSInfo(gps_), digest(gps_), n, "SetGPSInfo");
        break;
      }
      case 8: {
        stGPSInfo held;
        client.GetGPSInfo(held);
        expect_equal(held, gps_, n, "GetGPSInfo");
        break;
      }
      case 9: {
        std::vector<stRTKInfo> sources(static_cast<std::size_t>(n % 4));
        for (std::size_t i = 0; i < sources.size(); ++i) {
          testing::fill(sources[i], seed(n) + static_cast<int>(i));
        }
        expect_equal(client.TEL_SendRTK(sources), digest(sources), n, "TEL_SendRTK");
        break;
      }
      case 10: {
        const auto fields = n % 3 == 0 ? testing::Fields::no_optionals : testing::Fields::all;
        const auto job = testing::sample<stJobCreateExt>(seed(n), fields);
        expect_equal(client.JOB_CreateExt(job), digest(job), n, "JOB_CreateExt");
        break;
      }
      case 11: {
        const std::string interface = "can" + std::to_string(n % 3);
        const auto devices = testing::sample<std::vector<stPeerDevice>>(seed(n));
        expect_equal(client.SYS_SetPeerList(interface, devices), digest(interface, devices), n,
                     "SYS_SetPeerList");
        break;
      }
      case 12: {
        const std::string id = tag_ + "/file-" + std::to_string(n);
        stFileInfo file;
        client.FT_CopyFile(file, id);
        expect_equal(file, answer::copied_file(id), n, "FT_CopyFile");
        break;
      }
      case 13:
        join(client, n, served);
        break;
    }
  }

  // A call whose handler fails on schedule: the failure comes back as an
  // exception reply with the handler's text, and the connection stays.
  void join(YolClient& client, int n, int32_t served) {
    const std::string guid = tag_ + "/job-" + std::to_string(n);
    try {
      const int32_t result = client.JOB_Join(guid);
      expect(!answer::join_fails(served), n, "JOB_Join", "succeeded, should have failed");
      expect_equal(result, answer::joined(served), n, "JOB_Join");
    } catch (const TApplicationException& e) {
      expect(answer::join_fails(served), n, "JOB_Join", std::string("failed: ") + e.what());
      expect_equal(static_cast<int>(e.getType()), static_cast<int>(TApplicationException::UNKNOWN),
                   n, "JOB_Join failure type");
      expect_equal(std::string(e.what()), answer::join_failure(guid), n, "JOB_Join failure text");
      ++tally_.failure_replies;
    }
  }

  const int index_;
  const SoakSettings& settings_;
  const int port_;
  const std::string tag_;
  ClientTally tally_;
  std::unique_ptr<YolClient> client_;
  int32_t served_ = 0;  // calls made on the current connection
  stGPSInfo gps_;       // what the current connection's handler holds
  stCellularInfo modem_;
  std::vector<std::string> interfaces_;
  std::vector<stFileHistory> history_;
};

}  // namespace

ClientTally run_client(int index, const SoakSettings& settings, int port,
                       const std::atomic<bool>& abandon) {
  return LoadClient(index, settings, port).run(abandon);
}

}  // namespace soak
}  // namespace yol
