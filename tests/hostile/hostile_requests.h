// Requests that announce far more than they carry, written as a peer would
// send them over the binary or the compact protocol.
#ifndef THRIFTYOL_TESTS_HOSTILE_HOSTILE_REQUESTS_H
#define THRIFTYOL_TESTS_HOSTILE_HOSTILE_REQUESTS_H

#include <cstdint>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include <thrift/Thrift.h>
#include <thrift/protocol/TProtocol.h>
#include <thrift/protocol/TProtocolException.h>

namespace hostile {

enum class Wire { binary, compact };

const char* name(Wire wire);

// The protocol factory of a server with the limits of <thriftyol/limits/safe_server.h>.
std::shared_ptr<::apache::thrift::protocol::TProtocolFactory> safeProtocols(Wire wire);

constexpr int32_t kHuge = 2147483647;  // 2^31-1

// TEL_SendCAN whose device list announces kHuge records and holds none.
std::string hugeRecordList(Wire wire);
// SetMerivaultName whose name announces `length` bytes and holds three.
std::string announcedString(Wire wire, int32_t length);
// A message header whose method name announces kHuge bytes and holds two
// (binary: the old header without a version, which starts with the name).
std::string hugeMethodName(Wire wire);
// ping with `depth` structures nested under an unknown field id.
std::string deepUnknownNesting(Wire wire, int depth);
// FT_Acknowledge("f1", CANCEL, error) with any i32 as the error.
std::string acknowledgeWithError(Wire wire, int32_t error);

// What a hostile request must end in.
struct Case {
  const char* name;
  std::string (*request)(Wire);
  ::apache::thrift::protocol::TProtocolException::TProtocolExceptionType expected;
};

// The four announcements: a list of 2^31-1 records, a string of 2^31-1
// bytes, a method name of 2^31-1 bytes and 10,000 nested structures.
const std::vector<Case>& cases();

// How test parameters print in test names and failures.
void PrintTo(Wire wire, std::ostream* out);
void PrintTo(const Case& hostileCase, std::ostream* out);

}  // namespace hostile

#endif  // THRIFTYOL_TESTS_HOSTILE_HOSTILE_REQUESTS_H
