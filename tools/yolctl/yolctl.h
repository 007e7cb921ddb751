// yolctl: calls any call of a Yol server from the command line, lists the
// calls and describes the records and enumerations of the contract.
#ifndef THRIFTYOL_TOOLS_YOLCTL_YOLCTL_H
#define THRIFTYOL_TOOLS_YOLCTL_YOLCTL_H

#include <iosfwd>
#include <string>
#include <vector>

namespace yolctl {

// The exit status of a run; --help prints the same table.
enum ExitCode {
  kOk = 0,
  kInternalError = 1,   // a fault of yolctl itself
  kUsage = 2,           // bad options or command line
  kUnknownName = 3,     // no call (or record, or enumeration) of that name
  kBadArguments = 4,    // wrong number of arguments, or one of a wrong type
  kCannotConnect = 5,   // connection refused, host unknown, connect timed out
  kTimedOut = 6,        // connected, but no reply within the timeout
  kExceptionReply = 7,  // the server answered with an exception
  kMissingResult = 8,   // the reply carried no result
  kCallFailed = 9,      // connection lost or reply unreadable during the call
};

// Runs yolctl with the command line `args` (without the program name),
// writing results to `out` and diagnostics to `err`; returns the exit code.
int run(const std::vector<std::string>& args, std::ostream& out, std::ostream& err);

}  // namespace yolctl

#endif  // THRIFTYOL_TOOLS_YOLCTL_YOLCTL_H
