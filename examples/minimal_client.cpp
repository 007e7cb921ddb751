// minimal_client: calls a Yol server and prints what came back.
//
// usage: minimal_client [HOST [PORT]]    (default 127.0.0.1 9090)
// Works against minimal_server and yol-gateway-sim (binary protocol,
// buffered transport). Exits 0 when every call succeeded.

#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <string>

#include <thrift/TApplicationException.h>
#include <thrift/protocol/TBinaryProtocol.h>
#include <thrift/transport/TSocket.h>
#include <thrift/transport/TTransportException.h>

#include <thriftyol/limits/safe_server.h>
#include <thriftyol/service/Yol.h>

using ::apache::thrift::TApplicationException;
using ::apache::thrift::TException;
using ::apache::thrift::protocol::TBinaryProtocol;
using ::apache::thrift::transport::TSocket;
using ::apache::thrift::transport::TTransportException;

int main(int argc, char** argv) {
  const std::string host = argc > 1 ? argv[1] : "127.0.0.1";
  const int port = argc > 2 ? std::atoi(argv[2]) : 9090;

  // [client-setup]
  // With the library's safe limits, a reply may not make the client allocate
  // more than a call can need.
  namespace limits = yol::safe_server;
  constexpr int kTimeoutMs = 5000;

  auto config = limits::configuration();
  auto socket = std::make_shared<TSocket>(host, port, config);
  socket->setConnTimeout(kTimeoutMs);
  socket->setRecvTimeout(kTimeoutMs);
  socket->setSendTimeout(kTimeoutMs);
  auto transport = std::make_shared<limits::BufferedTransport>(socket, config);
  auto protocol =
      std::make_shared<TBinaryProtocol>(transport, limits::kStringLimit, limits::kContainerLimit,
                                        /* strict_read */ false, /* strict_write */ true);
  yol::YolClient client(protocol);
  // [client-setup-end]

  try {
    transport->open();

    // [client-calls]
    client.ping();

    // i32 and bool results are returned...
    const int32_t status = client.status(7);

    // ...string, record and list results fill the first argument.
    std::string modemId;
    client.getModemId(modemId);
    yol::stCellularInfo modem;
    client.GetModemInfo(modem);

    std::cout << "status(7): " << status << "\n"
              << "getModemId: " << modemId << "\n"
              << "GetModemInfo: " << modem << "\n";
    // [client-calls-end]

    transport->close();
    // [client-errors]
  } catch (const TApplicationException& e) {
    // The server answered with an exception: the handler failed (its text
    // is the message), or the server does not know the call.
    std::cerr << "minimal_client: the server says: " << e.what() << "\n";
    return 1;
  } catch (const TTransportException& e) {
    // Refused, timed out or closed; the client is of no further use.
    std::cerr << "minimal_client: connection to " << host << ":" << port << ": " << e.what()
              << "\n";
    return 1;
  } catch (const TException& e) {
    // A reply that could not be read (malformed, beyond the limits).
    std::cerr << "minimal_client: " << e.what() << "\n";
    return 1;
  }
  // [client-errors-end]
  return 0;
}
