// Builds the value-to-name maps of the generated enumerations.
#ifndef THRIFTYOL_SUPPORT_ENUM_NAMES_H
#define THRIFTYOL_SUPPORT_ENUM_NAMES_H

#include <cstddef>
#include <map>

namespace thriftyol {
namespace detail {

// Maps values[i] to names[i] for i < count. Should a value repeat, its
// first name is kept.
std::map<int, const char*> nameMap(const int* values, const char* const* names,
                                   std::size_t count);

template <std::size_t N>
std::map<int, const char*> nameMap(const int (&values)[N],
                                   const char* const (&names)[N]) {
  return nameMap(values, names, N);
}

}  // namespace detail
}  // namespace thriftyol

#endif  // THRIFTYOL_SUPPORT_ENUM_NAMES_H
