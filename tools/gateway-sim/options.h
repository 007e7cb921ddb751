// yol-gateway-sim's command line.
#ifndef THRIFTYOL_TOOLS_GATEWAY_SIM_OPTIONS_H
#define THRIFTYOL_TOOLS_GATEWAY_SIM_OPTIONS_H

#include <stdexcept>
#include <string>
#include <vector>

namespace gatewaysim {

extern const char* const kUsage;

struct Options {
  std::string host = "127.0.0.1";
  int port = 9090;
  std::string protocol = "binary";
  std::string transport = "buffered";
  std::string state_file;  // empty: the built-in state
  bool quiet = false;
  bool help = false;
  bool print_default_state = false;
};

class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Reads the command line (without the program name); throws UsageError.
Options parseOptions(const std::vector<std::string>& args);

}  // namespace gatewaysim

#endif  // THRIFTYOL_TOOLS_GATEWAY_SIM_OPTIONS_H
