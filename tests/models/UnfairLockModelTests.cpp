// SPDX-License-Identifier: MIT
// The unfair lock: one word with the owner and a bit for waiters, and a futex.
//
// The functions of the implementation, in UnfairLock: `lock`, `lockSlowly`, `unlock`, `unlockSlowly`.
//
// Memory orders in the implementation: the compare-and-swap that takes the lock is acquire, and the exchange that
// releases it is release, so the holder's plain data needs no step. The compare-and-swap that sets the waiters' bit is
// relaxed. The word is the only atomic, so all threads agree on its order.
// The kernel compares the word and goes to sleep in one step.

#include <gtest/gtest.h>

#include <array>
#include <cstdint>

#include "tests/models/Exploration.hpp"

namespace Tessaly::Tests {
namespace {

struct UnfairLockModel {
  enum class Variant : std::uint8_t {
    asWritten,
    /// A thread that slept takes the lock as if no other thread slept.
    sleeperForgetsOthers,
    /// The waiters' bit is not set again before the second sleep.
    sleepsWithoutBit,
  };
  enum class At : std::uint8_t { outside, spins, looks, marks, asleep, inside, wakes, done };

  static constexpr std::size_t threads = 3;
  static constexpr std::uint8_t rounds = 2;
  static constexpr std::uint8_t hasWaiters = 0x80;

  struct State {
    std::uint8_t word;
    std::array<At, threads> at;
    /// The word as the thread has seen it last.
    std::array<std::uint8_t, threads> seen;
    std::array<std::uint8_t, threads> round;
    friend bool operator==(const State&, const State&) = default;
  };

  Variant variant;

  [[nodiscard]] State initial() const { return {}; }

  template <typename Emit>
  void steps(const State& state, Emit emit) const {
    for (std::size_t thread = 0; thread < threads; ++thread) step(state, thread, emit);
  }

  template <typename Emit>
  void step(const State& state, std::size_t thread, Emit& emit) const {
    const auto self = static_cast<std::uint8_t>(thread + 1);
    const auto go = [&](const char* name, At at, auto change) {
      State next = state;
      next.at[thread] = at;
      change(next);
      emit(std::to_string(thread) + " " + name, next);
    };
    const auto nothing = [](State&) {};
    const auto load = [thread](State& next) { next.seen[thread] = next.word; };
    switch (state.at[thread]) {
      case At::outside:
        if (state.word == 0) {
          go("takes the free lock", At::inside, [self](State& next) { next.word = self; });
        } else {
          go("finds it taken", At::spins, load);
        }
        break;
      case At::spins:  // Any number of pauses; the thread may give up at any time.
        if (state.word == 0) go("takes it while spinning", At::inside, [self](State& next) { next.word = self; });
        go("stops spinning", At::looks, load);
        break;
      case At::looks:
        if (state.seen[thread] == 0) {
          const bool marks = variant != Variant::sleeperForgetsOthers;
          if (state.word == 0) {
            go("takes it after waiting", At::inside,
               [&](State& next) { next.word = static_cast<std::uint8_t>(marks ? self | hasWaiters : self); });
          } else {
            go("is too late", At::looks, load);
          }
        } else if ((state.seen[thread] & hasWaiters) == 0 && variant != Variant::sleepsWithoutBit) {
          if (state.word == state.seen[thread]) {
            go("marks that it waits", At::marks, [](State& next) { next.word |= hasWaiters; });
          } else {
            go("looks again", At::looks, load);
          }
        } else {
          go("is going to sleep", At::marks, nothing);
        }
        break;
      case At::marks:
        if (variant == Variant::sleepsWithoutBit ? state.word == state.seen[thread]
                                                 : state.word == (state.seen[thread] | hasWaiters)) {
          go("sleeps", At::asleep, nothing);
        } else {
          go("does not sleep", At::looks, load);
        }
        break;
      case At::asleep:
        break;  // Until another thread wakes it. The kernel may also wake it early, which only adds looks.
      case At::inside:
        go("releases", (state.word & hasWaiters) != 0 ? At::wakes : endOf(state, thread), [&](State& next) {
          next.word = 0;
          if (next.at[thread] != At::wakes) ++next.round[thread];
        });
        break;
      case At::wakes:
        wake(state, thread, emit);
        break;
      case At::done:
        break;
    }
  }

  template <typename Emit>
  void wake(const State& state, std::size_t thread, Emit& emit) const {
    State next = state;
    next.at[thread] = endOf(state, thread);
    ++next.round[thread];
    bool isAnyAsleep = false;
    for (std::size_t other = 0; other < threads; ++other) {
      if (state.at[other] != At::asleep) continue;
      isAnyAsleep = true;
      State woken = next;
      woken.at[other] = At::looks;
      woken.seen[other] = woken.word;
      emit(std::to_string(thread) + " wakes " + std::to_string(other), woken);
    }
    if (!isAnyAsleep) emit(std::to_string(thread) + " wakes no thread", next);
  }

  static At endOf(const State& state, std::size_t thread) {
    return state.round[thread] + 1 == rounds ? At::done : At::outside;
  }

  [[nodiscard]] std::string wrong(const State& state) const {
    return std::ranges::count(state.at, At::inside) > 1 ? "two threads hold the lock" : "";
  }
  [[nodiscard]] bool mayEnd(const State& state) const {
    return std::ranges::count(state.at, At::done) == static_cast<int>(threads);
  }
};

TEST(UnfairLockModel, ExcludesAndWakesInEveryOrder) {
  expectNoViolation(UnfairLockModel{UnfairLockModel::Variant::asWritten}, 1000);
}

TEST(UnfairLockModel, CatchesASleeperThatForgetsOthers) {
  const Exploration result = explore(UnfairLockModel{UnfairLockModel::Variant::sleeperForgetsOthers});
  EXPECT_EQ(result.violation, "nothing can go on");
}

TEST(UnfairLockModel, CatchesASleepWithoutTheBit) {
  const Exploration result = explore(UnfairLockModel{UnfairLockModel::Variant::sleepsWithoutBit});
  EXPECT_EQ(result.violation, "nothing can go on");
}

}  // namespace
}  // namespace Tessaly::Tests
