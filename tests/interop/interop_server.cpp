// interop_server PROTOCOL TRANSPORT: serves Yol on two loopback ports for
// peer.py's thriftpy client, through our processor factory behind the
// runtime's threaded server with the safe limits. On the first port every
// call is recorded and answered with its sample result; on the second every
// call's handler throws. Prints "PORTS <first> <second>" once listening and
// serves until its standard input closes. Then it checks that every call of
// the contract reached the first port, each time with its sample arguments:
// exits 0 if so, non-zero with the reasons otherwise.

#include <exception>
#include <iostream>
#include <limits>
#include <memory>
#include <set>
#include <string>
#include <tuple>

#include <thrift/TToString.h>

#include "contract_calls.h"
#include "loopback_server.h"

namespace {

using namespace yol::service_test;

template <class Tuple>
std::string text(const Tuple& values) {
  std::string out;
  std::apply([&](const auto&... v) { ((out += apache::thrift::to_string(v) + "; "), ...); }, values);
  return out;
}

// Whether every call of the contract arrived, each time with its sample
// arguments; prints what did not.
bool allIntact(const std::vector<CallRecorder::Received>& received) {
  std::set<std::string> names;
  bool intact = true;
  for (const CallRecorder::Received& call : received) {
    yol::testing::for_each_type(AllCalls{}, [&](auto type) {
      using C = typename decltype(type)::type;
      if (call.name != C::name) return;
      const auto& got = std::any_cast<const typename C::Args&>(call.args);
      if (got == sample_args<C>()) {
        names.insert(call.name);
      } else {
        intact = false;
        std::cerr << "interop_server: " << C::name << " received " << text(got) << " instead of "
                  << text(sample_args<C>()) << "\n";
      }
    });
  }
  std::cerr << "interop_server: " << names.size() << " of " << AllCalls::size
            << " calls arrived with their sample arguments\n";
  return intact && names.size() == AllCalls::size;
}

int run(const std::string& protocol, const std::string& transport) {
  yol::testing::ServerSetup setup;
  setup.protocols = yol::testing::protocol_factory(protocol);
  setup.transports = yol::testing::transport_factory(transport);
  // A client that stops talking mid-call cannot hold its thread for ever.
  setup.receive_timeout = setup.send_timeout = std::chrono::milliseconds(30000);
  auto recording = std::make_shared<RecordingHandler>();
  auto failing = std::make_shared<RecordingHandler>();
  failing->fail_with("handler failed");
  yol::testing::LoopbackServer server(std::make_shared<yol::YolIfSingletonFactory>(recording), setup);
  yol::testing::LoopbackServer failingServer(std::make_shared<yol::YolIfSingletonFactory>(failing),
                                             setup);
  std::cout << "PORTS " << server.port() << " " << failingServer.port() << std::endl;
  std::cin.ignore(std::numeric_limits<std::streamsize>::max());
  server.stop();
  failingServer.stop();
  return allIntact(recording->received()) ? 0 : 3;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::cerr << "usage: interop_server PROTOCOL TRANSPORT\n";
    return 2;
  }
  try {
    return run(argv[1], argv[2]);
  } catch (const std::exception& e) {
    std::cerr << "interop_server: " << e.what() << "\n";
    return 1;
  }
}
