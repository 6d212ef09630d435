// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "Tessaly/Core/Base/detail/Futex.hpp"
#include "tests/Support/Repetitions.hpp"

namespace Tessaly {
namespace {

TEST(Futex, DoesNotWaitWhenTheWordHoldsAnotherValue) {
  const std::atomic<std::uint32_t> word{1};
  detail::futexWait(word, 0);
  EXPECT_TRUE(detail::futexWaitFor(word, 0, 3'600'000'000'000));
}

TEST(Futex, ReportsATimeout) {
  const std::atomic<std::uint32_t> word{0};
  EXPECT_FALSE(detail::futexWaitFor(word, 0, 1));
}

TEST(Futex, ZeroTimeDoesNotWait) {
  const std::atomic<std::uint32_t> word{0};
  EXPECT_FALSE(detail::futexWaitFor(word, 0, 0));
  EXPECT_FALSE(detail::futexWaitFor(word, 0, -1));
}

TEST(Futex, WakesUpToTheGivenNumberOfWaiters) {
  for (int round = 0; round < Tests::repetitions(200); ++round) {
    std::atomic<std::uint32_t> word{0};
    std::vector<std::jthread> waiters;
    for (int i = 0; i < 3; ++i) {
      waiters.emplace_back([&] {
        while (word.load(std::memory_order_acquire) == 0) detail::futexWait(word, 0);
      });
    }
    word.store(1, std::memory_order_release);
    detail::futexWake(word, 3);
  }
}

}  // namespace
}  // namespace Tessaly
