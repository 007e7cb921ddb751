// Soak test: a threaded server of the runtime with YolProcessorFactory serves
// many checking clients at once while other connections misbehave. Every
// call must be answered correctly, every misbehaving connection handled as
// it should, and every handler given back to its factory exactly once.
//
//   soak_test [--clients=N] [--calls=N] [--reconnect-every=N]
//             [--idle-ms=N] [--deadline=S] [gtest flags]
//
// The same figures can be given through the environment (SOAK_CLIENTS,
// SOAK_CALLS, SOAK_RECONNECT_EVERY, SOAK_IDLE_MS, SOAK_DEADLINE); arguments
// win over the environment.

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <iostream>
#include <limits>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <thrift/Thrift.h>

#include "loopback_server.h"
#include "soak_handler.h"
#include "soak_peers.h"

namespace yol {
namespace soak {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

SoakSettings g_settings;

// The server: the runtime's threaded server with YolProcessorFactory on
// 127.0.0.1, one thread per connection, the limits the clients have, and a
// receive timeout that drops idle connections. The timeout bounds each read,
// not a whole connection: a peer that trickles a byte now and then within it
// keeps its thread. The server bounds neither connections nor threads, so
// that every checking client and every misbehaving connection is served at
// once.
testing::ServerSetup server_setup(milliseconds idle_timeout) {
  testing::ServerSetup setup;
  setup.receive_timeout = idle_timeout;
  // A peer that stops reading its replies holds its server thread for at
  // most this long once the socket's buffers are full.
  setup.send_timeout = milliseconds(5000);
  setup.concurrent_clients = std::numeric_limits<int64_t>::max();
  return setup;
}

// The runtime's log lines, counted instead of printed. The processor logs
// each request of a type other than call or one-way.
class LogTap {
 public:
  LogTap() {
    std::lock_guard<std::mutex> lock(mutex_);
    invalid_type_lines_ = 0;
    other_lines_.clear();
    ::apache::thrift::GlobalOutput.setOutputFunction(&LogTap::capture);
  }
  ~LogTap() { ::apache::thrift::GlobalOutput.setOutputFunction(&LogTap::discard); }

  long invalid_type_lines() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return invalid_type_lines_;
  }
  // Other lines, by their text up to the first colon.
  std::map<std::string, long> other_lines() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return other_lines_;
  }

 private:
  static void capture(const char* line) {
    const std::string text(line);
    std::lock_guard<std::mutex> lock(mutex_);
    if (text == "received invalid message type 2 from client" ||
        text == "received invalid message type 3 from client") {
      ++invalid_type_lines_;
    } else {
      ++other_lines_[text.substr(0, text.find(':'))];
    }
  }
  static void discard(const char*) {}

  static std::mutex mutex_;
  static long invalid_type_lines_;
  static std::map<std::string, long> other_lines_;
};

std::mutex LogTap::mutex_;
long LogTap::invalid_type_lines_ = 0;
std::map<std::string, long> LogTap::other_lines_;

// Ends the process when the test overruns its deadline; shortly before, it
// asks the clients to give up, so that an overrun still ends in figures.
class Watchdog {
 public:
  Watchdog(std::chrono::seconds deadline, std::atomic<bool>& abandon)
      : thread_([this, deadline, &abandon] {
          std::unique_lock<std::mutex> lock(mutex_);
          const Clock::time_point start = Clock::now();
          if (done_changed_.wait_until(lock, start + deadline * 9 / 10, [this] { return done_; })) {
            return;
          }
          abandon = true;
          if (done_changed_.wait_until(lock, start + deadline, [this] { return done_; })) {
            return;
          }
          std::fprintf(stderr, "soak_test: still running after the deadline of %lld s\n",
                       static_cast<long long>(deadline.count()));
          std::fflush(stderr);
          std::_Exit(2);
        }) {}

  ~Watchdog() {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      done_ = true;
    }
    done_changed_.notify_all();
    thread_.join();
  }

 private:
  std::mutex mutex_;
  std::condition_variable done_changed_;
  bool done_ = false;
  std::thread thread_;
};

// Rounds of each misbehaviour, however quickly the clients finish. A round
// of idle connections lasts as long as the receive timeout.
int min_rounds(Misbehaviour kind) { return kind == Misbehaviour::idle ? 1 : 3; }

std::size_t index_of(Misbehaviour kind) { return static_cast<std::size_t>(kind); }

std::string notes_of(const FaultNotes& faults) {
  std::string text;
  for (const std::string& note : faults.first()) {
    text += "\n  " + note;
  }
  if (faults.count() > static_cast<long>(faults.first().size())) {
    text += "\n  ... " + std::to_string(faults.count()) + " in all";
  }
  return text;
}

double seconds_since(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

TEST(Soak, AnswersEveryCallWhileConnectionsMisbehave) {
  const SoakSettings& settings = g_settings;
  std::atomic<bool> abandon{false};
  const Watchdog watchdog(settings.deadline, abandon);
  const LogTap log;
  auto factory = std::make_shared<CountingHandlerFactory>();
  const Clock::time_point start = Clock::now();
  testing::LoopbackServer server(factory, server_setup(settings.idle_timeout));
  const int port = server.port();

  std::atomic<bool> clients_done{false};
  std::vector<std::future<SaboteurTally>> saboteurs;
  for (const Misbehaviour kind : kMisbehaviours) {
    saboteurs.push_back(std::async(std::launch::async, run_saboteur, kind, std::cref(settings),
                                   port, std::cref(clients_done), min_rounds(kind)));
  }
  std::vector<std::future<ClientTally>> clients;
  for (int index = 0; index < settings.clients; ++index) {
    clients.push_back(std::async(std::launch::async, run_client, index, std::cref(settings), port,
                                 std::cref(abandon)));
  }
  ClientTally calls;
  for (auto& client : clients) {
    calls.merge(client.get());
  }
  const double calls_took = seconds_since(start);
  clients_done = true;
  std::vector<SaboteurTally> misbehaved;
  long connections = calls.connections;
  for (auto& saboteur : saboteurs) {
    misbehaved.push_back(saboteur.get());
    connections += misbehaved.back().connections;
  }

  // A connection still open when the server stops: the stop interrupts it
  // rather than waiting for the receive timeout, and its handler comes back.
  std::unique_ptr<RawConnection> held = hold_open(port);
  ++connections;
  const milliseconds stop_took = server.stop();
  EXPECT_LT(stop_took, settings.idle_timeout) << "the stop waited for the held connection";
  EXPECT_TRUE(held->read_until_closed(milliseconds(1000)).closed);

  const HandlerCounts handlers = factory->counts();
  const double took = seconds_since(start);

  std::cout << "soak: " << settings.clients << " clients x " << settings.calls
            << " calls: " << calls.calls << " made, " << calls.lost << " lost, " << calls.wrong
            << " wrong, " << calls.failure_replies << " handler failures answered as such, over "
            << calls.connections << " connections, in " << calls_took << " s\n";
  std::cout << "soak: misbehaving connections:";
  for (std::size_t k = 0; k < kMisbehaviours.size(); ++k) {
    std::cout << (k == 0 ? " " : ", ") << name_of(kMisbehaviours[k]) << " "
              << misbehaved[k].connections << " (" << misbehaved[k].during_load
              << " during the calls)";
  }
  std::cout << "; idle ones closed after " << misbehaved[index_of(Misbehaviour::idle)].quickest_idle_close.count()
            << " to " << misbehaved[index_of(Misbehaviour::idle)].slowest_idle_close.count() << " ms";
  std::cout << "\nsoak: handlers: " << handlers.got << " got, " << handlers.released
            << " released, " << handlers.foreign << " foreign releases, "
            << handlers.overlapping << " overlapping calls; " << connections
            << " connections opened; server stopped in " << stop_took.count() << " ms; "
            << took << " s in all\n";
  std::cout << "soak: server log: " << log.invalid_type_lines() << " invalid-type lines";
  for (const auto& [line, count] : log.other_lines()) {
    std::cout << ", " << count << " x \"" << line << "\"";
  }
  std::cout << std::endl;

  EXPECT_EQ(calls.calls, long{settings.clients} * settings.calls);
  EXPECT_EQ(calls.lost, 0) << notes_of(calls.faults);
  EXPECT_EQ(calls.wrong, 0) << notes_of(calls.faults);
  EXPECT_GT(calls.failure_replies, 0);
  for (std::size_t k = 0; k < kMisbehaviours.size(); ++k) {
    EXPECT_EQ(misbehaved[k].faults.count(), 0)
        << name_of(kMisbehaviours[k]) << notes_of(misbehaved[k].faults);
    EXPECT_GE(misbehaved[k].connections, min_rounds(kMisbehaviours[k]))
        << name_of(kMisbehaviours[k]);
  }
  EXPECT_EQ(log.invalid_type_lines(), misbehaved[index_of(Misbehaviour::invalid_type)].invalid_type_messages);

  EXPECT_EQ(handlers.got, connections) << "one handler per accepted connection";
  EXPECT_EQ(handlers.released, handlers.got);
  EXPECT_EQ(handlers.outstanding, 0);
  EXPECT_EQ(handlers.foreign, 0) << "handlers released twice or never handed out";
  EXPECT_EQ(handlers.overlapping, 0) << "calls of one connection overlapped in its handler";
}

// A whole number from 1 to 1000000, or the end of the program.
int positive(const std::string& text, const std::string& what) {
  char* end = nullptr;
  const long parsed = std::strtol(text.c_str(), &end, 10);
  if (text.empty() || *end != '\0' || parsed <= 0 || parsed > 1000000) {
    std::fprintf(stderr, "soak_test: %s must be a whole number from 1 to 1000000, not \"%s\"\n",
                 what.c_str(), text.c_str());
    std::exit(2);
  }
  return static_cast<int>(parsed);
}

void read_settings(int argc, char** argv) {
  struct Setting {
    const char* flag;
    const char* variable;
    int value;
  };
  Setting settings[] = {
      {"--clients", "SOAK_CLIENTS", g_settings.clients},
      {"--calls", "SOAK_CALLS", g_settings.calls},
      {"--reconnect-every", "SOAK_RECONNECT_EVERY", g_settings.reconnect_every},
      {"--idle-ms", "SOAK_IDLE_MS", static_cast<int>(g_settings.idle_timeout.count())},
      {"--deadline", "SOAK_DEADLINE", static_cast<int>(g_settings.deadline.count())},
  };
  for (Setting& setting : settings) {
    if (const char* text = std::getenv(setting.variable)) {
      setting.value = positive(text, setting.variable);
    }
  }
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    const std::size_t equals = argument.find('=');
    bool known = false;
    for (Setting& setting : settings) {
      if (argument.compare(0, equals, setting.flag) == 0 && equals != std::string::npos) {
        setting.value = positive(argument.substr(equals + 1), setting.flag);
        known = true;
      }
    }
    if (!known) {
      std::fprintf(stderr, "soak_test: unknown argument %s\n", argv[i]);
      std::exit(2);
    }
  }
  g_settings.clients = settings[0].value;
  g_settings.calls = settings[1].value;
  g_settings.reconnect_every = settings[2].value;
  g_settings.idle_timeout = milliseconds(settings[3].value);
  g_settings.deadline = std::chrono::seconds(settings[4].value);
}

}  // namespace
}  // namespace soak
}  // namespace yol

int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  yol::soak::read_settings(argc, argv);
  return RUN_ALL_TESTS();
}
