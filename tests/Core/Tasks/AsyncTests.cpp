// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "Tessaly/Core/Tasks/Async.hpp"
#include "Tessaly/Core/Tasks/SyncWait.hpp"

namespace Tessaly {
namespace {

Async<int> number(int value) { co_return value; }
Async<std::string> text(std::string value) { co_return value; }
Async<void> failing() {
  throw std::runtime_error("no paper");
  co_return;
}

TEST(Async, GivesItsValueToTheAwaiter) {
  EXPECT_EQ(syncWait([]() -> Async<int> { co_return co_await number(20) + co_await number(22); }), 42);
}

TEST(Async, DoesNothingUntilItIsAwaited) {
  bool hasRun = false;
  const auto body = [&]() -> Async<void> {
    hasRun = true;
    co_return;
  };
  {
    const Async<void> dropped = body();
  }
  EXPECT_FALSE(hasRun);
  syncWait(body);
  EXPECT_TRUE(hasRun);
}

TEST(Async, ThrowsToTheAwaiterWhatItsBodyThrew) {
  const std::string caught = syncWait([]() -> Async<std::string> {
    try {
      co_await failing();
    } catch (const std::runtime_error& error) {
      co_return error.what();
    }
    co_return "nothing";
  });
  EXPECT_EQ(caught, "no paper");
}

TEST(Async, PassesAnErrorThatIsNoExceptionClass) {
  EXPECT_THROW(syncWait([]() -> Async<void> {
                 throw 7;
                 co_return;
               }),
               int);
}

TEST(Async, MovesItsResultAndNeverCopiesIt) {
  const auto result = syncWait([]() -> Async<std::unique_ptr<int>> { co_return std::make_unique<int>(5); });
  EXPECT_EQ(*result, 5);
}

TEST(Async, ConvertsWhatIsReturned) {
  EXPECT_EQ(syncWait([]() -> Async<std::string> { co_return "text"; }), "text");
  EXPECT_EQ(syncWait([]() -> Async<std::pair<int, int>> { co_return {1, 2}; }), std::pair(1, 2));
}

TEST(Async, KeepsItsParametersForAsLongAsItRuns) {
  Async<std::string> waiting = text(std::string(100, 'a'));
  EXPECT_EQ(syncWait(std::move(waiting)), std::string(100, 'a'));
}

TEST(Async, DestroysTheParametersOfOneThatNeverStarted) {
  auto witness = std::make_shared<int>(1);
  {
    const auto dropped = [](std::shared_ptr<int> held) -> Async<int> { co_return *held; }(witness);
    EXPECT_EQ(witness.use_count(), 2);
  }
  EXPECT_EQ(witness.use_count(), 1);
}

TEST(Async, DestroysTheLocalsOfEveryFrameWhenAnErrorPasses) {
  auto witness = std::make_shared<int>(1);
  const auto inner = [](std::shared_ptr<int> held) -> Async<void> {
    const std::shared_ptr<int> local = held;
    throw std::runtime_error("inner");
    co_return;
  };
  const auto outer = [&](std::shared_ptr<int> held) -> Async<void> { co_await inner(std::move(held)); };
  EXPECT_THROW(syncWait(outer(witness)), std::runtime_error);
  EXPECT_EQ(witness.use_count(), 1);
}

Async<long> depth(long levels) {
  if (levels == 0) co_return 0;
  co_return 1 + co_await depth(levels - 1);
}

TEST(Async, AwaitsToAnyDepthWithoutUsingTheStack) {
  // Ten million frames take gigabytes, which the sanitizers would multiply.
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
  constexpr long levels = 100'000;
#else
  constexpr long levels = 10'000'000;
#endif
  EXPECT_EQ(syncWait(depth(levels)), levels);
}

TEST(Async, AwaitsInALoopWithoutUsingTheStack) {
  EXPECT_EQ(syncWait([]() -> Async<long> {
              long sum = 0;
              for (int i = 0; i < 3'000'000; ++i) sum += co_await number(1);
              co_return sum;
            }),
            3'000'000);
}

TEST(AsyncDeathTest, StopsTheProcessWhenAwaitedTwice) {
  EXPECT_DEATH(syncWait([]() -> Async<void> {
                 auto once = number(1);
                 co_await std::move(once);
                 co_await std::move(once);
               }),
               "^Tessaly/Async:[0-9]+: Fatal error: An Async was awaited twice, or after it had been moved from\n$");
}

TEST(AsyncDeathTest, StopsTheProcessWhenAwaitedAfterAMove) {
  EXPECT_DEATH(syncWait([]() -> Async<void> {
                 auto first = number(1);
                 const auto second = std::move(first);
                 co_await std::move(first);
               }),
               "Fatal error: An Async was awaited twice, or after it had been moved from");
}

Async<void> holding(Async<void> held) { co_await std::move(held); }

TEST(Async, ChainThatHoldsItselfIsDestroyedWithoutUsingTheStack) {
  Async<void> chain = holding([]() -> Async<void> { co_return; }());
  for (int i = 0; i < 1'000'000; ++i) chain = holding(std::move(chain));
}

struct Noted {
  explicit Noted(std::vector<int>& list, int own) : notes(&list), number(own) {}
  Noted(Noted&& other) noexcept : notes(std::exchange(other.notes, nullptr)), number(other.number) {}
  Noted& operator=(Noted&&) = delete;
  ~Noted() {
    if (notes != nullptr) notes->push_back(number);
  }
  std::vector<int>* notes;
  int number;
};

Async<void> holdingNoted(Async<void> held, Noted noted) {
  static_cast<void>(noted);
  co_await std::move(held);
}

TEST(Async, DestroysWhatItHoldsOnce) {
  std::vector<int> destroyed;
  {
    Async<void> chain = holding([]() -> Async<void> { co_return; }());
    for (int i = 0; i < 1000; ++i) chain = holdingNoted(std::move(chain), Noted(destroyed, i));
  }
  std::ranges::sort(destroyed);
  ASSERT_EQ(destroyed.size(), 1000U);
  for (int i = 0; i < 1000; ++i) ASSERT_EQ(destroyed[static_cast<std::size_t>(i)], i);
}

}  // namespace
}  // namespace Tessaly
