// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <latch>
#include <thread>
#include <vector>

#include "Tessaly/Core/Base/detail/FirstUse.hpp"
#include "tests/Support/ForkedChild.hpp"

namespace Tessaly {
namespace {

using Tests::exitStatusOfForkedChild;

TEST(FirstUse, MakesOneObjectForAllThreads) {
  static constinit std::atomic<int> made{0};
  static constexpr auto make = [] {
    ++made;
    return new int(7);
  };
  std::array<const int*, 8> seen{};
  std::latch start(seen.size());
  {
    std::vector<std::jthread> threads;
    for (auto& one : seen) {
      threads.emplace_back([&] {
        start.arrive_and_wait();
        one = &detail::madeOnce<make>();
      });
    }
  }
  EXPECT_EQ(made, 1);
  for (const int* one : seen) EXPECT_EQ(one, seen[0]);
  EXPECT_EQ(*seen[0], 7);
}

#if !__has_feature(thread_sanitizer)  // Its own pthread_once does not begin anew in the child of a fork.
TEST(FirstUse, ForkDuringTheMakingLeavesTheChildUsable) {
  static constinit std::latch begun(1);
  static constinit std::latch mayEnd(1);
  static constinit bool isChild = false;
  static constexpr auto make = [] {
    if (!isChild) {
      begun.count_down();
      mayEnd.wait();
    }
    return new int(isChild ? 2 : 1);
  };
  int inParent = 0;
  std::jthread maker([&] { inParent = detail::madeOnce<make>(); });
  begun.wait();
  EXPECT_EQ(exitStatusOfForkedChild([] {
              isChild = true;
              return detail::madeOnce<make>();
            }),
            2);
  mayEnd.count_down();
  maker.join();
  EXPECT_EQ(inParent, 1);
}
#endif

TEST(FirstUse, ChildrenCallTheHandlerAndParentsDoNot) {
  static constinit int calls = 0;
  static constexpr auto countCall = [] { ++calls; };
  EXPECT_EQ(exitStatusOfForkedChild([] { return calls; }), 0);
  detail::callInForkedChildren<countCall>();
  detail::callInForkedChildren<countCall>();
  EXPECT_EQ(exitStatusOfForkedChild([] { return calls; }), 1);
  EXPECT_EQ(calls, 0);
}

}  // namespace
}  // namespace Tessaly
