// The peers of the soak test: well-behaved clients that check every reply,
// and misbehaving connections that the server must shrug off.
#ifndef THRIFTYOL_TESTS_SOAK_SOAK_PEERS_H
#define THRIFTYOL_TESTS_SOAK_SOAK_PEERS_H

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <thrift/protocol/TProtocol.h>
#include <thrift/transport/TTransport.h>

namespace yol {
namespace soak {

// A client waits this long for a reply before it counts the call as lost.
constexpr std::chrono::milliseconds kReplyTimeout{15000};

// A buffered binary-protocol connection to the server on 127.0.0.1, open,
// with the limits of <thriftyol/limits/safe_server.h>, as the server has.
std::shared_ptr<::apache::thrift::protocol::TProtocol> connect_to(int port);

struct SoakSettings {
  int clients = 16;
  int calls = 300;  // per client
  // Every fourth client opens a new connection after this many calls; the
  // others keep one connection for all of theirs.
  int reconnect_every = 100;
  // The server drops a connection that sends nothing for this long.
  std::chrono::milliseconds idle_timeout{2000};
  // The whole test is cut short (and fails) when it runs longer.
  std::chrono::seconds deadline{60};
};

// The first faults of a peer, kept as text for the failure message.
class FaultNotes {
 public:
  void add(std::string note);
  long count() const { return count_; }
  const std::vector<std::string>& first() const { return first_; }
  void merge(const FaultNotes& other);

 private:
  static constexpr std::size_t kKept = 10;
  long count_ = 0;
  std::vector<std::string> first_;
};

struct ClientTally {
  long calls = 0;            // calls of the schedule that were made
  long lost = 0;             // calls that got no reply (the connection failed)
  long wrong = 0;            // replies other than the expected one
  long failure_replies = 0;  // exception replies that the schedule expects
  long connections = 0;      // connections opened
  FaultNotes faults;

  void merge(const ClientTally& other);
};

// Runs client `index`: `settings.calls` calls of mixed shapes, each reply
// checked. Stops early (counting the rest as lost) when `abandon` is set.
ClientTally run_client(int index, const SoakSettings& settings, int port,
                       const std::atomic<bool>& abandon);

enum class Misbehaviour {
  close_mid_message,  // sends part of a request, then closes
  garbage,            // sends bytes that are no valid request
  invalid_type,       // sends a well-formed message of type reply or exception
  idle,               // connects and then sends nothing more
  unknown_method,     // calls names the service does not have, then a real call
};
// Every kind, in the order declared.
constexpr std::array<Misbehaviour, 5> kMisbehaviours = {
    Misbehaviour::close_mid_message, Misbehaviour::garbage, Misbehaviour::invalid_type,
    Misbehaviour::idle, Misbehaviour::unknown_method};
const char* name_of(Misbehaviour kind);

struct SaboteurTally {
  long connections = 0;
  long invalid_type_messages = 0;  // messages the server must log and drop
  long during_load = 0;            // connections opened while clients were calling
  // How long the server let idle connections sit before closing them.
  std::chrono::milliseconds quickest_idle_close{0};
  std::chrono::milliseconds slowest_idle_close{0};
  FaultNotes faults;               // the server did not react as it should
};

// Opens misbehaving connections of one kind, one round after another, until
// `stop` is set and at least `min_rounds` rounds are done.
SaboteurTally run_saboteur(Misbehaviour kind, const SoakSettings& settings, int port,
                           const std::atomic<bool>& stop, int min_rounds);

// A plain socket, for byte-exact misbehaviour.
class RawConnection {
 public:
  explicit RawConnection(int port);
  ~RawConnection();
  RawConnection(const RawConnection&) = delete;
  RawConnection& operator=(const RawConnection&) = delete;

  void send_bytes(const std::string& bytes);
  // Reads `count` bytes, or fewer when the connection ends or `limit` passes.
  std::string read_bytes(std::size_t count, std::chrono::milliseconds limit);
  void shutdown_write();
  // Closes with a reset instead of an orderly close.
  void reset();

  struct Outcome {
    std::string received;
    bool closed = false;                  // the server closed the connection
    std::chrono::milliseconds quiet{0};   // from the last send to the close
  };
  // Reads until the server closes the connection or `limit` passes.
  Outcome read_until_closed(std::chrono::milliseconds limit);

 private:
  int fd_ = -1;
  std::chrono::steady_clock::time_point last_send_;
};

// A connection that has made one call (so the server has taken it on) and
// then stays open.
std::unique_ptr<RawConnection> hold_open(int port);

}  // namespace soak
}  // namespace yol

#endif  // THRIFTYOL_TESTS_SOAK_SOAK_PEERS_H
