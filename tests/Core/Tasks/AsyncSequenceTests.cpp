// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <concepts>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "Tessaly/Core/Tasks/AsyncSequence.hpp"
#include "tests/Core/Tasks/Streams.hpp"

namespace Tessaly {
namespace {

using Tests::settle;
using Tests::start;

/// The numbers from a first one down to one, as a host would write it.
struct Countdown {
  using Element = int;
  using Failure = Never;

  struct AsyncIterator {
    Async<std::optional<int>> next() {
      where.push_back(Isolation::current());
      if (left == 0) co_return std::nullopt;
      if (left == 13) throw std::runtime_error("unlucky");
      co_return left--;
    }
    Async<std::optional<int>> next(Isolation isolation) { return detail::nextIn<int>(this, std::move(isolation)); }

    int left;
    std::vector<Isolation> where = {};
  };

  [[nodiscard]] AsyncIterator makeAsyncIterator() const { return {first}; }

  int first;
};

struct WithoutFailure {
  using Element = int;
  [[nodiscard]] Countdown::AsyncIterator makeAsyncIterator() const;
};

struct WithoutNextInIsolation {
  using Element = int;
  using Failure = Never;
  struct Iterator {
    Async<std::optional<int>> next();
  };
  [[nodiscard]] Iterator makeAsyncIterator() const;
};

struct OfAnotherElement {
  using Element = std::string;
  using Failure = Never;
  [[nodiscard]] Countdown::AsyncIterator makeAsyncIterator() const;
};

TEST(AsyncSequence, IsWhatNamesItsElementAndFailureAndMakesIterators) {
  static_assert(AsyncSequence<Countdown>);
  static_assert(AsyncSequence<const Countdown>);
  static_assert(std::same_as<AsyncIterator<Countdown>, Countdown::AsyncIterator>);
  static_assert(!AsyncSequence<int>);
  static_assert(!AsyncSequence<WithoutFailure>);
  static_assert(!AsyncSequence<WithoutNextInIsolation>);
  static_assert(!AsyncSequence<OfAnotherElement>);
}

TEST(AsyncSequence, AwaitsNextInAnIsolationAndComesBack) {
  const Isolation caller = Isolation::serial();
  const Isolation other = Isolation::serial();
  std::vector<int> elements;
  const auto task = start({.isolation = caller}, [&]() -> Async<void> {
    auto iterator = Countdown{3}.makeAsyncIterator();
    while (const auto element = co_await iterator.next(other)) {
      EXPECT_EQ(Isolation::current(), caller);
      elements.push_back(*element);
    }
    EXPECT_EQ(Isolation::current(), caller);
    EXPECT_EQ(iterator.where, std::vector(4, other));
  });
  settle();
  EXPECT_TRUE(task.isFinished());
  EXPECT_EQ(elements, (std::vector{3, 2, 1}));
}

TEST(AsyncSequence, ComesBackWithTheErrorOfANextInAnIsolation) {
  const Isolation other = Isolation::serial();
  std::string caught;
  start([&]() -> Async<void> {
    auto iterator = Countdown{13}.makeAsyncIterator();
    try {
      co_await iterator.next(other);
    } catch (const std::runtime_error& error) {
      caught = error.what();
    }
    EXPECT_EQ(Isolation::current(), Isolation());
    EXPECT_EQ(iterator.where, std::vector{other});
  });
  settle();
  EXPECT_EQ(caught, "unlucky");
}

}  // namespace
}  // namespace Tessaly
