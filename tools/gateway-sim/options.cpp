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

namespace {

int parsePort(const std::string& text) {
  std::size_t used = 0;
  long value = -1;
  try {
    value = std::stol(text, &used);
  } catch (const std::exception&) {
    used = 0;
  }
  if (used == 0 || used != text.size() || value < 0 || value > 65535) {
    throw UsageError("--port wants a number from 0 to 65535, not '" + text + "'");
  }
  return static_cast<int>(value);
}

}  // namespace

Options parseOptions(const std::vector<std::string>& args) {
  Options options;
  for (std::size_t i = 0; i < args.size(); ++i) {
    std::string word = args[i];
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
    std::string value;
    const std::size_t equals = word.find('=');
    if (word.rfind("--", 0) == 0 && equals != std::string::npos) {
      value = word.substr(equals + 1);
      word.resize(equals);
    } else if (word == "--host" || word == "--port" || word == "--protocol" ||
               word == "--transport" || word == "--state") {
      if (i + 1 == args.size()) {
        throw UsageError(word + " wants a value");
      }
      value = args[++i];
    }
    if (word == "--host") {
      if (value.empty()) {
        throw UsageError("--host wants an address");
      }
      options.host = value;
    } else if (word == "--port") {
      options.port = parsePort(value);
    } else if (word == "--protocol") {
      if (value != "binary" && value != "compact" && value != "json") {
        throw UsageError("--protocol is binary, compact or json, not '" + value + "'");
      }
      options.protocol = value;
    } else if (word == "--transport") {
      if (value != "buffered" && value != "framed") {
        throw UsageError("--transport is buffered or framed, not '" + value + "'");
      }
      options.transport = value;
    } else if (word == "--state") {
      if (value.empty()) {
        throw UsageError("--state wants a file");
      }
      options.state_file = value;
    } else {
      throw UsageError("unknown option '" + args[i] + "'");
    }
  }
  return options;
}

}  // namespace gatewaysim
