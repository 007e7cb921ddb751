// Misbehaving connections. Each kind checks what the server must do with it:
// drop it promptly (broken or invalid input), drop it after the receive
// timeout (idle), or answer and carry on (unknown method names).

#include <poll.h>
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <future>
#include <iterator>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <thrift/TApplicationException.h>
#include <thrift/protocol/TBinaryProtocol.h>
#include <thrift/transport/TBufferTransports.h>

#include <thriftyol/service/Yol.h>
#include <thriftyol/testing/yol_samples.h>

#include "soak_handler.h"
#include "soak_peers.h"

namespace yol {
namespace soak {

using ::apache::thrift::TApplicationException;
using ::apache::thrift::protocol::TBinaryProtocol;
using ::apache::thrift::protocol::TMessageType;
using ::apache::thrift::protocol::TProtocol;
using ::apache::thrift::transport::TMemoryBuffer;
using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

const char* name_of(Misbehaviour kind) {
  switch (kind) {
    case Misbehaviour::close_mid_message:
      return "close mid-message";
    case Misbehaviour::garbage:
      return "garbage";
    case Misbehaviour::invalid_type:
      return "invalid message type";
    case Misbehaviour::idle:
      return "idle";
    case Misbehaviour::unknown_method:
      return "unknown method";
  }
  return "?";
}

RawConnection::RawConnection(int port) {
  fd_ = ::socket(AF_INET, SOCK_STREAM, 0);
  if (fd_ < 0) {
    throw std::runtime_error(std::string("socket: ") + std::strerror(errno));
  }
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (::connect(fd_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    const int error = errno;
    ::close(fd_);
    throw std::runtime_error(std::string("connect: ") + std::strerror(error));
  }
  last_send_ = Clock::now();
}

RawConnection::~RawConnection() {
  if (fd_ >= 0) {
    ::close(fd_);
  }
}

void RawConnection::send_bytes(const std::string& bytes) {
  std::size_t sent = 0;
  while (sent < bytes.size()) {
    const ssize_t n = ::send(fd_, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
    if (n < 0 && errno == EINTR) {
      continue;
    }
    if (n <= 0) {
      break;  // the server has dropped the connection already
    }
    sent += static_cast<std::size_t>(n);
  }
  last_send_ = Clock::now();
}

void RawConnection::shutdown_write() { ::shutdown(fd_, SHUT_WR); }

void RawConnection::reset() {
  const linger abort_on_close{1, 0};
  ::setsockopt(fd_, SOL_SOCKET, SO_LINGER, &abort_on_close, sizeof abort_on_close);
  ::close(fd_);
  fd_ = -1;
}

RawConnection::Outcome RawConnection::read_until_closed(milliseconds limit) {
  Outcome outcome;
  const Clock::time_point end = Clock::now() + limit;
  char buffer[4096];
  while (true) {
    const auto left = std::chrono::duration_cast<milliseconds>(end - Clock::now());
    if (left.count() <= 0) {
      return outcome;
    }
    pollfd waiting{fd_, POLLIN, 0};
    const int ready = ::poll(&waiting, 1, static_cast<int>(left.count()));
    if (ready < 0 && errno == EINTR) {
      continue;
    }
    if (ready <= 0) {
      return outcome;
    }
    const ssize_t n = ::recv(fd_, buffer, sizeof buffer, 0);
    if (n > 0) {
      outcome.received.append(buffer, static_cast<std::size_t>(n));
      continue;
    }
    if (n < 0 && errno == EINTR) {
      continue;
    }
    outcome.closed = true;  // orderly close, or reset
    outcome.quiet = std::chrono::duration_cast<milliseconds>(Clock::now() - last_send_);
    return outcome;
  }
}

std::string RawConnection::read_bytes(std::size_t count, milliseconds limit) {
  std::string received;
  const Clock::time_point end = Clock::now() + limit;
  while (received.size() < count) {
    const auto left = std::chrono::duration_cast<milliseconds>(end - Clock::now());
    pollfd waiting{fd_, POLLIN, 0};
    if (left.count() <= 0 || ::poll(&waiting, 1, static_cast<int>(left.count())) <= 0) {
      break;
    }
    char buffer[4096];
    const ssize_t n = ::recv(fd_, buffer, std::min(sizeof buffer, count - received.size()), 0);
    if (n <= 0) {
      break;
    }
    received.append(buffer, static_cast<std::size_t>(n));
  }
  return received;
}

namespace {

// What a writer produces through the binary protocol.
template <class Write>
std::string encode(Write&& write) {
  auto buffer = std::make_shared<TMemoryBuffer>();
  write(std::make_shared<TBinaryProtocol>(buffer));
  return buffer->getBufferAsString();
}

std::string job_request(int seed) {
  return encode([seed](std::shared_ptr<TProtocol> protocol) {
    YolClient(protocol).send_JOB_CreateExt(testing::sample<stJobCreateExt>(seed));
  });
}

std::string peer_list_request(int seed) {
  return encode([seed](std::shared_ptr<TProtocol> protocol) {
    YolClient(protocol).send_SYS_SetPeerList("eth" + std::to_string(seed % 4),
                                             testing::sample<std::vector<stPeerDevice>>(seed));
  });
}

std::string ping_request() {
  return encode([](std::shared_ptr<TProtocol> protocol) { YolClient(protocol).send_ping(); });
}

std::string ping_reply() {
  return encode([](std::shared_ptr<TProtocol> protocol) {
    protocol->writeMessageBegin("ping", ::apache::thrift::protocol::T_REPLY, 0);
    Yol_ping_result().write(protocol.get());
    protocol->writeMessageEnd();
  });
}

// A well-formed status call, sent under another message type.
std::string status_message(TMessageType type, int32_t id) {
  return encode([type, id](std::shared_ptr<TProtocol> protocol) {
    protocol->writeMessageBegin("status", type, 0);
    Yol_status_pargs args;
    args.id = &id;
    args.write(protocol.get());
    protocol->writeMessageEnd();
  });
}

// The header of a call to `name` with no body.
std::string call_header(const std::string& name) {
  return encode([&name](std::shared_ptr<TProtocol> protocol) {
    protocol->writeMessageBegin(name, ::apache::thrift::protocol::T_CALL, 0);
  });
}

// How long after the receive timeout an idle connection may still be open.
constexpr milliseconds kIdleSlack{10000};

const char* const kCallsWithRecords[] = {"JOB_CreateExt", "SYS_SetPeerList", "TEL_SendRTK",
                                         "SetGPSInfo",    "MGT_SetConfig",   "SendMsg",
                                         "FT_GetHistoryIndex", "JOB_GetStatus"};

class Saboteur {
 public:
  Saboteur(Misbehaviour kind, const SoakSettings& settings, int port)
      : kind_(kind), settings_(settings), port_(port), random_(1000 + static_cast<int>(kind)) {}

  void round(int r) {
    switch (kind_) {
      case Misbehaviour::close_mid_message:
        close_mid_message(r);
        break;
      case Misbehaviour::garbage:
        garbage(r);
        break;
      case Misbehaviour::invalid_type:
        invalid_type(r);
        break;
      case Misbehaviour::idle:
        idle(r);
        break;
      case Misbehaviour::unknown_method:
        unknown_method(r);
        break;
    }
  }

  SaboteurTally& tally() { return tally_; }

 private:
  int between(int low, int high) { return std::uniform_int_distribution<int>(low, high)(random_); }

  std::string random_bytes(int count) {
    std::string bytes(static_cast<std::size_t>(count), '\0');
    for (char& byte : bytes) {
      byte = static_cast<char>(between(0, 255));
    }
    return bytes;
  }

  RawConnection open() {
    ++tally_.connections;
    return RawConnection(port_);
  }

  void fault(int r, const std::string& what) {
    tally_.faults.add(std::string(name_of(kind_)) + " round " + std::to_string(r) + ": " + what);
  }

  // A connection that the server must close without waiting for the
  // receive timeout, and without a reply unless `replies_allowed`.
  void expect_dropped(RawConnection& connection, int r, bool replies_allowed) {
    const RawConnection::Outcome outcome = connection.read_until_closed(kReplyTimeout);
    if (!outcome.closed) {
      fault(r, "still open after " + std::to_string(kReplyTimeout.count()) + " ms");
    } else if (outcome.quiet >= settings_.idle_timeout) {
      fault(r, "closed only after " + std::to_string(outcome.quiet.count()) + " ms");
    }
    if (!replies_allowed && !outcome.received.empty()) {
      fault(r, std::to_string(outcome.received.size()) + " bytes of reply");
    }
  }

  // Part of a request, then an orderly close, a reset, or a half close that
  // lets us watch the server drop the connection without a reply.
  void close_mid_message(int r) {
    const std::string request = r % 2 == 0 ? job_request(r) : peer_list_request(r);
    RawConnection connection = open();
    connection.send_bytes(request.substr(0, static_cast<std::size_t>(
                                                between(1, static_cast<int>(request.size()) - 1))));
    switch (r % 3) {
      case 0:
        connection.shutdown_write();
        expect_dropped(connection, r, false);
        break;
      case 1:
        connection.reset();
        break;
      default:
        break;  // closed when it goes out of scope
    }
  }

  // Random bytes; a valid call header followed by random bytes; a valid
  // request with a few bytes of its body changed. Replies are allowed (the
  // bytes may happen to decode), but the connection must end at our close.
  void garbage(int r) {
    std::string bytes;
    switch (r % 3) {
      case 0:
        bytes = random_bytes(between(1, 300));
        break;
      case 1:
        bytes = call_header(kCallsWithRecords[between(0, static_cast<int>(std::size(kCallsWithRecords)) - 1)]) +
                random_bytes(between(0, 300));
        break;
      default: {
        const bool job = r % 2 == 0;
        bytes = job ? job_request(r) : peer_list_request(r);
        const int header =
            static_cast<int>(call_header(job ? "JOB_CreateExt" : "SYS_SetPeerList").size());
        for (int edits = between(1, 4); edits > 0; --edits) {
          bytes[static_cast<std::size_t>(between(header, static_cast<int>(bytes.size()) - 1))] =
              static_cast<char>(between(0, 255));
        }
        break;
      }
    }
    RawConnection connection = open();
    connection.send_bytes(bytes);
    connection.shutdown_write();
    expect_dropped(connection, r, true);
  }

  // A reply or an exception sent to the server: no answer, and the
  // connection ends at once.
  void invalid_type(int r) {
    const TMessageType type =
        r % 2 == 0 ? ::apache::thrift::protocol::T_REPLY : ::apache::thrift::protocol::T_EXCEPTION;
    RawConnection connection = open();
    connection.send_bytes(status_message(type, r));
    ++tally_.invalid_type_messages;
    expect_dropped(connection, r, false);
  }

  // Connections that stop talking: one silent from the start, one after
  // part of a header, one after a served call. Each must be closed by the
  // server's receive timeout: not before it, and not long after it (a new
  // connection's first wait is about a second longer: the runtime lets a
  // fresh connection stay silent for up to a second before it starts to
  // read with the timeout).
  void idle(int r) {
    struct Idler {
      const char* which;
      std::string sent;
      std::string reply;
    };
    const Idler idlers[] = {{"silent", "", ""},
                            {"after part of a header", ping_request().substr(0, 3), ""},
                            {"after a call", ping_request(), ping_reply()}};
    std::vector<std::future<RawConnection::Outcome>> outcomes;
    for (const Idler& idler : idlers) {
      auto connection = std::make_shared<RawConnection>(port_);
      ++tally_.connections;
      connection->send_bytes(idler.sent);
      outcomes.push_back(std::async(std::launch::async, [this, connection] {
        return connection->read_until_closed(settings_.idle_timeout + kIdleSlack);
      }));
    }
    for (std::size_t i = 0; i < outcomes.size(); ++i) {
      expect_idle_close(outcomes[i].get(), r, idlers[i].which, idlers[i].reply);
    }
  }

  void expect_idle_close(const RawConnection::Outcome& outcome, int r, const char* which,
                         const std::string& expected_bytes) {
    const std::string label = std::string(which) + ": ";
    if (!outcome.closed) {
      fault(r, label + "still open " + std::to_string(kIdleSlack.count()) +
                   " ms after the receive timeout");
      return;
    }
    if (tally_.slowest_idle_close.count() == 0 || outcome.quiet < tally_.quickest_idle_close) {
      tally_.quickest_idle_close = outcome.quiet;
    }
    tally_.slowest_idle_close = std::max(tally_.slowest_idle_close, outcome.quiet);
    if (outcome.quiet < settings_.idle_timeout * 99 / 100) {
      fault(r, label + "closed after " + std::to_string(outcome.quiet.count()) +
                   " ms, before the receive timeout");
    }
    // The reply to the call comes before the close, and nothing else.
    if (outcome.received != expected_bytes) {
      fault(r, label + "received " + std::to_string(outcome.received.size()) + " bytes, want " +
                   std::to_string(expected_bytes.size()));
    }
  }

  // Names the service does not have (also in another case) get an exception
  // reply under the request's name and sequence id; they never reach the
  // handler, and the connection goes on serving.
  void unknown_method(int r) {
    ++tally_.connections;
    try {
      const std::shared_ptr<TProtocol> protocol = connect_to(port_);
      const std::string names[] = {"reboot", "Ping", "STATUS"};
      const std::string& name = names[r % 3];
      const int32_t seqid = 7 + r;
      protocol->writeMessageBegin(name, ::apache::thrift::protocol::T_CALL, seqid);
      protocol->writeStructBegin("args");
      protocol->writeFieldStop();
      protocol->writeStructEnd();
      protocol->writeMessageEnd();
      protocol->getTransport()->writeEnd();
      protocol->getTransport()->flush();

      std::string reply_name;
      TMessageType reply_type;
      int32_t reply_seqid = 0;
      protocol->readMessageBegin(reply_name, reply_type, reply_seqid);
      TApplicationException error;
      error.read(protocol.get());
      protocol->readMessageEnd();
      if (reply_name != name || reply_type != ::apache::thrift::protocol::T_EXCEPTION ||
          reply_seqid != seqid) {
        fault(r, "reply header " + reply_name + "/" + std::to_string(reply_type) + "/" +
                     std::to_string(reply_seqid));
      }
      const std::string text = "Invalid method name: '" + name + "'";
      if (error.getType() != TApplicationException::UNKNOWN_METHOD || text != error.what()) {
        fault(r, "exception " + std::to_string(error.getType()) + " " + error.what());
      }
      const int32_t id = 1000 + r;
      const int32_t answered = YolClient(protocol).status(id);
      if (answered != answer::status(id, 1)) {
        fault(r, "status after the unknown call answered " + std::to_string(answered));
      }
      protocol->getTransport()->close();
    } catch (const std::exception& e) {
      fault(r, e.what());
    }
  }

  const Misbehaviour kind_;
  const SoakSettings& settings_;
  const int port_;
  std::mt19937 random_;
  SaboteurTally tally_;
};

}  // namespace

std::unique_ptr<RawConnection> hold_open(int port) {
  auto connection = std::make_unique<RawConnection>(port);
  connection->send_bytes(ping_request());
  const std::string reply = ping_reply();
  if (connection->read_bytes(reply.size(), kReplyTimeout) != reply) {
    throw std::runtime_error("no ping reply on the held connection");
  }
  return connection;
}

SaboteurTally run_saboteur(Misbehaviour kind, const SoakSettings& settings, int port,
                           const std::atomic<bool>& stop, int min_rounds) {
  Saboteur saboteur(kind, settings, port);
  for (int r = 0; r < min_rounds || !stop.load(); ++r) {
    const long opened = saboteur.tally().connections;
    const bool during_load = !stop.load();
    try {
      saboteur.round(r);
    } catch (const std::exception& e) {
      saboteur.tally().faults.add(std::string(name_of(kind)) + " round " + std::to_string(r) +
                                  ": " + e.what());
    }
    if (during_load) {
      saboteur.tally().during_load += saboteur.tally().connections - opened;
    }
    std::this_thread::sleep_for(milliseconds(5));
  }
  return saboteur.tally();
}

}  // namespace soak
}  // namespace yol
