#include "options.h"

#include <cstddef>

namespace gatewaysim {

const char* const kUsage = R"(usage: yol-gateway-sim [OPTIONS]

Serves the Yol service as a simulated telematics gateway: every call is
answered from an in-memory state that the calls change (modem, position,
file transfers, updates, remote support, jobs, ...), shared by all
connections. Runs until SIGINT or SIGTERM, then exits 0.

Options:
  --host H             address to listen on (default 127.0.0.1)
  --port P             port to listen on, 0 for any free one (default 9090)
  --protocol NAME      binary, compact or json (default binary)
  --transport NAME     buffered or framed (default buffered)
  --state FILE         start from the state in FILE (JSON): its top-level
                       keys replace those of the built-in state
  --print-default-state
                       print the built-in state and exit
  --quiet              no log line per call
  -h, --help           print this text

Once listening it prints "listening on HOST:PORT" on stdout. Each call is
logged on stderr: the call, the bytes in and out, the time taken and the
outcome (ok, handler error, no reply).

Exit status: 0 after SIGINT or SIGTERM (or --help), 1 when the server
cannot start (state file unreadable or invalid, address in use), 2 for a
bad command line.
)";

Options parseOptions(const std::vector<std::string>& args) {
  Options options;
  for (std::size_t i = 0; i < args.size(); ++i) {
    const std::string word = args[i];
    if (word == "-h" || word == "--help") {
      options.help = true;
      continue;
    }
    if (word == "--quiet") {
      options.quiet = true;
      continue;
    }
    if (word == "--print-default-state") {
      options.print_default_state = true;
      continue;
    }
    const yoltools::Option option = yoltools::readOption(args, i, {"--state"});
    if (yoltools::isEndpointOption(option.name)) {
      yoltools::setEndpointOption(option, /* lowestPort: any free one */ 0, options);
    } else if (option.name == "--state") {
      if (option.value.empty()) {
        throw UsageError("--state wants a file");
      }
      options.state_file = option.value;
    } else {
      throw UsageError("unknown option '" + word + "'");
    }
  }
  return options;
}

}  // namespace gatewaysim
