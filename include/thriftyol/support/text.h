// The value texts of the records' one-line text form (operator<<).
//
// Numbers, booleans, strings and nested records go through
// boost::lexical_cast: doubles as "%.17g" with the LC_NUMERIC decimal point
// (nan, -nan, inf, -inf), i32 grouped when the global locale groups digits,
// bool as 1 or 0, records through their own operator<< (a failing stream
// raises boost::bad_lexical_cast). Enumerations print their number, never
// their name. Lists print as "[a, b]".
#ifndef THRIFTYOL_SUPPORT_TEXT_H
#define THRIFTYOL_SUPPORT_TEXT_H

#include <cstdint>
#include <string>
#include <type_traits>
#include <vector>

#include <boost/lexical_cast.hpp>

namespace thriftyol {
namespace text {

// An enumeration value as its number, inserted as an i32 into a fresh
// string stream under the global locale. Throws boost::bad_lexical_cast
// when the stream fails.
std::string enumText(std::int32_t value);

template <class T>
std::string valueText(const T& value) {
  if constexpr (std::is_enum_v<T>) {
    return enumText(static_cast<std::int32_t>(value));
  } else {
    return boost::lexical_cast<std::string>(value);
  }
}

template <class T>
std::string valueText(const std::vector<T>& list) {
  std::string text = "[";
  bool first = true;
  for (const T& elem : list) {
    if (!first) {
      text += ", ";
    }
    first = false;
    text += valueText(elem);
  }
  text += "]";
  return text;
}

// The text of an optional field: "<null>" while its flag is clear,
// whatever the member holds.
template <class T>
std::string optionalText(bool isset, const T& value) {
  return isset ? valueText(value) : std::string("<null>");
}

}  // namespace text
}  // namespace thriftyol

#endif  // THRIFTYOL_SUPPORT_TEXT_H
