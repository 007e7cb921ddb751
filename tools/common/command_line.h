// What the command lines of yolctl and yol-gateway-sim share: the server's
// address, protocol and transport, how an option word takes its value, and
// the error of a bad command line.
#ifndef THRIFTYOL_TOOLS_COMMON_COMMAND_LINE_H
#define THRIFTYOL_TOOLS_COMMON_COMMAND_LINE_H

#include <cstddef>
#include <initializer_list>
#include <stdexcept>
#include <string>
#include <vector>

namespace yoltools {

// A bad command line; the tools print it with a hint and exit with their
// usage status.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Where the server listens and how it talks: --host, --port, --protocol,
// --transport.
struct Endpoint {
  std::string host = "127.0.0.1";
  int port = 9090;
  std::string protocol = "binary";     // binary, compact or json
  std::string transport = "buffered";  // buffered or framed
};

// An option word and its value (empty for a flag).
struct Option {
  std::string name;
  std::string value;
};

// Reads the option at args[i]: "--name=value"; "--name value" when the
// name is an Endpoint option or one of `alsoWithValue` (then `i` moves to
// the value); otherwise a flag. Throws UsageError when a value is missing.
Option readOption(const std::vector<std::string>& args, std::size_t& i,
                  std::initializer_list<const char*> alsoWithValue = {});

// Whether `name` is one of the Endpoint options.
bool isEndpointOption(const std::string& name);

// Sets the Endpoint option `option` to its value; throws UsageError when
// the value is not one the option takes. Ports run from `lowestPort`: 0
// lets a server take any free port, a client needs a real one.
void setEndpointOption(const Option& option, int lowestPort, Endpoint& endpoint);

// `text` as a whole number from `lowest` to `highest`; throws UsageError
// naming `option` otherwise.
int parseNumber(const std::string& option, const std::string& text, int lowest, int highest);

}  // namespace yoltools

#endif  // THRIFTYOL_TOOLS_COMMON_COMMAND_LINE_H
