// yolctl's table of calls: for every call of the contract, its signature and
// how to turn command-line texts into its arguments and its result into
// text and JSON. Built from the generated call descriptors
// (<thriftyol/json/yol_calls.h>), so it always holds every call.
#ifndef THRIFTYOL_TOOLS_YOLCTL_CALL_TABLE_H
#define THRIFTYOL_TOOLS_YOLCTL_CALL_TABLE_H

#include <cstddef>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include <thriftyol/json/yol_calls.h>

namespace yolctl {

// Arguments that do not fit their call: a wrong count, or a text that is not
// a value of its argument's type. The message names the argument and why.
class ArgumentError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// What a call answered.
struct Outcome {
  bool has_result = false;
  nlohmann::json json;  // null for a call without result
  std::string text;     // the one-line text form; empty without result
};

// A call whose arguments are ready: makes it on a handler or a client.
using PreparedCall = std::function<Outcome(yol::YolIf&)>;

struct CallEntry {
  const char* name;
  const char* signature;  // "i32 status(1: i32 id)"
  std::vector<yol::calls::Argument> arguments;
  // Converts the arguments' texts, or throws ArgumentError.
  PreparedCall (*prepare)(const std::vector<std::string>& texts);
};

// Every call, in contract order.
const std::vector<CallEntry>& callTable();

// The call with this wire name (case matters), or nullptr.
const CallEntry* findCall(const std::string& name);

// The candidates nearest to a name that was not found, best first, at most
// `most`: the same name in another case, names a few edits away, and names
// that contain it (GetStatus -> FT_GetStatus).
std::vector<std::string> nearestNames(const std::string& name,
                                      const std::vector<std::string>& candidates,
                                      std::size_t most = 4);

// An argument's text as JSON: the text parsed as JSON, or, when it is no
// JSON at all, the text itself as a string (a bare word: SSH, 1.2.3). For a
// string argument, any text that does not parse as a JSON string is taken
// as it is, so 42 passes the string "42" and "\"a b\"" the string a b.
nlohmann::json argumentJson(const std::string& text, bool forString);

}  // namespace yolctl

#endif  // THRIFTYOL_TOOLS_YOLCTL_CALL_TABLE_H
