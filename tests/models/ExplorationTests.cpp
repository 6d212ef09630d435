// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <array>
#include <cstdint>

#include "tests/models/Exploration.hpp"

namespace Tessaly::Tests {
namespace {

/// Two threads that each add 1 to a counter, in one step or by a load and a store.
struct CounterModel {
  enum class Add : std::uint8_t { inOneStep, byLoadAndStore };
  struct State {
    std::uint8_t counter;
    std::array<std::uint8_t, 2> step;
    std::array<std::uint8_t, 2> loaded;
    friend bool operator==(const State&, const State&) = default;
  };

  Add add;

  [[nodiscard]] State initial() const { return {}; }
  template <typename Emit>
  void steps(const State& state, Emit emit) const {
    for (std::size_t thread = 0; thread < 2; ++thread) {
      State next = state;
      const std::string name = "thread " + std::to_string(thread);
      if (state.step[thread] == 2) continue;
      if (add == Add::inOneStep) {
        ++next.counter;
        next.step[thread] = 2;
        emit(name + " adds", next);
      } else if (state.step[thread] == 0) {
        next.loaded[thread] = state.counter;
        next.step[thread] = 1;
        emit(name + " loads", next);
      } else {
        next.counter = static_cast<std::uint8_t>(state.loaded[thread] + 1);
        next.step[thread] = 2;
        emit(name + " stores", next);
      }
    }
  }
  [[nodiscard]] std::string wrong(const State& state) const {
    return state.step[0] == 2 && state.step[1] == 2 && state.counter != 2 ? "an addition was lost" : "";
  }
  [[nodiscard]] bool mayEnd(const State& state) const { return state.step[0] == 2 && state.step[1] == 2; }
};

TEST(Exploration, VisitsEveryState) {
  const Exploration result = explore(CounterModel{CounterModel::Add::inOneStep});
  EXPECT_EQ(result.violation, "");
  EXPECT_EQ(result.states, 4U);
}

TEST(Exploration, FindsTheShortestWayToAViolation) {
  const Exploration result = explore(CounterModel{CounterModel::Add::byLoadAndStore});
  EXPECT_EQ(result.violation, "an addition was lost");
  EXPECT_EQ(result.steps.size(), 4U);
}

/// Two threads that each take two locks, in one order or in opposite ones.
struct TwoLocksModel {
  enum class Order : std::uint8_t { same, opposite };
  struct State {
    /// The number of locks that each thread has taken so far, or 3 after it has released both.
    std::array<std::uint8_t, 2> step;
    /// Owner plus 1 of each lock.
    std::array<std::uint8_t, 2> owner;
    friend bool operator==(const State&, const State&) = default;
  };

  Order order;

  [[nodiscard]] State initial() const { return {}; }
  template <typename Emit>
  void steps(const State& state, Emit emit) const {
    for (std::size_t thread = 0; thread < 2; ++thread) {
      State next = state;
      if (state.step[thread] == 3) continue;
      if (state.step[thread] == 2) {
        next.owner = {};
        next.step[thread] = 3;
        emit("release", next);
        continue;
      }
      const std::size_t flip = order == Order::opposite ? thread : 0;
      const std::size_t lock = state.step[thread] ^ flip;
      if (state.owner[lock] != 0) continue;
      next.owner[lock] = static_cast<std::uint8_t>(thread + 1);
      ++next.step[thread];
      emit("take", next);
    }
  }
  [[nodiscard]] std::string wrong(const State&) const { return ""; }
  [[nodiscard]] bool mayEnd(const State& state) const { return state.step[0] == 3 && state.step[1] == 3; }
};

TEST(Exploration, FindsADeadlock) {
  EXPECT_EQ(explore(TwoLocksModel{TwoLocksModel::Order::same}).violation, "");
  EXPECT_EQ(explore(TwoLocksModel{TwoLocksModel::Order::opposite}).violation, "nothing can go on");
}

}  // namespace
}  // namespace Tessaly::Tests
