#include <thriftyol/support/enum_names.h>

namespace thriftyol {
namespace detail {

std::map<int, const char*> nameMap(const int* values, const char* const* names,
                                   std::size_t count) {
  std::map<int, const char*> map;
  for (std::size_t i = 0; i < count; ++i) {
    map.emplace(values[i], names[i]);
  }
  return map;
}

}  // namespace detail
}  // namespace thriftyol
