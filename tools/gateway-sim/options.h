// yol-gateway-sim's command line.
#ifndef THRIFTYOL_TOOLS_GATEWAY_SIM_OPTIONS_H
#define THRIFTYOL_TOOLS_GATEWAY_SIM_OPTIONS_H

#include <string>
#include <vector>

#include "command_line.h"

namespace gatewaysim {

extern const char* const kUsage;

struct Options : yoltools::Endpoint {
  std::string state_file;  // empty: the built-in state
  bool quiet = false;
  bool help = false;
  bool print_default_state = false;
};

using yoltools::UsageError;

// Reads the command line (without the program name); throws UsageError.
Options parseOptions(const std::vector<std::string>& args);

}  // namespace gatewaysim

#endif  // THRIFTYOL_TOOLS_GATEWAY_SIM_OPTIONS_H
