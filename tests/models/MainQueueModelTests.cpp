// SPDX-License-Identifier: MIT
// How the main thread sleeps and wakes, and the descriptor that a host's loop polls.
//
// The functions of the implementation, in the Queue of MainQueue.cpp: `enqueue`, `stop`, `drain`, `run`,
// `sleepUntilJob`.
//
// Memory orders in the implementation: everything but the descriptor is plain data under the queue's lock, so each
// section under the lock is one step. The count of wake-ups changes under the lock too. The futex compares it again
// before the thread sleeps. Writing to the descriptor and waking are steps of their own, after the lock. Reading from
// the descriptor is part of the section.

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <string>

#include "tests/models/Exploration.hpp"

namespace Tessaly::Tests {
namespace {

struct MainQueueModel {
  enum class Variant : std::uint8_t {
    asWritten,
    /// The main thread reads the count of wake-ups after it has left the lock.
    readsCountTooLate,
    /// The main thread does not say that it sleeps, so the descriptor is signalled instead.
    sleepsUntold,
    /// A job that starts makes the descriptor unreadable, although others wait.
    quietensTooEarly,
    /// The end of a run leaves jobs behind, and the descriptor is not readable.
    endsRunWithoutSignal,
  };
  enum class Main : std::uint8_t { looks, readsCount, fallsAsleep, asleep, drains, signals, inJob, endsRun, inHost };
  /// Two threads enqueue, and the second one stops the run after that.
  static constexpr std::size_t callers = 2;
  static constexpr std::uint8_t jobsPerCaller = 2;

  struct State {
    std::uint8_t jobs;
    std::uint8_t isSignalled;
    std::uint8_t isReadable;
    std::uint8_t isAsleep;
    std::uint8_t wakeUps;
    std::uint8_t seen;
    std::uint8_t isStopped;
    /// The jobs that a drain still has to run.
    std::uint8_t toDrain;
    Main main;
    std::array<std::uint8_t, callers> enqueued;
    /// The calls that the caller makes after it has left the lock.
    std::array<std::uint8_t, callers> wakes;
    std::array<std::uint8_t, callers> signals;
    std::uint8_t hasStopped;
    friend bool operator==(const State&, const State&) = default;
  };

  Variant variant;

  [[nodiscard]] State initial() const { return {}; }

  template <typename Emit>
  void steps(const State& state, Emit emit) const {
    for (std::size_t caller = 0; caller < callers; ++caller) {
      State next = state;
      if (call(next, caller)) emit("caller " + std::to_string(caller), next);
    }
    emitStep(state, emit, "main", state.main, [&](State& next) { return stepOfMain(next); });
  }

  bool call(State& state, std::size_t caller) const {
    if (state.wakes[caller] != 0) {
      state.wakes[caller] = 0;
      if (state.main == Main::asleep) state.main = Main::looks;
      return true;
    }
    if (state.signals[caller] != 0) {
      state.signals[caller] = 0;
      state.isReadable = 1;
      return true;
    }
    if (state.enqueued[caller] < jobsPerCaller) {
      ++state.enqueued[caller];
      ++state.jobs;
      state.wakes[caller] = claimSleeper(state);
      if (state.wakes[caller] == 0) state.signals[caller] = claimSignal(state);
      return true;
    }
    if (caller == 0 || state.hasStopped != 0) return false;
    state.hasStopped = 1;
    state.isStopped = 1;
    state.wakes[caller] = claimSleeper(state);
    return true;
  }

  static std::uint8_t claimSleeper(State& state) {
    if (state.isAsleep == 0) return 0;
    state.isAsleep = 0;
    ++state.wakeUps;
    return 1;
  }
  static std::uint8_t claimSignal(State& state) {
    if (state.isSignalled != 0) return 0;
    state.isSignalled = 1;
    return 1;
  }
  static void quieten(State& state) {
    state.isSignalled = 0;
    state.isReadable = 0;
  }

  bool stepOfMain(State& state) const {
    switch (state.main) {
      case Main::looks:
        look(state);
        return true;
      case Main::readsCount:
        state.seen = state.wakeUps;
        state.main = Main::fallsAsleep;
        return true;
      case Main::fallsAsleep:
        state.main = state.seen == state.wakeUps ? Main::asleep : Main::looks;
        return true;
      case Main::asleep:
        return false;
      case Main::drains:
        drain(state);
        return true;
      case Main::signals:
        state.isReadable = 1;
        state.main = Main::inHost;
        return true;
      case Main::inJob:
        state.main = Main::drains;
        return true;
      case Main::endsRun:
        state.main = Main::inHost;
        if (state.jobs > 0 && variant != Variant::endsRunWithoutSignal && claimSignal(state) != 0) {
          state.main = Main::signals;
        }
        return true;
      case Main::inHost:
        if (state.isReadable == 0) return false;
        // The host's loop drains as often as it sees the descriptor readable.
        if (state.jobs > 0) --state.jobs;
        if (state.jobs == 0) quieten(state);
        return true;
    }
    return false;
  }

  void look(State& state) const {
    if (state.isStopped != 0) {
      state.isAsleep = 0;
      state.main = Main::endsRun;
    } else if (state.jobs > 0) {
      state.isAsleep = 0;
      state.toDrain = state.jobs;
      state.main = Main::drains;
    } else {
      state.isAsleep = variant == Variant::sleepsUntold ? 0 : 1;
      state.seen = state.wakeUps;
      state.main = variant == Variant::readsCountTooLate ? Main::readsCount : Main::fallsAsleep;
    }
  }

  void drain(State& state) const {
    if (state.toDrain == 0 || state.isStopped != 0) {
      state.toDrain = 0;
      state.main = Main::looks;
      return;
    }
    --state.toDrain;
    --state.jobs;
    if ((state.jobs == 0 && state.isSignalled != 0) || variant == Variant::quietensTooEarly) quieten(state);
    state.main = Main::inJob;
  }

  [[nodiscard]] std::string wrong(const State& state) const {
    const bool isCallUnderWay = std::ranges::count(state.signals, 1) > 0;
    if (state.main == Main::inJob && state.jobs > 0 && state.isReadable == 0 && !isCallUnderWay) {
      return "a loop in a job sleeps while others wait";
    }
    return "";
  }
  [[nodiscard]] bool mayEnd(const State& state) const { return state.main == Main::inHost && state.jobs == 0; }
};

using Variant = MainQueueModel::Variant;

std::string violationOf(Variant variant) { return explore(MainQueueModel{variant}).violation; }

TEST(MainQueueModel, EveryJobFindsTheMainThreadInEveryOrder) {
  expectNoViolation(MainQueueModel{Variant::asWritten}, 1'000);
}

TEST(MainQueueModel, CatchesACountThatIsReadTooLate) {
  EXPECT_EQ(violationOf(Variant::readsCountTooLate), "nothing can go on");
}

TEST(MainQueueModel, CatchesASleepThatNobodyKnowsOf) {
  EXPECT_EQ(violationOf(Variant::sleepsUntold), "nothing can go on");
}

TEST(MainQueueModel, CatchesADescriptorThatIsQuietTooEarly) {
  EXPECT_EQ(violationOf(Variant::quietensTooEarly), "a loop in a job sleeps while others wait");
}

TEST(MainQueueModel, CatchesARunThatEndsWithoutTheSignal) {
  EXPECT_EQ(violationOf(Variant::endsRunWithoutSignal), "nothing can go on");
}

}  // namespace
}  // namespace Tessaly::Tests
