#include "command_line.h"

#include <exception>

namespace yoltools {

Option readOption(const std::vector<std::string>& args, std::size_t& i,
                  std::initializer_list<const char*> alsoWithValue) {
  Option option{args[i], ""};
  const std::size_t equals = option.name.find('=');
  if (option.name.rfind("--", 0) == 0 && equals != std::string::npos) {
    option.value = option.name.substr(equals + 1);
    option.name.resize(equals);
    return option;
  }
  bool withValue = isEndpointOption(option.name);
  for (const char* name : alsoWithValue) {
    withValue = withValue || option.name == name;
  }
  if (withValue) {
    if (i + 1 == args.size()) {
      throw UsageError(option.name + " wants a value");
    }
    option.value = args[++i];
  }
  return option;
}

bool isEndpointOption(const std::string& name) {
  return name == "--host" || name == "--port" || name == "--protocol" || name == "--transport";
}

void setEndpointOption(const Option& option, int lowestPort, Endpoint& endpoint) {
  const std::string& value = option.value;
  if (option.name == "--host") {
    if (value.empty()) {
      throw UsageError("--host wants a host name or address");
    }
    endpoint.host = value;
  } else if (option.name == "--port") {
    endpoint.port = parseNumber(option.name, value, lowestPort, 65535);
  } else if (option.name == "--protocol") {
    if (value != "binary" && value != "compact" && value != "json") {
      throw UsageError("--protocol is binary, compact or json, not '" + value + "'");
    }
    endpoint.protocol = value;
  } else if (option.name == "--transport") {
    if (value != "buffered" && value != "framed") {
      throw UsageError("--transport is buffered or framed, not '" + value + "'");
    }
    endpoint.transport = value;
  } else {
    throw UsageError("unknown option '" + option.name + "'");
  }
}

int parseNumber(const std::string& option, const std::string& text, int lowest, int highest) {
  std::size_t used = 0;
  long value = 0;
  try {
    value = std::stol(text, &used);
  } catch (const std::exception&) {
    used = 0;
  }
  if (used == 0 || used != text.size() || value < lowest || value > highest) {
    throw UsageError(option + " wants a number from " + std::to_string(lowest) + " to " +
                     std::to_string(highest) + ", not '" + text + "'");
  }
  return static_cast<int>(value);
}

}  // namespace yoltools
