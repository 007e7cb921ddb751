// Calls over loopback sockets: `status` and `JOB_CreateExt` carrying the
// large payload, served by TThreadedServer with buffered transports and the
// binary protocol, with 1 and with 8 concurrent clients (one connection
// each). The floor is a raw TCP ping-pong written by hand: the client
// writes exactly the bytes of our request and reads as many bytes as our
// reply has; a thread per connection on the server reads the request and
// writes the reply. Calls per second and p50/p99 latency, as JSON lines.
//
//   call_bench [--seconds=S] [--repetitions=R] [--json=FILE] [--only=TEXT] [--check]
//
// --only runs the cases whose "call/clients/impl" name contains TEXT.
//
// --check makes one call of each kind against our server, and one through
// our client against the raw server, which then verifies that it received
// exactly the bytes the floor sends: both ends of the comparison carry the
// same bytes.

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <iostream>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <thrift/protocol/TBinaryProtocol.h>
#include <thrift/transport/TBufferTransports.h>
#include <thrift/transport/TSocket.h>

#include <thriftyol/limits/safe_server.h>

#include "loopback_server.h"
#include "payloads.h"

namespace {

using ::apache::thrift::protocol::TBinaryProtocol;
using ::apache::thrift::protocol::TBinaryProtocolFactoryT;
using ::apache::thrift::protocol::TProtocolFactory;
using ::apache::thrift::transport::TBufferedTransport;
using ::apache::thrift::transport::TMemoryBuffer;
using ::apache::thrift::transport::TSocket;
using ::apache::thrift::transport::TTransport;
using ::apache::thrift::transport::TTransportFactory;
using Clock = std::chrono::steady_clock;
namespace safe = yol::safe_server;

constexpr int32_t kStatusId = 7;

const yol::stJobCreateExt& largeJob() {
  static const yol::stJobCreateExt job = bench::largePayload();
  return job;
}

// --- The two calls -----------------------------------------------------------

struct CallKind {
  const char* name;
  std::function<void(yol::YolClient&)> send;
  std::function<int32_t(yol::YolClient&)> call;
  int32_t expected;
};

std::vector<CallKind> callKinds() {
  return {
      {"status", [](yol::YolClient& c) { c.send_status(kStatusId); },
       [](yol::YolClient& c) { return c.status(kStatusId); }, kStatusId},
      {"JOB_CreateExt", [](yol::YolClient& c) { c.send_JOB_CreateExt(largeJob()); },
       [](yol::YolClient& c) { return c.JOB_CreateExt(largeJob()); }, bench::kProducts},
  };
}

class BenchHandler : public yol::YolNull {
 public:
  int32_t status(int32_t id) override { return id; }
  int32_t JOB_CreateExt(const yol::stJobCreateExt& job) override {
    return static_cast<int32_t>(job.stProducts.size());
  }
};

// The request our client writes and the reply our processor writes for a
// call, taken from memory buffers: the raw floor sends exactly these.
struct Exchange {
  std::string request;
  std::string reply;
};

Exchange exchangeOf(const CallKind& kind) {
  auto requestBuffer = std::make_shared<TMemoryBuffer>();
  yol::YolClient client(std::make_shared<TBinaryProtocol>(requestBuffer));
  kind.send(client);
  Exchange ex;
  ex.request = requestBuffer->getBufferAsString();

  auto in = std::make_shared<TMemoryBuffer>();
  in->write(reinterpret_cast<const uint8_t*>(ex.request.data()),
            static_cast<uint32_t>(ex.request.size()));
  auto out = std::make_shared<TMemoryBuffer>();
  yol::YolProcessor processor(std::make_shared<BenchHandler>());
  auto inProt = std::make_shared<TBinaryProtocol>(in);
  auto outProt = std::make_shared<TBinaryProtocol>(out);
  if (!processor.process(inProt, outProt, nullptr)) {
    throw std::runtime_error(std::string("the processor refused ") + kind.name);
  }
  ex.reply = out->getBufferAsString();
  return ex;
}

// --- Our server ----------------------------------------------------------------

// How an end is configured: buffer sizes (0 keeps the runtime's default of
// 512 bytes each way) and whether the protocol is the runtime's template
// bound to TBufferedTransport (transport calls not virtual) or the usual
// TBinaryProtocol on TTransport. Both ends hold to the safe limits of
// <thriftyol/limits/safe_server.h>.
struct Setup {
  uint32_t buffer;
  bool typed;
};

// Buffered transports of the chosen size, with the safe configuration.
class BufferedFactory : public TTransportFactory {
 public:
  explicit BufferedFactory(uint32_t size) : size_(size) {}
  std::shared_ptr<TTransport> getTransport(std::shared_ptr<TTransport> trans) override {
    if (size_ == 0) {
      return std::make_shared<safe::BufferedTransport>(trans, safe::configuration());
    }
    return std::make_shared<safe::BufferedTransport>(trans, size_, size_, safe::configuration());
  }

 private:
  uint32_t size_;
};

// Binary protocols with the safe string and list limits; the typed ones
// are bound to the buffered transport they are given.
std::shared_ptr<TProtocolFactory> binaryProtocols(const Setup& setup) {
  if (setup.typed) {
    return std::make_shared<TBinaryProtocolFactoryT<TBufferedTransport>>(
        safe::kStringLimit, safe::kContainerLimit, /* strict_read */ false,
        /* strict_write */ true);
  }
  return safe::binaryProtocolFactory();
}

// A threaded server on a loopback port with one handler for all
// connections.
yol::testing::LoopbackServer serve(const Setup& setup) {
  yol::testing::ServerSetup server;
  server.transports = std::make_shared<BufferedFactory>(setup.buffer);
  server.protocols = binaryProtocols(setup);
  return yol::testing::LoopbackServer(
      std::make_shared<yol::YolIfSingletonFactory>(std::make_shared<BenchHandler>()), server);
}

class ThriftSession {
 public:
  ThriftSession(int port, Setup setup, const CallKind& kind)
      : kind_(kind),
        transport_(BufferedFactory(setup.buffer)
                       .getTransport(std::make_shared<TSocket>("127.0.0.1", port))),
        client_(std::make_unique<yol::YolClient>(binaryProtocols(setup)->getProtocol(transport_))) {
    transport_->open();
  }
  ~ThriftSession() { transport_->close(); }
  void once() {
    if (kind_.call(*client_) != kind_.expected) {
      throw std::runtime_error(std::string(kind_.name) + " returned a wrong value");
    }
  }

 private:
  const CallKind& kind_;
  std::shared_ptr<TTransport> transport_;
  std::unique_ptr<yol::YolClient> client_;
};

// --- The raw floor ---------------------------------------------------------------

void sendAll(int fd, const char* data, size_t size) {
  while (size > 0) {
    const ssize_t n = ::send(fd, data, size, MSG_NOSIGNAL);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) throw std::runtime_error(std::string("send: ") + std::strerror(errno));
    data += n;
    size -= static_cast<size_t>(n);
  }
}

// Reads exactly `size` bytes; false on an orderly end of stream before any.
bool recvAll(int fd, char* data, size_t size) {
  size_t got = 0;
  while (got < size) {
    const ssize_t n = ::recv(fd, data + got, size - got, 0);
    if (n < 0 && errno == EINTR) continue;
    if (n == 0 && got == 0) return false;
    if (n <= 0) throw std::runtime_error("recv: connection ended inside a message");
    got += static_cast<size_t>(n);
  }
  return true;
}

void noDelay(int fd) {
  const int one = 1;
  ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
}

// A thread per connection: read one request's worth of bytes, write the
// reply, until the client closes. With `verify`, a request that differs
// from the expected bytes ends the connection without a reply.
class RawServer {
 public:
  RawServer(const Exchange& ex, bool verify) : ex_(ex), verify_(verify) {
    listen_ = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t len = sizeof addr;
    if (listen_ < 0 || ::bind(listen_, reinterpret_cast<sockaddr*>(&addr), len) != 0 ||
        ::listen(listen_, 64) != 0 ||
        ::getsockname(listen_, reinterpret_cast<sockaddr*>(&addr), &len) != 0) {
      throw std::runtime_error(std::string("raw server: ") + std::strerror(errno));
    }
    port_ = ntohs(addr.sin_port);
    acceptor_ = std::thread([this] { acceptLoop(); });
  }
  ~RawServer() {
    ::shutdown(listen_, SHUT_RDWR);
    acceptor_.join();
    ::close(listen_);
    for (auto& t : connections_) t.join();
  }
  int port() const { return port_; }
  bool mismatch() const { return mismatch_; }

 private:
  void acceptLoop() {
    for (;;) {
      const int fd = ::accept(listen_, nullptr, nullptr);
      if (fd < 0) {
        if (errno == EINTR) continue;
        return;
      }
      noDelay(fd);
      connections_.emplace_back([this, fd] { serve(fd); });
    }
  }
  void serve(int fd) {
    std::string request(ex_.request.size(), '\0');
    try {
      while (recvAll(fd, request.data(), request.size())) {
        if (verify_ && request != ex_.request) {
          mismatch_ = true;
          break;
        }
        sendAll(fd, ex_.reply.data(), ex_.reply.size());
      }
    } catch (const std::exception&) {
      // The client went away mid-message: the connection ends here.
    }
    ::close(fd);
  }

  const Exchange& ex_;
  bool verify_;
  int listen_ = -1;
  int port_ = 0;
  std::thread acceptor_;
  std::vector<std::thread> connections_;
  std::atomic<bool> mismatch_{false};
};

class RawSession {
 public:
  RawSession(int port, const Exchange& ex) : ex_(ex), reply_(ex.reply.size(), '\0') {
    fd_ = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    addr.sin_port = htons(static_cast<uint16_t>(port));
    if (fd_ < 0 || ::connect(fd_, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0) {
      throw std::runtime_error(std::string("raw client: ") + std::strerror(errno));
    }
    noDelay(fd_);
  }
  ~RawSession() { ::close(fd_); }
  void once() {
    sendAll(fd_, ex_.request.data(), ex_.request.size());
    if (!recvAll(fd_, reply_.data(), reply_.size())) {
      throw std::runtime_error("raw server closed the connection");
    }
  }

 private:
  const Exchange& ex_;
  std::string reply_;
  int fd_ = -1;
};

// --- Running clients ---------------------------------------------------------------

struct Result {
  long calls = 0;
  double seconds = 0;
  double p50_us = 0;
  double p99_us = 0;
};

double percentile(std::vector<double>& sorted, double q) {
  if (sorted.empty()) return 0;
  const auto rank = static_cast<size_t>(q * static_cast<double>(sorted.size() - 1) + 0.5);
  return sorted[std::min(rank, sorted.size() - 1)];
}

// `clients` threads, each with its own session from `open`, warm up, then
// call as fast as they can for `seconds`, timing every call.
template <class Open>
Result drive(int clients, double seconds, Open open) {
  std::atomic<int> ready{0};
  std::atomic<bool> go{false};
  std::atomic<bool> stop{false};
  std::vector<std::vector<double>> latencies(clients);
  std::vector<std::thread> threads;
  std::exception_ptr failure;
  std::mutex failureMutex;
  for (int c = 0; c < clients; ++c) {
    threads.emplace_back([&, c] {
      try {
        auto session = open();
        for (int i = 0; i < 3; ++i) session->once();
        auto& mine = latencies[c];
        mine.reserve(1 << 20);
        ready.fetch_add(1);
        while (!go.load()) std::this_thread::yield();
        while (!stop.load(std::memory_order_relaxed)) {
          const auto t0 = Clock::now();
          session->once();
          mine.push_back(std::chrono::duration<double, std::micro>(Clock::now() - t0).count());
        }
      } catch (...) {
        std::lock_guard<std::mutex> lock(failureMutex);
        failure = std::current_exception();
        ready.fetch_add(1);
      }
    });
  }
  while (ready.load() < clients) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  const auto start = Clock::now();
  go.store(true);
  std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
  stop.store(true);
  for (auto& t : threads) t.join();
  const auto end = Clock::now();
  if (failure) std::rethrow_exception(failure);

  Result r;
  std::vector<double> all;
  for (auto& l : latencies) all.insert(all.end(), l.begin(), l.end());
  std::sort(all.begin(), all.end());
  r.calls = static_cast<long>(all.size());
  r.seconds = std::chrono::duration<double>(end - start).count();
  r.p50_us = percentile(all, 0.50);
  r.p99_us = percentile(all, 0.99);
  return r;
}

// The implementations compared: ours as a server and client are usually
// set up (default buffers, TBinaryProtocol); ours with 64 KiB buffers on
// both ends; ours with 64 KiB buffers and the protocol template bound to
// TBufferedTransport on both ends; and the raw floor. The middle two tell
// the runtime's transport costs from our code's.
struct Impl {
  const char* name;
  Setup setup;  // unused by the raw floor
  bool raw;
};
const Impl kImpls[] = {{"ours", {0, false}, false},
                       {"ours_buf64k", {64 * 1024, false}, false},
                       {"ours_tuned", {64 * 1024, true}, false},
                       {"raw", {0, false}, true}};

Result runOnce(const Impl& impl, const CallKind& kind, const Exchange& ex, int clients,
               double seconds) {
  if (impl.raw) {
    RawServer server(ex, false);
    return drive(clients, seconds, [&] { return std::make_unique<RawSession>(server.port(), ex); });
  }
  const yol::testing::LoopbackServer server = serve(impl.setup);
  return drive(clients, seconds,
               [&] { return std::make_unique<ThriftSession>(server.port(), impl.setup, kind); });
}

int check(const std::vector<CallKind>& kinds, const std::vector<Exchange>& exchanges) {
  for (size_t k = 0; k < kinds.size(); ++k) {
    const CallKind& kind = kinds[k];
    {
      for (const Impl& impl : kImpls) {
        if (impl.raw) continue;
        const yol::testing::LoopbackServer server = serve(impl.setup);
        ThriftSession session(server.port(), impl.setup, kind);
        session.once();
      }
    }
    RawServer server(exchanges[k], true);
    try {
      ThriftSession session(server.port(), Setup{0, false}, kind);
      session.once();
      RawSession raw(server.port(), exchanges[k]);
      raw.once();
    } catch (const std::exception&) {
      if (!server.mismatch()) throw;
      std::cerr << "call_bench: " << kind.name << ": our client sent other bytes than the floor\n";
      return 1;
    }
  }
  std::cout << "call_bench: our client and server and the raw floor carry the same bytes\n";
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  double seconds = 1.0;
  int repetitions = 5;
  std::string jsonPath;
  bool checkOnly = false;
  std::string only;
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    if (arg.rfind("--seconds=", 0) == 0) {
      seconds = std::atof(arg.c_str() + 10);
    } else if (arg.rfind("--repetitions=", 0) == 0) {
      repetitions = std::atoi(arg.c_str() + 14);
    } else if (arg.rfind("--json=", 0) == 0) {
      jsonPath = arg.substr(7);
    } else if (arg.rfind("--only=", 0) == 0) {
      only = arg.substr(7);
    } else if (arg == "--check") {
      checkOnly = true;
    } else {
      std::cerr << "usage: call_bench [--seconds=S] [--repetitions=R] [--json=FILE] "
                   "[--only=TEXT] [--check]\n";
      return 2;
    }
  }

  try {
    const auto kinds = callKinds();
    std::vector<Exchange> exchanges;
    for (const auto& kind : kinds) exchanges.push_back(exchangeOf(kind));
    if (checkOnly) {
      return check(kinds, exchanges);
    }

    std::ofstream json;
    if (!jsonPath.empty()) json.open(jsonPath);
    std::printf("%-14s %7s %-12s %3s %12s %10s %10s\n", "call", "clients", "impl", "rep", "calls/s",
                "p50 us", "p99 us");
    // Repetitions interleave the implementations, so that a slow spell of
    // the machine does not fall on one of them only.
    for (size_t k = 0; k < kinds.size(); ++k) {
      for (int clients : {1, 8}) {
        for (int rep = 0; rep < repetitions; ++rep) {
          for (const Impl& impl : kImpls) {
            const std::string name =
                std::string(kinds[k].name) + "/" + std::to_string(clients) + "/" + impl.name;
            if (name.find(only) == std::string::npos) continue;
            const Result r = runOnce(impl, kinds[k], exchanges[k], clients, seconds);
            const double rate = static_cast<double>(r.calls) / r.seconds;
            std::printf("%-14s %7d %-12s %3d %12.0f %10.1f %10.1f\n", kinds[k].name, clients,
                        impl.name, rep, rate, r.p50_us, r.p99_us);
            std::fflush(stdout);
            if (json) {
              json << "{\"call\": \"" << kinds[k].name << "\", \"clients\": " << clients
                   << ", \"impl\": \"" << impl.name << "\", \"rep\": " << rep
                   << ", \"calls\": " << r.calls << ", \"seconds\": " << r.seconds
                   << ", \"calls_per_second\": " << rate << ", \"p50_us\": " << r.p50_us
                   << ", \"p99_us\": " << r.p99_us
                   << ", \"request_bytes\": " << exchanges[k].request.size()
                   << ", \"reply_bytes\": " << exchanges[k].reply.size() << "}\n";
            }
          }
        }
      }
    }
  } catch (const std::exception& e) {
    std::cerr << "call_bench: " << e.what() << "\n";
    return 1;
  }
  return 0;
}
