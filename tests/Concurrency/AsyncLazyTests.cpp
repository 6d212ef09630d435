// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "Tessaly/Concurrency/AsyncLazy.hpp"
#include "Tessaly/Core/Tasks/CheckedContinuation.hpp"
#include "Tessaly/Core/Tasks/SyncWait.hpp"
#include "Tessaly/Core/Tasks/TaskGroup.hpp"
#include "tests/Core/Tasks/Streams.hpp"

namespace Tessaly {
namespace {

using Tests::settle;
using Tests::start;

TEST(AsyncLazy, ComputesAtTheFirstCallAndRemembers) {
  int computations = 0;
  const AsyncLazy<int> lazy([&]() -> Async<int> { co_return ++computations; });
  EXPECT_EQ(computations, 0);
  EXPECT_EQ(syncWait(lazy.wrappedValue()()), 1);
  EXPECT_EQ(syncWait(lazy.wrappedValue()()), 1);
  EXPECT_EQ(computations, 1);
}

TEST(AsyncLazy, FunctionReadEarlyComputesEachTime) {
  int computations = 0;
  const AsyncLazy<int> lazy([&]() -> Async<int> { co_return ++computations; });
  const auto value = lazy.wrappedValue();
  EXPECT_EQ(computations, 0);
  EXPECT_EQ(syncWait(value()), 1);
  EXPECT_EQ(syncWait(value()), 2);
  EXPECT_EQ(syncWait(lazy.wrappedValue()()), 2);  // The result of the call that ended last is remembered.
  EXPECT_EQ(computations, 2);
}

TEST(AsyncLazy, FunctionReadLaterGivesTheValueOfThatMoment) {
  int computations = 0;
  const AsyncLazy<int> lazy([&]() -> Async<int> { co_return ++computations; });
  const auto before = lazy.wrappedValue();
  EXPECT_EQ(syncWait(before()), 1);
  const auto after = lazy.wrappedValue();
  EXPECT_EQ(syncWait(before()), 2);
  EXPECT_EQ(syncWait(after()), 1);
}

TEST(AsyncLazy, LastOfOverlappingCallsIsRemembered) {
  std::vector<CheckedContinuation<int>> pending;
  const AsyncLazy<int> lazy([&] {
    return withCheckedContinuation<int>([&](CheckedContinuation<int> handle) { pending.push_back(handle); });
  });
  std::vector<int> results(2);
  const auto first = start([&]() -> Async<void> { results[0] = co_await lazy.wrappedValue()(); });
  settle();
  const auto second = start([&]() -> Async<void> { results[1] = co_await lazy.wrappedValue()(); });
  settle();
  ASSERT_EQ(pending.size(), 2u);
  pending[1].resume(20);
  settle();
  pending[0].resume(10);
  settle();
  EXPECT_EQ(results, (std::vector{10, 20}));
  EXPECT_EQ(syncWait(lazy.wrappedValue()()), 10);
}

TEST(AsyncLazy, CopiesShareTheRememberedValue) {
  int computations = 0;
  const AsyncLazy<int> lazy([&]() -> Async<int> { co_return ++computations; });
  const AsyncLazy<int> copy = lazy;
  EXPECT_EQ(syncWait(copy.wrappedValue()()), 1);
  EXPECT_EQ(syncWait(lazy.wrappedValue()()), 1);
}

TEST(AsyncLazy, TheFunctionOutlivesTheLazyValue) {
  std::function<Async<std::string>()> value;
  {
    const AsyncLazy<std::string> lazy([text = std::string("kept by the function")]() -> Async<std::string> {
      co_await Task<>::yield();
      co_return text;
    });
    value = lazy.wrappedValue();
  }
  EXPECT_EQ(syncWait(value()), "kept by the function");
}

TEST(AsyncLazy, TheComputationOutlivesTheFunction) {
  const AsyncLazy<int> lazy([number = std::make_shared<int>(7)]() -> Async<int> {
    co_await Task<>::yield();
    co_return *number;
  });
  EXPECT_EQ(syncWait([&]() -> Async<int> {
              Async<int> computation = lazy.wrappedValue()();  // A temporary function made the computation.
              co_return co_await std::move(computation);
            }),
            7);
}

TEST(AsyncLazy, TakesAPlainFunction) {
  AsyncLazy lazy([] { return std::string("plain"); });
  EXPECT_EQ(syncWait(lazy.wrappedValue()()), "plain");
}

TEST(AsyncLazy, RemembersNothingWhenTheProviderThrows) {
  int calls = 0;
  const AsyncLazy<int> lazy([&]() -> Async<int> {
    if (++calls == 1) throw std::runtime_error("first");
    co_return calls;
  });
  EXPECT_THROW(syncWait(lazy.wrappedValue()()), std::runtime_error);
  EXPECT_EQ(syncWait(lazy.wrappedValue()()), 2);
}

TEST(AsyncLazy, ManyTasksMayAskAtOnce) {
  std::atomic<int> computations{0};
  const AsyncLazy<std::string> lazy([&]() -> Async<std::string> {
    ++computations;
    co_await Task<>::yield();
    co_return "the same for all, and too long for the string itself";
  });
  syncWait([&]() -> Async<void> {
    co_await withTaskGroup([&](TaskGroup<>& group) -> Async<void> {
      for (int i = 0; i < 500; ++i) {
        group.addTask([&]() -> Async<void> {
          EXPECT_EQ(co_await lazy.wrappedValue()(), "the same for all, and too long for the string itself");
        });
      }
      co_await group.waitForAll();
    });
  });
  EXPECT_GE(computations, 1);
}

}  // namespace
}  // namespace Tessaly
