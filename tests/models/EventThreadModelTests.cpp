// SPDX-License-Identifier: MIT
// How the threads that wait for events serve them, and run jobs in the place of a thread of the pool that sleeps.
//
// The functions of the implementation, in Pool: `beginServing`, `endServing`, `takeOrLeave`, and those of the model of
// the pool. In Reactor: `work`.
//
// Memory orders in the implementation: the queue, the counters and the flag of the lent thread are plain data under the
// pool's lock, so each section under the lock is one step. The kernel gives each event to one of the threads that wait
// for it, whichever the model chooses. A thread that does not wait yet finds the events that came before.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <string>

#include "tests/models/Exploration.hpp"

namespace Tessaly::Tests {
namespace {

struct EventThreadModel {
  enum class Variant : std::uint8_t {
    asWritten,
    /// Both threads may run jobs at once.
    lendsBoth,
    /// A thread runs jobs although no thread of the pool sleeps.
    lendsBesideBusyPool,
    /// A lent thread goes back to its events without another look at the queue.
    leavesWithoutLook,
    /// A thread that cannot run the job that it enqueued wakes no other.
    keepsTheJobToItself,
    /// A thread that runs jobs leaves the pool's sleeping thread among those that may be woken.
    keepsTheSleeper,
  };
  enum class At : std::uint8_t { takes, searches, drowsy, asleep, woken, looks, wakesNext, runs };
  enum class Serving : std::uint8_t { waits, begins, serves, ends, wakesAndWaits, wakesAndRuns, runs, takes };

  static constexpr std::size_t workers = 2;
  static constexpr std::size_t eventThreads = 2;
  static constexpr std::uint8_t allEvents = 3;
  static constexpr std::uint8_t allCalls = 2;

  struct State {
    std::uint8_t jobs;
    std::uint8_t searchers;
    std::uint8_t sleepers;
    std::uint8_t wakeUps;
    std::uint8_t isLent;
    std::array<At, workers> at;
    std::array<Serving, eventThreads> serving;
    /// The events that the kernel has for the first thread that waits.
    std::uint8_t ready;
    std::uint8_t happened;
    std::uint8_t calls;
    /// Whether the caller has left the lock and owes a wake-up.
    std::uint8_t callerWakes;
    friend bool operator==(const State&, const State&) = default;
  };

  Variant variant;

  [[nodiscard]] State initial() const { return {}; }

  template <typename Emit>
  void steps(const State& state, Emit emit) const {
    if (state.happened < allEvents) {
      State next = state;
      ++next.happened;
      ++next.ready;
      emit("an event happens", next);
    }
    call(state, emit);
    for (std::size_t thread = 0; thread < eventThreads; ++thread) serve(state, thread, emit);
    for (std::size_t worker = 0; worker < workers; ++worker) {
      const std::string name = "worker " + std::to_string(worker);
      if (state.at[worker] == At::wakesNext) {
        State next = state;
        next.at[worker] = At::runs;
        wakeOne(name, next, emit);
        continue;
      }
      emitStep(state, emit, name, state.at[worker], [&](State& next) { return work(next, worker); });
    }
  }

  template <typename Emit>
  void call(const State& state, Emit& emit) const {
    State next = state;
    if (state.callerWakes != 0) {
      next.callerWakes = 0;
      wakeOne("the caller", next, emit);
    } else if (state.calls < allCalls) {
      ++next.calls;
      next.callerWakes = enqueue(next);
      emit("the caller enqueues", next);
    }
  }

  static std::uint8_t enqueue(State& state) {
    ++state.jobs;
    return claimSleeper(state);
  }
  static std::uint8_t claimSleeper(State& state) {
    if (state.sleepers == 0 || state.jobs == 0 || state.searchers > 0) return 0;
    --state.sleepers;
    ++state.searchers;
    return 1;
  }
  /// The futex wakes one thread that sleeps, if there is one.
  template <typename Emit>
  static void wakeOne(const std::string& name, State state, Emit& emit) {
    ++state.wakeUps;
    bool isAnyAsleep = false;
    for (std::size_t worker = 0; worker < workers; ++worker) {
      if (state.at[worker] != At::asleep) continue;
      isAnyAsleep = true;
      State woken = state;
      woken.at[worker] = At::woken;
      emit(name + " wakes worker " + std::to_string(worker), woken);
    }
    if (!isAnyAsleep) emit(name + " wakes no thread", state);
  }

  template <typename Emit>
  void serve(const State& state, std::size_t thread, Emit& emit) const {
    const std::string name = "event thread " + std::to_string(thread);
    const Serving at = state.serving[thread];
    if (at == Serving::wakesAndWaits || at == Serving::wakesAndRuns) {
      State next = state;
      next.serving[thread] = at == Serving::wakesAndRuns ? Serving::runs : Serving::waits;
      wakeOne(name, next, emit);
      return;
    }
    emitStep(state, emit, name, at, [&](State& next) { return stepOfEventThread(next, next.serving[thread]); });
  }

  bool stepOfEventThread(State& state, Serving& at) const {
    switch (at) {
      case Serving::waits:
        if (state.ready == 0) return false;
        --state.ready;
        at = Serving::begins;
        return true;
      case Serving::begins:
        ++state.searchers;
        at = Serving::serves;
        return true;
      case Serving::serves:
        enqueue(state);  // Wakes no thread, because this one counts as a searcher.
        at = Serving::ends;
        return true;
      case Serving::ends:
        endServing(state, at);
        return true;
      case Serving::runs:
        at = Serving::takes;
        if (variant == Variant::leavesWithoutLook) leave(state, at);
        return true;
      case Serving::takes:
        if (state.jobs > 0) {
          --state.jobs;
          at = Serving::runs;
        } else {
          leave(state, at);
        }
        return true;
      case Serving::wakesAndWaits:
      case Serving::wakesAndRuns:
        break;
    }
    return false;
  }

  void endServing(State& state, Serving& at) const {
    --state.searchers;
    const bool hasPlace = state.sleepers > 0 || variant == Variant::lendsBesideBusyPool;
    const bool runs = state.jobs > 0 && hasPlace && (state.isLent == 0 || variant == Variant::lendsBoth);
    if (runs) {
      ++state.isLent;
      --state.jobs;
      if (state.sleepers > 0 && variant != Variant::keepsTheSleeper) --state.sleepers;
    }
    const bool wakes = variant != Variant::keepsTheJobToItself && claimSleeper(state) != 0;
    if (runs) {
      at = wakes ? Serving::wakesAndRuns : Serving::runs;
    } else {
      at = wakes ? Serving::wakesAndWaits : Serving::waits;
    }
  }
  static void leave(State& state, Serving& at) {
    --state.isLent;
    ++state.sleepers;
    at = Serving::waits;
  }

  static bool work(State& state, std::size_t worker) {
    At& at = state.at[worker];
    switch (at) {
      case At::takes:
        if (state.jobs > 0) {
          --state.jobs;
          at = At::runs;
        } else {
          ++state.searchers;
          at = At::searches;
        }
        return true;
      case At::searches:
        if (state.jobs > 0) {
          find(state, at);
        } else {
          --state.searchers;
          ++state.sleepers;
          at = At::drowsy;
        }
        return true;
      case At::drowsy:
      case At::woken:
        if (state.wakeUps == 0) {
          at = At::asleep;
        } else {
          --state.wakeUps;
          at = At::looks;
        }
        return true;
      case At::looks:
        at = At::searches;
        if (state.jobs > 0) find(state, at);
        return true;
      case At::runs:
        at = At::takes;
        return true;
      case At::asleep:
      case At::wakesNext:
        break;
    }
    return false;
  }
  static void find(State& state, At& at) {
    --state.jobs;
    --state.searchers;
    at = claimSleeper(state) != 0 ? At::wakesNext : At::runs;
  }

  /// However long the running jobs take: the pool runs as many as it has threads, no job waits beside a place that is
  /// free, and no event waits for a job.
  [[nodiscard]] std::string wrong(const State& state) const {
    const auto lent = std::ranges::count(state.serving, Serving::runs);
    const auto running = std::ranges::count(state.at, At::runs) + lent;
    if (running > static_cast<std::ptrdiff_t>(workers)) return "more jobs run than the pool has threads";
    if (state.ready > 0 && lent == static_cast<std::ptrdiff_t>(eventThreads)) return "an event waits for a job";
    const bool isEventThreadUnderWay =
        std::ranges::any_of(state.serving, [](Serving at) { return at != Serving::waits && at != Serving::runs; });
    const bool isWorkerUnderWay =
        std::ranges::any_of(state.at, [](At at) { return at != At::asleep && at != At::runs && at != At::drowsy; });
    const bool isWakeUpUnderWay = state.wakeUps > 0 && std::ranges::count(state.at, At::drowsy) > 0;
    if (isEventThreadUnderWay || isWorkerUnderWay || isWakeUpUnderWay || state.callerWakes != 0) return "";
    const bool hasFreePlace = running < static_cast<std::ptrdiff_t>(workers);
    return state.jobs > 0 && hasFreePlace ? "a job waits while a thread sleeps" : "";
  }
  [[nodiscard]] bool mayEnd(const State& state) const { return state.jobs == 0 && state.ready == 0; }
};

using Variant = EventThreadModel::Variant;

std::string violationOf(Variant variant) { return explore(EventThreadModel{variant}).violation; }

TEST(EventThreadModel, EventsAndJobsFindAThreadInEveryOrder) {
  expectNoViolation(EventThreadModel{Variant::asWritten}, 10'000);
}

TEST(EventThreadModel, CatchesTwoLentThreads) {
  EXPECT_EQ(violationOf(Variant::lendsBoth), "an event waits for a job");
}

TEST(EventThreadModel, CatchesALentThreadBesideABusyPool) {
  EXPECT_EQ(violationOf(Variant::lendsBesideBusyPool), "more jobs run than the pool has threads");
}

TEST(EventThreadModel, CatchesALentThreadThatLeavesAJob) {
  EXPECT_EQ(violationOf(Variant::leavesWithoutLook), "a job waits while a thread sleeps");
}

TEST(EventThreadModel, CatchesAThreadThatKeepsItsJob) {
  EXPECT_EQ(violationOf(Variant::keepsTheJobToItself), "a job waits while a thread sleeps");
}

TEST(EventThreadModel, CatchesAPlaceThatTwoThreadsTake) {
  EXPECT_EQ(violationOf(Variant::keepsTheSleeper), "more jobs run than the pool has threads");
}

}  // namespace
}  // namespace Tessaly::Tests
