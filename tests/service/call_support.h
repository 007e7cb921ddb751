// What the table of calls (contract_calls.h) builds on: result shapes,
// sample values and a handler base that records what it received.
#ifndef THRIFTYOL_TESTS_SERVICE_CALL_SUPPORT_H
#define THRIFTYOL_TESTS_SERVICE_CALL_SUPPORT_H

#include <any>
#include <mutex>
#include <ostream>
#include <stdexcept>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include <thriftyol/testing/yol_samples.h>

namespace yol {
namespace service_test {

// How a call hands back its result: not at all (ping), as the return value
// (bool, i32) or through a first out-parameter (string, record, list).
enum class Shape { none, returned, out };

// The result of a call without one, so that every call has a Result type.
struct NoResult {
  bool operator==(const NoResult&) const { return true; }
  friend std::ostream& operator<<(std::ostream& out, const NoResult&) { return out << "(no result)"; }
};

// Sample values: argument k of a call is filled with seed arg_seed + k, the
// result with result_seed, so that no two values of one call coincide.
template <class C>
typename C::Args sample_args() {
  typename C::Args args;
  int seed = C::arg_seed;
  std::apply([&](auto&... value) { (::yol::testing::fill(value, ++seed), ...); }, args);
  return args;
}

template <class C>
typename C::Result sample_result(int seed = C::result_seed) {
  if constexpr (C::shape == Shape::none) {
    return {};
  } else {
    return ::yol::testing::sample<typename C::Result>(seed);
  }
}

// Base of a handler that keeps every call it receives: the wire name and the
// arguments as the call's Args tuple. Safe to fill from a server thread.
class CallRecorder {
 public:
  struct Received {
    std::string name;
    std::any args;
  };

  std::vector<Received> received() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return received_;
  }

  // From now on every call, once recorded, throws std::runtime_error(text);
  // an empty text lets the calls answer again.
  void fail_with(std::string text) {
    std::lock_guard<std::mutex> lock(mutex_);
    failure_ = std::move(text);
  }

 protected:
  template <class C>
  typename C::Result answer(typename C::Args args) {
    std::lock_guard<std::mutex> lock(mutex_);
    received_.push_back({C::name, std::move(args)});
    if (!failure_.empty()) {
      throw std::runtime_error(failure_);
    }
    return sample_result<C>();
  }

 private:
  mutable std::mutex mutex_;
  std::vector<Received> received_;
  std::string failure_;
};

}  // namespace service_test
}  // namespace yol

#endif  // THRIFTYOL_TESTS_SERVICE_CALL_SUPPORT_H
