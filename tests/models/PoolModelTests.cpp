// SPDX-License-Identifier: MIT
// How the threads of the pool sleep and wake.
//
// The functions of the implementation, in Pool: `enqueue`, `unlockAndWakeIfNeeded`, `take`, `search`,
// `sleepUntilWoken`.
//
// Memory orders in the implementation: the queue and both counters are plain data under the pool's lock, so each
// section under the lock is one step. The waker releases the count of wake-ups, and the thread that takes one acquires
// it. Threads that search read the queue's state without the lock, relaxed. It only decides how long they leave the
// queue alone, and the model lets them look at any time. A thread may begin to search although jobs wait.

#include <gtest/gtest.h>

#include <array>
#include <cstdint>

#include "tests/models/Exploration.hpp"

namespace Tessaly::Tests {
namespace {

struct PoolModel {
  enum class Variant : std::uint8_t {
    asWritten,
    /// A thread that stops searching goes to sleep without another look at the queue.
    sleepsWithoutLook,
    /// A thread that has found a job wakes no other thread, however many jobs wait.
    wakesNoNext,
    /// A woken thread does not count as a searcher before it runs, but is subtracted when it has found a job.
    forgetsTheWoken,
  };
  enum class At : std::uint8_t { takes, searches, drowsy, asleep, woken, looks, wakesNext, runs };

  static constexpr std::size_t workers = 3;
  static constexpr std::size_t callers = 2;
  static constexpr std::uint8_t jobsPerCaller = 2;

  struct State {
    std::uint8_t jobs;
    std::uint8_t searchers;
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
    next.wakes[caller] = claimSleeper(next) ? 1 : 0;
    emit(name + " enqueues", next);
  }

  [[nodiscard]] bool claimSleeper(State& state) const {
    if (state.jobs == 0 || state.searchers > 0 || state.sleepers == 0) return false;
    --state.sleepers;
    if (variant != Variant::forgetsTheWoken) ++state.searchers;
    return true;
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
    At& at = next.at[worker];
    const std::string name = "worker " + std::to_string(worker);
    switch (state.at[worker]) {
      case At::takes:
        ++next.searchers;
        at = At::searches;
        emit(name + " begins to search", next);
        if (state.jobs == 0) break;
        next = state;
        --next.jobs;
        at = At::runs;
        emit(name + " takes a job", next);
        break;
      case At::searches:
        if (state.jobs > 0 && variant != Variant::sleepsWithoutLook) {
          find(next, at);
        } else {
          --next.searchers;
          ++next.sleepers;
          at = At::drowsy;
        }
        emit(name + " stops searching", next);
        break;
      case At::drowsy:
      case At::woken:
        at = state.wakeUps > 0 ? At::looks : At::asleep;
        next.wakeUps -= state.wakeUps > 0 ? 1 : 0;
        emit(name + " looks for a wake-up", next);
        break;
      case At::asleep:
        break;
      case At::looks:
        at = At::searches;
        if (state.jobs > 0) find(next, at);
        emit(name + " looks", next);
        break;
      case At::wakesNext:
        at = At::runs;
        ++next.wakeUps;
        wakeOne(name + " wakes", next, emit);
        break;
      case At::runs:
        at = At::takes;
        emit(name + " has run a job", next);
        break;
    }
  }

  void find(State& state, At& at) const {
    --state.jobs;
    --state.searchers;
    const bool wakes = variant != Variant::wakesNoNext && claimSleeper(state);
    at = wakes ? At::wakesNext : At::runs;
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

TEST(PoolModel, CatchesASearcherThatWakesNoOther) {
  EXPECT_EQ(explore(PoolModel{PoolModel::Variant::wakesNoNext}).violation, "a job waits while a thread sleeps");
}

TEST(PoolModel, CatchesAWokenThreadThatDoesNotCount) {
  EXPECT_EQ(explore(PoolModel{PoolModel::Variant::forgetsTheWoken}).violation, "a job waits while a thread sleeps");
}

}  // namespace
}  // namespace Tessaly::Tests
