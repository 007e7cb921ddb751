// yol-gateway-sim as a process: it announces its port, serves calls over a
// socket from one state for all connections, logs them, and exits 0 soon
// after SIGTERM or SIGINT, even with a client still connected.
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <thrift/TApplicationException.h>
#include <thrift/protocol/TBinaryProtocol.h>
#include <thrift/protocol/TCompactProtocol.h>
#include <thrift/transport/TBufferTransports.h>
#include <thrift/transport/TSocket.h>

#include <thriftyol/service/Yol.h>

extern char** environ;

namespace {

using Clock = std::chrono::steady_clock;
using ::apache::thrift::protocol::TProtocol;
using ::apache::thrift::transport::TTransport;

constexpr auto kStartLimit = std::chrono::seconds(20);
constexpr auto kStopLimit = std::chrono::seconds(10);

// Reads what a pipe has now into `text`; false at its end.
bool drain(int fd, std::string& text) {
  char buffer[4096];
  const ssize_t got = read(fd, buffer, sizeof buffer);
  if (got > 0) {
    text.append(buffer, static_cast<std::size_t>(got));
  }
  return got != 0;
}

class Simulator {
 public:
  explicit Simulator(const std::vector<std::string>& options) {
    int out[2];
    int err[2];
    if (pipe(out) != 0 || pipe(err) != 0) {
      throw std::runtime_error("pipe failed");
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, out[1], 1);
    posix_spawn_file_actions_adddup2(&actions, err[1], 2);
    posix_spawn_file_actions_addclose(&actions, out[0]);
    posix_spawn_file_actions_addclose(&actions, err[0]);
    std::vector<std::string> words = {GATEWAY_SIM_PATH};
    words.insert(words.end(), options.begin(), options.end());
    std::vector<char*> argv;
    for (std::string& word : words) {
      argv.push_back(word.data());
    }
    argv.push_back(nullptr);
    const int failed = posix_spawn(&pid_, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(out[1]);
    close(err[1]);
    out_ = out[0];
    err_ = err[0];
    fcntl(out_, F_SETFL, O_NONBLOCK);
    fcntl(err_, F_SETFL, O_NONBLOCK);
    if (failed != 0) {
      pid_ = -1;
      throw std::runtime_error("cannot start " GATEWAY_SIM_PATH);
    }
  }

  ~Simulator() {
    if (pid_ > 0) {
      kill(pid_, SIGKILL);
      waitpid(pid_, nullptr, 0);
    }
    close(out_);
    close(err_);
  }

  // The port from "listening on 127.0.0.1:PORT", or nothing when the
  // process ended or stayed silent.
  std::optional<int> port() {
    const auto deadline = Clock::now() + kStartLimit;
    const std::string prefix = "listening on 127.0.0.1:";
    while (Clock::now() < deadline) {
      const auto line = stdout_.find('\n');
      if (line != std::string::npos) {
        if (stdout_.rfind(prefix, 0) != 0) {
          return std::nullopt;
        }
        return std::stoi(stdout_.substr(prefix.size(), line - prefix.size()));
      }
      if (!pump(100)) {
        return std::nullopt;
      }
    }
    return std::nullopt;
  }

  // Sends `signal` and waits for the exit status; nothing when the process
  // did not end within the limit.
  std::optional<int> stop(int signal) {
    kill(pid_, signal);
    return exitStatus(kStopLimit);
  }

  std::optional<int> exitStatus(std::chrono::seconds limit) {
    const auto deadline = Clock::now() + limit;
    while (Clock::now() < deadline) {
      int status = 0;
      if (waitpid(pid_, &status, WNOHANG) == pid_) {
        pid_ = -1;
        while (pump(0)) {
        }
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
      }
      pump(50);
    }
    return std::nullopt;
  }

  const std::string& errors() const { return stderr_; }

 private:
  // Waits up to `ms` for output and takes it; false once both pipes ended.
  bool pump(int ms) {
    pollfd fds[2] = {{out_, POLLIN, 0}, {err_, POLLIN, 0}};
    poll(fds, 2, ms);
    const bool out = drain(out_, stdout_);
    const bool err = drain(err_, stderr_);
    return out || err;
  }

  pid_t pid_ = -1;
  int out_ = -1;
  int err_ = -1;
  std::string stdout_;
  std::string stderr_;
};

struct Connection {
  std::shared_ptr<TTransport> transport;
  std::unique_ptr<yol::YolClient> client;
};

Connection connect(int port, bool compactFramed = false) {
  auto socket = std::make_shared<::apache::thrift::transport::TSocket>("127.0.0.1", port);
  socket->setRecvTimeout(10000);
  Connection connection;
  std::shared_ptr<TProtocol> protocol;
  if (compactFramed) {
    connection.transport = std::make_shared<::apache::thrift::transport::TFramedTransport>(socket);
    protocol = std::make_shared<::apache::thrift::protocol::TCompactProtocol>(connection.transport);
  } else {
    connection.transport =
        std::make_shared<::apache::thrift::transport::TBufferedTransport>(socket);
    protocol = std::make_shared<::apache::thrift::protocol::TBinaryProtocol>(connection.transport);
  }
  connection.client = std::make_unique<yol::YolClient>(protocol);
  connection.transport->open();
  return connection;
}

std::string writeFile(const std::string& name, const std::string& text) {
  const std::string path = ::testing::TempDir() + name;
  std::ofstream(path) << text;
  return path;
}

TEST(ProcessTest, ServesOneStateToAllConnectionsAndStopsOnSigterm) {
  Simulator sim({"--port", "0"});
  const auto port = sim.port();
  ASSERT_TRUE(port) << sim.errors();

  Connection first = connect(*port);
  first.client->ping();
  EXPECT_EQ(first.client->SetMerivaultName("Rig 12"), 0);
  Connection second = connect(*port);
  std::string name;
  second.client->getMerivaultName(name);
  EXPECT_EQ(name, "Rig 12");
  first.transport->close();

  // `second` stays connected while the server stops.
  const auto status = sim.stop(SIGTERM);
  ASSERT_TRUE(status) << "still running " << kStopLimit.count() << " s after SIGTERM";
  EXPECT_EQ(*status, 0) << sim.errors();
  EXPECT_NE(sim.errors().find("Yol.SetMerivaultName in="), std::string::npos) << sim.errors();
  EXPECT_EQ(sim.errors().find("Yol.getMerivaultName in=0B"), std::string::npos) << sim.errors();
  EXPECT_NE(sim.errors().find(" ok\n"), std::string::npos);
  EXPECT_NE(sim.errors().find("stopping on SIGTERM"), std::string::npos);
}

TEST(ProcessTest, CompactFramedFromAStateFileStopsOnSigint) {
  const std::string state = writeFile(
      "gateway_sim_state.json",
      R"({"merivault": {"name": "From file", "connected": true}, "rtk_sources": []})");
  Simulator sim(
      {"--port", "0", "--protocol", "compact", "--transport", "framed", "--state", state});
  const auto port = sim.port();
  ASSERT_TRUE(port) << sim.errors();

  Connection connection = connect(*port, /* compactFramed */ true);
  std::string name;
  connection.client->getMerivaultName(name);
  EXPECT_EQ(name, "From file");
  yol::stRTKInfo source;
  try {
    connection.client->RTK_GetLockedSource(source);
    ADD_FAILURE() << "no exception reply";
  } catch (const ::apache::thrift::TApplicationException& e) {
    EXPECT_STREQ(e.what(), "no RTK source is locked");
  }
  connection.transport->close();

  const auto status = sim.stop(SIGINT);
  ASSERT_TRUE(status);
  EXPECT_EQ(*status, 0) << sim.errors();
  EXPECT_NE(sim.errors().find("Yol.RTK_GetLockedSource"), std::string::npos);
  EXPECT_NE(sim.errors().find("handler error"), std::string::npos);
}

TEST(ProcessTest, QuietLogsNoCalls) {
  Simulator sim({"--port=0", "--quiet"});
  const auto port = sim.port();
  ASSERT_TRUE(port) << sim.errors();
  Connection connection = connect(*port);
  EXPECT_EQ(connection.client->status(yol::eMGTFeature::JOB), 1);
  connection.transport->close();
  ASSERT_EQ(sim.stop(SIGTERM), 0);
  EXPECT_EQ(sim.errors(), "");
}

TEST(ProcessTest, RefusesToStartWithoutAUsableSetup) {
  Simulator badOption({"--protocol", "xml"});
  EXPECT_EQ(badOption.exitStatus(kStopLimit), 2);
  EXPECT_NE(badOption.errors().find("--protocol is binary, compact or json"), std::string::npos);

  Simulator badState({"--state", writeFile("gateway_sim_bad.json", R"({"jobs": [{}]})")});
  EXPECT_EQ(badState.exitStatus(kStopLimit), 1);
  EXPECT_NE(badState.errors().find("state.jobs[0]"), std::string::npos) << badState.errors();

  Simulator missing({"--state", "/nonexistent/state.json"});
  EXPECT_EQ(missing.exitStatus(kStopLimit), 1);

  Simulator first({"--port", "0", "--quiet"});
  const auto port = first.port();
  ASSERT_TRUE(port);
  Simulator second({"--port", std::to_string(*port)});
  EXPECT_EQ(second.exitStatus(kStopLimit), 1);
  EXPECT_NE(second.errors().find("cannot serve"), std::string::npos) << second.errors();
  EXPECT_EQ(first.stop(SIGTERM), 0);
}

}  // namespace
