// SPDX-License-Identifier: MIT
// How the threads of the pool sleep and wake.
//
// The functions of the implementation, in Pool: `enqueue`, `claimSleeper`, `wakeOne`, `take`, `sleepUntilWoken`.
//
// Memory orders in the implementation: the queue and both counters are plain data under the pool's lock, so each
// section under the lock is one step. The waker releases the count of wake-ups, and the thread that takes one acquires
// it. Threads that spin read the count of jobs without the lock, relaxed. It only decides when they stop, and the model
// lets them stop at any time.

#include <gtest/gtest.h>

#include <array>
#include <cstdint>

#include "tests/models/Exploration.hpp"

namespace Tessaly::Tests {
namespace {

struct PoolModel {
  enum class Variant : std::uint8_t {
    asWritten,
    /// A thread that stops spinning goes to sleep without another look at the queue.
    sleepsWithoutLook,
    /// A single thread that spins saves the wake-up, however many jobs wait.
    trustsOneSpinner,
  };
  enum class At : std::uint8_t { takes, spins, drowsy, asleep, woken, runs };

  static constexpr std::size_t workers = 3;
  static constexpr std::size_t callers = 2;
  static constexpr std::uint8_t jobsPerCaller = 2;

  struct State {
    std::uint8_t jobs;
    std::uint8_t spinners;
    std::uint8_t sleepers;
    std::uint8_t wakeUps;
    std::array<At, workers> at;
    std::array<std::uint8_t, callers> enqueued;
    /// Whether the caller has left the lock and owes a wake-up.
    std::array<std::uint8_t, callers> wakes;
    friend bool operator==(const State&, const State&) = default;
  };

  Variant variant;

  [[nodiscard]] State initial() const { return {}; }

  template <typename Emit>
  void steps(const State& state, Emit emit) const {
    for (std::size_t caller = 0; caller < callers; ++caller) call(state, caller, emit);
    for (std::size_t worker = 0; worker < workers; ++worker) work(state, worker, emit);
  }

  template <typename Emit>
  void call(const State& state, std::size_t caller, Emit& emit) const {
    State next = state;
    const std::string name = "caller " + std::to_string(caller);
    if (state.wakes[caller] != 0) {
      next.wakes[caller] = 0;
      ++next.wakeUps;
      wakeOne(name + " wakes", next, emit);
      return;
    }
    if (state.enqueued[caller] == jobsPerCaller) return;
    ++next.enqueued[caller];
    ++next.jobs;
    const bool isNeeded = variant == Variant::trustsOneSpinner ? next.spinners == 0 : next.jobs > next.spinners;
    if (next.sleepers > 0 && isNeeded) {
      --next.sleepers;
      next.wakes[caller] = 1;
    }
    emit(name + " enqueues", next);
  }

  /// The futex wakes one thread that sleeps, if there is one.
  template <typename Emit>
  void wakeOne(const std::string& name, const State& state, Emit& emit) const {
    bool isAnyAsleep = false;
    for (std::size_t worker = 0; worker < workers; ++worker) {
      if (state.at[worker] != At::asleep) continue;
      isAnyAsleep = true;
      State woken = state;
      woken.at[worker] = At::woken;
      emit(name + " worker " + std::to_string(worker), woken);
    }
    if (!isAnyAsleep) emit(name + " no thread", state);
  }

  template <typename Emit>
  void work(const State& state, std::size_t worker, Emit& emit) const {
    State next = state;
    const std::string name = "worker " + std::to_string(worker);
    switch (state.at[worker]) {
      case At::takes:
        next.at[worker] = state.jobs > 0 ? At::runs : At::spins;
        if (state.jobs > 0) {
          --next.jobs;
        } else {
          ++next.spinners;
        }
        emit(name + " looks", next);
        break;
      case At::spins:
        --next.spinners;
        if (state.jobs > 0 && variant != Variant::sleepsWithoutLook) {
          --next.jobs;
          next.at[worker] = At::runs;
        } else {
          ++next.sleepers;
          next.at[worker] = At::drowsy;
        }
        emit(name + " stops spinning", next);
        break;
      case At::drowsy:
      case At::woken:
        if (state.wakeUps > 0) {
          --next.wakeUps;
          next.at[worker] = At::takes;
          emit(name + " takes a wake-up", next);
        } else {
          next.at[worker] = At::asleep;
          emit(name + " sleeps", next);
        }
        break;
      case At::asleep:
        break;
      case At::runs:
        next.at[worker] = At::takes;
        emit(name + " has run a job", next);
        break;
    }
  }

  /// No job may wait beside a thread that sleeps, however long the running jobs take.
  [[nodiscard]] std::string wrong(const State& state) const {
    const bool isCallUnderWay = std::ranges::count(state.wakes, 1) > 0;
    const bool isWorkerUnderWay =
        std::ranges::any_of(state.at, [](At at) { return at != At::asleep && at != At::runs && at != At::drowsy; });
    const bool isWakeUpUnderWay = state.wakeUps > 0 && std::ranges::count(state.at, At::drowsy) > 0;
    const bool sleeps = std::ranges::count(state.at, At::asleep) + std::ranges::count(state.at, At::drowsy) > 0;
    if (isCallUnderWay || isWorkerUnderWay || isWakeUpUnderWay || !sleeps) return "";
    return state.jobs > 0 ? "a job waits while a thread sleeps" : "";
  }
  [[nodiscard]] bool mayEnd(const State& state) const { return state.jobs == 0; }
};

TEST(PoolModel, WorkNeverWaitsBesideASleepingThread) {
  expectNoViolation(PoolModel{PoolModel::Variant::asWritten}, 1000);
}

TEST(PoolModel, CatchesASleepWithoutAnotherLook) {
  EXPECT_EQ(explore(PoolModel{PoolModel::Variant::sleepsWithoutLook}).violation, "a job waits while a thread sleeps");
}

TEST(PoolModel, CatchesTrustInOneSpinner) {
  EXPECT_EQ(explore(PoolModel{PoolModel::Variant::trustsOneSpinner}).violation, "a job waits while a thread sleeps");
}

}  // namespace
}  // namespace Tessaly::Tests
