// Every call of the contract through yolctl against a real server: the
// arguments, given as JSON on the command line, must reach the handler equal
// to the samples they were made from, and the handler's result must come
// back out equal to the sample it returned. The calls take turns over every
// protocol and transport.
#include <cstddef>
#include <memory>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <thriftyol/json/yol_calls.h>
#include <thriftyol/json/yol_json.h>
#include <thriftyol/testing/yol_samples.h>

#include "call_table.h"
#include "test_servers.h"

namespace yolctl {
namespace testing {
namespace {

constexpr int kArgumentSeed = 70;

template <class C, std::size_t... I>
typename C::Args sampleArguments(std::index_sequence<I...>) {
  return typename C::Args{yol::testing::sample<std::tuple_element_t<I, typename C::Args>>(
      kArgumentSeed + static_cast<int>(I))...};
}

template <class C, std::size_t... I>
std::vector<std::string> argumentTexts(const typename C::Args& args, std::index_sequence<I...>) {
  return {yol::json::toJson(std::get<I>(args)).dump()...};
}

template <class... C, class F>
void forEachCall(yol::calls::CallList<C...>, F&& f) {
  (f(yol::testing::Type<C>{}), ...);
}

TEST(YolctlEveryCall, ArgumentsAndResultsArriveEqualToTheSamples) {
  RecordingSink sink;
  std::vector<std::unique_ptr<TargetServer>> servers;
  for (const char* protocol : {"binary", "compact", "json"}) {
    for (const char* transport : {"buffered", "framed"}) {
      servers.push_back(recordingServer(sink, protocol, transport));
    }
  }

  std::size_t made = 0;
  forEachCall(yol::calls::AllYolCalls{}, [&](auto type) {
    using C = typename decltype(type)::type;
    using Indexes = std::make_index_sequence<std::tuple_size_v<typename C::Args>>;
    const TargetServer& server = *servers[made++ % servers.size()];
    const typename C::Args expected = sampleArguments<C>(Indexes{});

    std::vector<std::string> args = server.options();
    args.push_back("--json");
    args.push_back(C::name);
    for (std::string& text : argumentTexts<C>(expected, Indexes{})) {
      args.push_back(std::move(text));
    }
    const RunResult run = runYolctl(args);
    const std::string via = std::string(C::name) + " over " + server.protocol() + "/" +
                            server.transport();
    ASSERT_EQ(run.code, 0) << via << ": " << run.err;
    EXPECT_EQ(run.err, "") << via;
    ASSERT_FALSE(sink.calls().empty()) << via;
    ASSERT_EQ(sink.calls().back(), C::name) << via;
    EXPECT_TRUE(sink.lastArgs<C>() == expected) << via;

    if constexpr (std::is_void_v<typename C::Result>) {
      EXPECT_EQ(run.out, "null\n") << via;
    } else {
      using Result = typename C::Result;
      const Result result = yol::json::fromJson<Result>(nlohmann::json::parse(run.out), "result");
      EXPECT_TRUE(result == yol::testing::sample<Result>(kResultSeed)) << via << ": " << run.out;
    }
  });
  EXPECT_EQ(made, 75u);
  EXPECT_EQ(sink.calls().size(), 75u);
  EXPECT_EQ(callTable().size(), 75u);
}

}  // namespace
}  // namespace testing
}  // namespace yolctl
