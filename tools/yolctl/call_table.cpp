#include "call_table.h"

#include <algorithm>
#include <cctype>
#include <tuple>
#include <type_traits>
#include <utility>

#include <thriftyol/json/yol_json.h>
#include <thriftyol/support/text.h>

namespace yolctl {
namespace {

template <class T>
T parseArgument(const std::string& text, std::size_t index,
                const yol::calls::Argument& argument) {
  const nlohmann::json j = argumentJson(text, std::is_same_v<T, std::string>);
  try {
    return yol::json::fromJson<T>(j, argument.name);
  } catch (const yol::json::JsonError& e) {
    throw ArgumentError("argument " + std::to_string(index + 1) + " (" +
                        e.path() + "): " + e.problem());
  }
}

// The arguments in order; the first that does not fit is the one reported.
template <class C, std::size_t... I>
typename C::Args parseArguments(const std::vector<std::string>& texts,
                                std::index_sequence<I...>) {
  return typename C::Args{parseArgument<std::tuple_element_t<I, typename C::Args>>(
      texts[I], I, C::arguments[I])...};
}

std::string countProblem(const char* signature, std::size_t expected, std::size_t given) {
  return "expected " + std::to_string(expected) +
         (expected == 1 ? " argument" : " arguments") + ", got " +
         std::to_string(given) + ": " + signature;
}

template <class C>
PreparedCall prepare(const std::vector<std::string>& texts) {
  if (texts.size() != C::arguments.size()) {
    throw ArgumentError(countProblem(C::signature, C::arguments.size(), texts.size()));
  }
  using Args = typename C::Args;
  Args args = parseArguments<C>(texts, std::make_index_sequence<std::tuple_size_v<Args>>{});
  return [args = std::move(args)](yol::YolIf& iface) {
    Outcome outcome;
    if constexpr (std::is_void_v<typename C::Result>) {
      C::call(iface, args);
    } else {
      const typename C::Result result = C::call(iface, args);
      outcome.has_result = true;
      outcome.json = yol::json::toJson(result);
      outcome.text = thriftyol::text::valueText(result);
    }
    return outcome;
  };
}

template <class... C>
std::vector<CallEntry> makeTable(yol::calls::CallList<C...>) {
  return {CallEntry{C::name, C::signature, {C::arguments.begin(), C::arguments.end()},
                    &prepare<C>}...};
}

std::string lower(const std::string& text) {
  std::string out = text;
  std::transform(out.begin(), out.end(), out.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return out;
}

std::size_t editDistance(const std::string& a, const std::string& b) {
  std::vector<std::size_t> row(b.size() + 1);
  for (std::size_t j = 0; j <= b.size(); ++j) {
    row[j] = j;
  }
  for (std::size_t i = 1; i <= a.size(); ++i) {
    std::size_t diagonal = row[0];
    row[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const std::size_t above = row[j];
      row[j] = std::min({row[j] + 1, row[j - 1] + 1, diagonal + (a[i - 1] == b[j - 1] ? 0 : 1)});
      diagonal = above;
    }
  }
  return row[b.size()];
}

}  // namespace

const std::vector<CallEntry>& callTable() {
  static const std::vector<CallEntry> table = makeTable(yol::calls::AllYolCalls{});
  return table;
}

const CallEntry* findCall(const std::string& name) {
  for (const CallEntry& entry : callTable()) {
    if (name == entry.name) {
      return &entry;
    }
  }
  return nullptr;
}

std::vector<std::string> nearestNames(const std::string& name,
                                      const std::vector<std::string>& candidates,
                                      std::size_t most) {
  // Best first: the name in another case (then alone), a one-letter slip, a
  // name that contains it, then anything else a few edits away.
  const std::string wanted = lower(name);
  const std::size_t allowed = std::max<std::size_t>(2, wanted.size() / 3);
  std::vector<std::tuple<int, std::size_t, std::string>> ranked;
  for (const std::string& candidate : candidates) {
    const std::string folded = lower(candidate);
    const std::size_t distance = editDistance(wanted, folded);
    int tier = 3;
    if (distance == 0) {
      tier = 0;
    } else if (distance == 1) {
      tier = 1;
    } else if (wanted.size() >= 3 && folded.find(wanted) != std::string::npos) {
      tier = 2;
    } else if (distance > allowed) {
      continue;
    }
    ranked.emplace_back(tier, distance, candidate);
  }
  std::sort(ranked.begin(), ranked.end());
  std::vector<std::string> names;
  for (std::size_t i = 0; i < ranked.size() && i < most; ++i) {
    // The same name in another case leaves no doubt: offer only that.
    if (std::get<0>(ranked[i]) != 0 && std::get<0>(ranked[0]) == 0) {
      break;
    }
    names.push_back(std::get<2>(ranked[i]));
  }
  return names;
}

nlohmann::json argumentJson(const std::string& text, bool forString) {
  nlohmann::json j = nlohmann::json::parse(text, nullptr, /* allow_exceptions */ false);
  if (j.is_discarded() || (forString && !j.is_string())) {
    return text;
  }
  return j;
}

}  // namespace yolctl
