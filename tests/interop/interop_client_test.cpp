// interop_client_test PROTOCOL TRANSPORT PORT SILENT_PORT [CALL...]: our
// YolClient against the thriftpy servers that peer.py starts. Every call of
// the contract goes with its sample arguments to the server on PORT, which
// checks them and answers with the sample result, except the CALLs named
// (peer.py says why); then to the one on SILENT_PORT, which answers without
// a result. Exits 0 when every answer was as expected.

#include <exception>
#include <iostream>
#include <memory>
#include <set>
#include <string>

#include <thrift/TApplicationException.h>
#include <thrift/TToString.h>
#include <thrift/transport/TSocket.h>

#include "contract_calls.h"
#include "loopback_server.h"

namespace {

using namespace yol::service_test;
using apache::thrift::TApplicationException;

int failures = 0;

template <class... Parts>
void fail(const Parts&... parts) {
  ++failures;
  ((std::cerr << "FAILED: ") << ... << parts) << "\n";
}

// An open connection through the named protocol and transport, with the
// safe limits and with timeouts, so that a silent peer cannot hang it.
struct Session {
  Session(int port, const std::string& protocol, const std::string& transport) {
    auto socket = std::make_shared<apache::thrift::transport::TSocket>("127.0.0.1", port);
    socket->setConnTimeout(15000);
    socket->setRecvTimeout(15000);
    socket->setSendTimeout(15000);
    auto framing = yol::testing::transport_factory(transport)->getTransport(socket);
    framing->open();
    client = std::make_unique<yol::YolClient>(
        yol::testing::protocol_factory(protocol)->getProtocol(framing));
  }
  std::unique_ptr<yol::YolClient> client;
};

int run(const std::string& protocol, const std::string& transport, int port, int silentPort,
        const std::set<std::string>& skip) {
  auto session = std::make_unique<Session>(port, protocol, transport);
  Session silent(silentPort, protocol, transport);
  int answered = 0;
  int missing = 0;
  yol::testing::for_each_type(AllCalls{}, [&](auto type) {
    using C = typename decltype(type)::type;
    typename C::Result result{};
    if (skip.count(C::name) == 0) {
      try {
        C::call(*session->client, sample_args<C>(), result);
        if (result == sample_result<C>()) {
          ++answered;
        } else {
          fail(C::name, ": got ", apache::thrift::to_string(result), ", expected ",
               apache::thrift::to_string(sample_result<C>()));
        }
      } catch (const std::exception& e) {
        fail(C::name, ": ", e.what());  // the peer tells why; go on, on a new connection
        session = std::make_unique<Session>(port, protocol, transport);
      }
    }
    try {
      C::call(*silent.client, sample_args<C>(), result);
      if (C::shape != Shape::none) fail(C::name, " returned although the reply had no result");
    } catch (const TApplicationException& e) {
      if (C::shape != Shape::none && e.getType() == TApplicationException::MISSING_RESULT &&
          e.what() == std::string(C::name) + " failed: unknown result") {
        ++missing;
      } else {
        fail(C::name, " without a result: exception ", e.getType(), " ", e.what());
      }
    }
  });
  std::cout << "interop: " << answered << " calls answered with the expected values, "
            << skip.size() << " not made, " << missing << " reported their missing result\n";
  if (answered + skip.size() != AllCalls::size || missing != AllCalls::size - 1) {
    fail("expected every call answered or not made, and every call but ping missing its result");
  }
  return failures == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 5) {
    std::cerr << "usage: interop_client_test PROTOCOL TRANSPORT PORT SILENT_PORT [CALL...]\n";
    return 2;
  }
  try {
    return run(argv[1], argv[2], std::stoi(argv[3]), std::stoi(argv[4]),
               std::set<std::string>(argv + 5, argv + argc));
  } catch (const std::exception& e) {
    std::cerr << "interop_client_test: " << e.what() << "\n";
    return 1;
  }
}
