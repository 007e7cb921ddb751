// Decodes arbitrary bytes as one of the records: the first byte chooses the
// protocol and the record type (see recordSelector), the rest is the
// encoded record.
// Bad input may only end in a Thrift exception. A record that decodes must
// encode again, decode from that encoding and encode to the same bytes, and
// print its one-line text form.
#include <cstddef>
#include <cstdint>
#include <sstream>
#include <string>
#include <vector>

#include <thrift/Thrift.h>

#include <thriftyol/testing/yol_samples.h>
#include <thriftyol/types/yol_types.h>

#include "fuzz_support.h"

namespace {

using ::apache::thrift::TException;
using yol::fuzz::fault;
using yol::fuzz::Wire;

using RoundTrip = void (*)(Wire, const uint8_t*, std::size_t);

template <class R>
std::string encode(const R& record, Wire wire) {
  const auto buffer = yol::fuzz::emptyBuffer();
  try {
    record.write(yol::fuzz::protocol(wire, buffer).get());
  } catch (const TException&) {
    fault("a decoded record that does not encode");
  }
  return buffer->getBufferAsString();
}

template <class R>
void roundTrip(Wire wire, const uint8_t* data, std::size_t size) {
  R first;
  try {
    first.read(yol::fuzz::protocol(wire, yol::fuzz::inputBuffer(data, size)).get());
  } catch (const TException&) {
    return;  // bad input, refused as such
  }

  const std::string once = encode(first, wire);
  R second;
  try {
    const auto bytes = reinterpret_cast<const uint8_t*>(once.data());
    second.read(yol::fuzz::protocol(wire, yol::fuzz::inputBuffer(bytes, once.size())).get());
  } catch (const TException&) {
    fault("an encoded record that does not decode");
  }
  if (encode(second, wire) != once) {
    fault("a record whose encoding changes when decoded and encoded again");
  }

  std::ostringstream text;
  text << first;
  const std::string prefix = std::string(yol::testing::RecordInfo<R>::name) + "(";
  if (text.str().compare(0, prefix.size(), prefix) != 0 || text.str().back() != ')') {
    fault("a text form that is not the record's name and fields in parentheses");
  }
}

const std::vector<RoundTrip>& roundTrips() {
  static const std::vector<RoundTrip> all = [] {
    std::vector<RoundTrip> made;
    yol::testing::for_each_record(
        [&made](auto type) { made.push_back(&roundTrip<typename decltype(type)::type>); });
    return made;
  }();
  return all;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  if (size == 0) {
    return 0;
  }
  const auto& all = roundTrips();
  all[yol::fuzz::selectedRecord(data[0], all.size())](yol::fuzz::selectedWire(data[0]), data + 1,
                                                      size - 1);
  return 0;
}
