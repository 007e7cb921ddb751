#include <thriftyol/support/text.h>

#include <sstream>
#include <typeinfo>

namespace thriftyol {
namespace text {

std::string enumText(std::int32_t value) {
  // A fresh stream has no exceptions enabled: whatever goes wrong inside
  // the insertion (a throwing facet included) shows as fail() or bad().
  std::ostringstream out;
  out << value;
  if (out.fail()) {
    throw boost::bad_lexical_cast(typeid(std::int32_t), typeid(std::string));
  }
  return out.str();
}

}  // namespace text
}  // namespace thriftyol
