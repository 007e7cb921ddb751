// Sample arguments for every call, and a handler that answers each call with
// a sample chosen by the call's arguments and by how many calls its
// connection has made, so that a client can tell whether a reply answers its
// request. About every seventh call fails, with a text the client predicts.
#ifndef THRIFTYOL_TESTS_SUPPORT_CONTRACT_ANSWERS_H
#define THRIFTYOL_TESTS_SUPPORT_CONTRACT_ANSWERS_H

#include <cstdint>
#include <stdexcept>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>

#include <thrift/TToString.h>

#include <thriftyol/json/yol_calls.h>
#include <thriftyol/testing/yol_samples.h>

namespace yol {
namespace testing {

// The arguments of call C, filled from the samples.
template <class C>
typename C::Args sample_args(int seed, Fields fields = Fields::all) {
  typename C::Args args;
  std::apply([&](auto&... a) { ((a = sample<std::decay_t<decltype(a)>>(seed++, fields)), ...); },
             args);
  return args;
}

// The seed of the answer to call C with `args`, its connection's `served`-th.
template <class C>
int answer_seed(const typename C::Args& args, int served) {
  std::string text = std::string(C::name) + "#" + std::to_string(served);
  std::apply([&](const auto&... arg) { ((text += "|" + ::apache::thrift::to_string(arg)), ...); },
             args);
  uint32_t hash = 2166136261u;  // FNV-1a
  for (const char byte : text) {
    hash = (hash ^ static_cast<uint8_t>(byte)) * 16777619u;
  }
  return static_cast<int>(hash % 1000000);
}

inline bool answer_fails(int seed) { return seed % 7 == 0; }
inline std::string failure_text(int seed) { return "refused " + std::to_string(seed); }

// The sink of one connection's handler.
class Answers {
 public:
  explicit Answers(bool failing = true) : failing_(failing) {}

  template <class C>
  typename C::Result handle(const typename C::Args& args) {
    const int seed = answer_seed<C>(args, ++served_);
    if (failing_ && answer_fails(seed)) {
      throw std::runtime_error(failure_text(seed));
    }
    if constexpr (!std::is_void_v<typename C::Result>) {
      return sample<typename C::Result>(seed);
    }
  }

 private:
  bool failing_;
  int served_ = 0;
};

class AnswersHandler : public Answers, public calls::ForwardingHandler<Answers> {
 public:
  explicit AnswersHandler(bool failing = true)
      : Answers(failing), calls::ForwardingHandler<Answers>(static_cast<Answers&>(*this)) {}
};

}  // namespace testing
}  // namespace yol

#endif  // THRIFTYOL_TESTS_SUPPORT_CONTRACT_ANSWERS_H
