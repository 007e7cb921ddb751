#include "yolctl.h"

#include <cstdint>
#include <exception>
#include <memory>
#include <ostream>
#include <string>

#include <thrift/TApplicationException.h>
#include <thrift/TConfiguration.h>
#include <thrift/protocol/TBinaryProtocol.h>
#include <thrift/protocol/TCompactProtocol.h>
#include <thrift/protocol/TJSONProtocol.h>
#include <thrift/protocol/TProtocolException.h>
#include <thrift/transport/TBufferTransports.h>
#include <thrift/transport/TSocket.h>
#include <thrift/transport/TTransportException.h>

#include <thriftyol/json/yol_json.h>

#include "call_table.h"
#include "command_line.h"

namespace yolctl {
namespace {

using ::apache::thrift::TApplicationException;
using ::apache::thrift::TConfiguration;
using ::apache::thrift::TException;
using ::apache::thrift::protocol::TProtocol;
using ::apache::thrift::transport::TTransport;
using ::apache::thrift::transport::TTransportException;

constexpr const char* kHelp = R"(usage: yolctl [OPTIONS] CALL [ARGS...]
       yolctl list
       yolctl describe NAME

Calls CALL, any call of the Yol service by its wire name, on a server and
prints its result. `list` prints every call with its signature; `describe`
prints the fields of a record, the members of an enumeration or the
signature of a call.

Options (before CALL; `--` ends them):
  --host H             server host name or address (default 127.0.0.1)
  --port P             server port (default 9090)
  --protocol NAME      binary, compact or json (default binary)
  --transport NAME     buffered or framed (default buffered); both must match
                       the server's
  --timeout MS         limit for connecting, sending and waiting for the
                       reply, in milliseconds (default 5000)
  --json               print the result as JSON instead of its text form
  -h, --help           print this text

Arguments: one per argument of the call, in order, each as JSON: a record
as an object keyed by field names ('{"model": "EG25"}'), a list as an array,
an enumeration by member name or number (SSH or 8), a number, true or
false. A string argument is taken as it stands (1.2.3, 42, "a b" quoted for
the shell); a JSON string literal ('"x"') is unquoted. Any other text that
is no JSON is read as a string, which suits enumeration names.

Output: the result in the one-line text form of the records: records as
Name(field=value, ...), unset optional fields as <null>, enumerations and
i32 as numbers, bool as 1 or 0, lists as [a, b], strings as they are. A
call without result prints nothing. With --json: the result as one line of
JSON (null for a call without result; enumerations by member name).

A reply may be at most 16 MiB, with strings of at most 16 MiB and lists of
at most 1048576 elements (the binary and compact protocols check the last
two); a larger one fails the call (exit status 9).

Examples:
  yolctl status 7
  yolctl --protocol compact --json GetModemInfo
  yolctl acceptEULA TEMPORARY
  yolctl FT_UploadFile '{"id": "f-1", "type": "LOG_FILE", "size": 512}'
  yolctl SendMsg SSH GPS '["json_STRING"]' '["key"]' '["value"]'

Exit status:
  0  the call succeeded (or list, describe, --help)
  1  internal error of yolctl
  2  usage error: unknown option, bad option value, missing CALL
  3  unknown call (or, for describe, unknown name); nearest names suggested
  4  wrong number of arguments, or an argument of the wrong type
  5  cannot connect: connection refused, unknown host, connect timed out
  6  connected, but no reply within the timeout
  7  the server answered with an exception (its type and message printed)
  8  the reply carried no result
  9  the call failed otherwise: connection closed, reply unreadable or
     beyond the size limits
)";

// Limits on what a reply may ask the client to allocate.
constexpr int kMaxMessageBytes = 16 * 1024 * 1024;
constexpr std::int32_t kStringLimit = 16 * 1024 * 1024;
constexpr std::int32_t kContainerLimit = 1024 * 1024;

// A server that speaks another protocol or transport closes the connection
// or stays silent; say so where that is a likely cause.
constexpr const char* kMismatchHint =
    "\n(do --protocol and --transport match the server's?)\n";

using yoltools::UsageError;

struct Options : yoltools::Endpoint {
  int timeout_ms = 5000;
  bool json = false;
};

// Reads the options; returns the index of the first word after them.
std::size_t parseOptions(const std::vector<std::string>& args, Options& options,
                         bool& help) {
  std::size_t i = 0;
  for (; i < args.size(); ++i) {
    const std::string word = args[i];
    if (word == "--") {
      return i + 1;
    }
    if (word.size() < 2 || word[0] != '-') {
      break;
    }
    if (word == "-h" || word == "--help") {
      help = true;
      continue;
    }
    if (word == "--json") {
      options.json = true;
      continue;
    }
    const yoltools::Option option = yoltools::readOption(args, i, {"--timeout"});
    if (yoltools::isEndpointOption(option.name)) {
      yoltools::setEndpointOption(option, /* lowestPort */ 1, options);
    } else if (option.name == "--timeout") {
      options.timeout_ms =
          yoltools::parseNumber(option.name, option.value, 1, 24 * 60 * 60 * 1000);
    } else {
      throw UsageError("unknown option '" + word + "'");
    }
  }
  return i;
}

std::string suggestion(const std::string& name, const std::vector<std::string>& candidates) {
  const std::vector<std::string> near = nearestNames(name, candidates);
  if (near.empty()) {
    return "";
  }
  std::string text = "; did you mean ";
  for (std::size_t i = 0; i < near.size(); ++i) {
    text += (i == 0 ? "" : i + 1 == near.size() ? " or " : ", ") + near[i];
  }
  return text + "?";
}

std::vector<std::string> callNames() {
  std::vector<std::string> names;
  for (const CallEntry& entry : callTable()) {
    names.push_back(entry.name);
  }
  return names;
}

void printDoc(std::ostream& out, const char* doc) {
  if (doc != nullptr && *doc != '\0') {
    out << "// " << doc << "\n";
  }
}

int describe(const std::string& name, std::ostream& out, std::ostream& err) {
  std::vector<std::string> names;
  for (const auto& record : yol::json::contractRecords()) {
    if (name == record.name) {
      printDoc(out, record.doc);
      out << "struct " << record.name << " {\n";
      for (const auto& field : record.fields) {
        out << "  " << field.id << ": " << field.requiredness << " " << field.type << " "
            << field.name << "\n";
      }
      out << "}\n";
      return kOk;
    }
    names.push_back(record.name);
  }
  for (const auto& e : yol::json::contractEnums()) {
    if (name == e.name) {
      printDoc(out, e.doc);
      out << "enum " << e.name << " {\n";
      for (std::size_t i = 0; i < e.member_count; ++i) {
        out << "  " << e.members[i].name << " = " << e.members[i].value << "\n";
      }
      out << "}\n";
      return kOk;
    }
    names.push_back(e.name);
  }
  if (const CallEntry* call = findCall(name)) {
    out << call->signature << "\n";
    return kOk;
  }
  for (const std::string& call : callNames()) {
    names.push_back(call);
  }
  err << "yolctl: no record, enumeration or call named '" << name << "'"
      << suggestion(name, names) << "\n";
  return kUnknownName;
}

std::shared_ptr<TProtocol> makeProtocol(const Options& options,
                                        std::shared_ptr<TTransport>& transport) {
  auto config = std::make_shared<TConfiguration>(kMaxMessageBytes, kMaxMessageBytes);
  auto socket = std::make_shared<::apache::thrift::transport::TSocket>(options.host,
                                                                      options.port, config);
  socket->setConnTimeout(options.timeout_ms);
  socket->setSendTimeout(options.timeout_ms);
  socket->setRecvTimeout(options.timeout_ms);
  if (options.transport == "framed") {
    transport = std::make_shared<::apache::thrift::transport::TFramedTransport>(socket, config);
  } else {
    transport = std::make_shared<::apache::thrift::transport::TBufferedTransport>(socket, config);
  }
  if (options.protocol == "compact") {
    return std::make_shared<::apache::thrift::protocol::TCompactProtocol>(
        transport, kStringLimit, kContainerLimit);
  }
  if (options.protocol == "json") {
    return std::make_shared<::apache::thrift::protocol::TJSONProtocol>(transport);
  }
  return std::make_shared<::apache::thrift::protocol::TBinaryProtocol>(
      transport, kStringLimit, kContainerLimit, /* strict_read */ false,
      /* strict_write */ true);
}

const char* exceptionTypeName(int type) {
  switch (type) {
    case TApplicationException::UNKNOWN: return "UNKNOWN";
    case TApplicationException::UNKNOWN_METHOD: return "UNKNOWN_METHOD";
    case TApplicationException::INVALID_MESSAGE_TYPE: return "INVALID_MESSAGE_TYPE";
    case TApplicationException::WRONG_METHOD_NAME: return "WRONG_METHOD_NAME";
    case TApplicationException::BAD_SEQUENCE_ID: return "BAD_SEQUENCE_ID";
    case TApplicationException::MISSING_RESULT: return "MISSING_RESULT";
    case TApplicationException::INTERNAL_ERROR: return "INTERNAL_ERROR";
    case TApplicationException::PROTOCOL_ERROR: return "PROTOCOL_ERROR";
    case TApplicationException::INVALID_TRANSFORM: return "INVALID_TRANSFORM";
    case TApplicationException::INVALID_PROTOCOL: return "INVALID_PROTOCOL";
    case TApplicationException::UNSUPPORTED_CLIENT_TYPE: return "UNSUPPORTED_CLIENT_TYPE";
    default: return "TApplicationException";
  }
}

int callServer(const Options& options, const CallEntry& call, const PreparedCall& prepared,
               std::ostream& out, std::ostream& err) {
  const std::string where = options.host + ":" + std::to_string(options.port);
  std::shared_ptr<TTransport> transport;
  std::shared_ptr<TProtocol> protocol = makeProtocol(options, transport);
  try {
    transport->open();
  } catch (const TException& e) {
    err << "yolctl: cannot connect to " << where << ": " << e.what() << "\n";
    return kCannotConnect;
  }
  yol::YolClient client(protocol);
  Outcome outcome;
  try {
    outcome = prepared(client);
  } catch (const TApplicationException& e) {
    if (e.getType() == TApplicationException::MISSING_RESULT) {
      err << "yolctl: " << call.name << ": the reply carried no result (" << e.what() << ")\n";
      return kMissingResult;
    }
    err << "yolctl: " << call.name << ": the server answered with an exception: "
        << exceptionTypeName(e.getType()) << ": " << e.what() << "\n";
    return kExceptionReply;
  } catch (const TTransportException& e) {
    if (e.getType() == TTransportException::TIMED_OUT) {
      err << "yolctl: " << call.name << ": no reply from " << where << " within "
          << options.timeout_ms << " ms" << kMismatchHint;
      return kTimedOut;
    }
    err << "yolctl: " << call.name << ": the call failed: " << e.what() << kMismatchHint;
    return kCallFailed;
  } catch (const TException& e) {
    err << "yolctl: " << call.name << ": the call failed: " << e.what() << kMismatchHint;
    return kCallFailed;
  }
  try {
    transport->close();
  } catch (const TException&) {
    // The answer is in; a failing close changes nothing about it.
  }
  if (options.json) {
    out << outcome.json.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) << "\n";
  } else if (outcome.has_result) {
    out << outcome.text << "\n";
  }
  return kOk;
}

int runChecked(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
  Options options;
  bool help = false;
  const std::size_t first = parseOptions(args, options, help);
  if (help) {
    out << kHelp;
    return kOk;
  }
  if (first == args.size()) {
    throw UsageError("no CALL given");
  }
  const std::string& command = args[first];
  const std::vector<std::string> rest(args.begin() + static_cast<std::ptrdiff_t>(first) + 1,
                                      args.end());
  if (command == "list") {
    if (!rest.empty()) {
      throw UsageError("list takes no arguments");
    }
    for (const CallEntry& entry : callTable()) {
      out << entry.signature << "\n";
    }
    return kOk;
  }
  if (command == "describe") {
    if (rest.size() != 1) {
      throw UsageError("describe takes one NAME");
    }
    return describe(rest[0], out, err);
  }
  const CallEntry* call = findCall(command);
  if (call == nullptr) {
    err << "yolctl: unknown call '" << command << "'" << suggestion(command, callNames())
        << "\n";
    return kUnknownName;
  }
  PreparedCall prepared;
  try {
    prepared = call->prepare(rest);
  } catch (const ArgumentError& e) {
    err << "yolctl: " << call->name << ": " << e.what() << "\n";
    return kBadArguments;
  }
  return callServer(options, *call, prepared, out, err);
}

}  // namespace

int run(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
  try {
    return runChecked(args, out, err);
  } catch (const UsageError& e) {
    err << "yolctl: " << e.what() << "\n" << "Try 'yolctl --help'.\n";
    return kUsage;
  } catch (const std::exception& e) {
    err << "yolctl: internal error: " << e.what() << "\n";
    return kInternalError;
  }
}

}  // namespace yolctl
