// Encodes a record, decodes it back and prints it; a call through the
// service header proves that the client and processor link too.
#include <thriftyol/service/Yol.h>
#include <thriftyol/types/yol_constants.h>
#include <thriftyol/types/yol_types.h>

#include <thrift/protocol/TBinaryProtocol.h>
#include <thrift/transport/TBufferTransports.h>

#include <iostream>
#include <memory>

int main() {
  using apache::thrift::protocol::TBinaryProtocol;
  using apache::thrift::transport::TMemoryBuffer;

  auto buffer = std::make_shared<TMemoryBuffer>();
  TBinaryProtocol protocol(buffer);

  yol::stFeatures out;
  out.feature = static_cast<yol::eMGTFeature::type>(7);
  out.enabled = true;
  out.write(&protocol);

  yol::stFeatures in;
  in.read(&protocol);
  std::cout << in << "\n";

  std::shared_ptr<yol::YolIf> handler = std::make_shared<yol::YolNull>();
  yol::YolProcessor processor(handler);
  (void)yol::g_yol_constants;
  return in == out ? 0 : 1;
}
