// SPDX-License-Identifier: MIT
// The serial executor's turn: one word that hands the executor over, and the priority at which the turn is queued.
//
// The functions of the implementation, in SerialExecutor:
//   enqueuer    `enqueue`, `queueTurn`, `raiseTurn`
//   raiser      `raisePriority` of the job, `escalate`
//   holder      `runTurn`, `takeIncoming`, `appendInOrder`, `giveUpIfEmpty`, `enterIfIdle`, `leaveCurrent`
//
// Memory orders in the implementation: a raise of a job's priority, the look at a priority after the word, and every
// change of the word beside one of them are sequentially consistent. A holder that enters or gives up only acquires or
// releases: an idle executor has no job that a raise could miss. The holder's own data (the jobs taken, their numbers)
// passes through the word and the queue of the global executor. That queue has a lock, so each of its operations is
// one step. A turn has one job here instead of 256, so every job ends a turn.
//
// The word has no version. One order is therefore excused: a job is raised while it is enqueued, and between its
// enqueuer's look at the word and its exchange a whole turn passes and leaves the word as it was. That job waits for
// one turn at its old priority.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>

#include "tests/models/Exploration.hpp"

namespace Tessaly::Tests {
namespace {

struct SerialExecutorModel {
  enum class Variant : std::uint8_t {
    asWritten,
    /// The turn's priority is set after the word says that the turn is queued.
    setsPriorityAfterTheWord,
    /// An enqueuer reads the job's priority once, before it looks at the word.
    readsPriorityBeforeTheWord,
    /// An enqueuer raises the turn without a reference of its own.
    raisesWithoutReference,
    /// A holder that has run its last job gives up without another look at the word.
    givesUpWithoutLook,
  };
  enum class Phase : std::uint8_t { idle, running, raised, queuedAtLow, queuedAtHigh };

  static constexpr std::size_t jobs = 3;
  // The threads: the enqueuer of each job, the raiser of job 0, a task that hops in and out, and the pool.
  static constexpr std::size_t raiser = jobs;
  static constexpr std::size_t hopper = jobs + 1;
  static constexpr std::size_t pool = jobs + 2;
  static constexpr std::size_t threads = jobs + 3;

  enum class At : std::uint8_t {
    start,
    prepare,
    publish,
    raiseTurn,
    escalate,
    release,  // An enqueuer, and from `publish` on the raiser.
    take,
    append,
    choose,
    mark,
    queue,  // A holder that queues a turn.
    begin,
    beginAppend,
    decide,
    giveUp,
    giveUpTake,
    giveUpAppend,
    run,  // A holder that runs jobs.
    done,
  };
  enum class JobAt : std::uint8_t { outside, incoming, ready, hasRun };

  struct State {
    Phase phase;
    /// The newest first, each as its number plus 1.
    std::array<std::uint8_t, jobs> incoming;
    /// The oldest first.
    std::array<std::uint8_t, jobs> ready;
    std::array<JobAt, jobs> job;
    std::array<std::uint8_t, jobs> isHigh;
    std::uint8_t taken;
    std::uint8_t started;
    std::array<std::uint8_t, 2> lastOf;
    std::uint8_t turnIsHigh;
    /// 0 for not queued, otherwise the level at which the global executor has the turn, plus 1.
    std::uint8_t queuedTurn;
    std::uint8_t references;
    std::uint8_t usedAfterEnd;
    // Each thread's own.
    std::array<At, threads> at;
    std::array<Phase, threads> seenPhase;
    std::array<std::uint8_t, threads> seenNewest;
    std::array<std::uint8_t, threads> isLevelHigh;
    std::array<std::uint8_t, threads> holdsReference;
    std::array<std::uint8_t, threads> hasRunJob;
    /// Whether the word has changed since the enqueuer of job 0 looked at it, and whether it did so unnoticed.
    std::uint8_t isWordOld;
    std::uint8_t isExcused;
    std::array<std::array<std::uint8_t, jobs>, threads> batch;
    friend bool operator==(const State&, const State&) = default;
  };

  enum class Players : std::uint8_t { threeJobs, twoJobsAndHopper };

  Variant variant;
  Players players;

  [[nodiscard]] State initial() const {
    State state{};
    state.references = jobs;  // Each job's task holds one until the job has run.
    state.at[pool] = At::begin;
    if (players == Players::threeJobs) {
      state.at[hopper] = At::done;
    } else {
      state.at[jobs - 1] = At::done;
      state.job[jobs - 1] = JobAt::hasRun;
      --state.references;
    }
    return state;
  }

  template <typename Emit>
  void steps(const State& state, Emit emit) const {
    for (std::size_t thread = 0; thread < threads; ++thread) {
      State next = state;
      if (!step(next, thread)) continue;
      if (thread != 0 && (next.phase != state.phase || next.incoming != state.incoming)) next.isWordOld = 1;
      if (next.at[thread] == At::done || next.at[thread] == At::begin) forget(next, thread);
      emit("thread " + std::to_string(thread) + " at " + std::to_string(static_cast<int>(state.at[thread])), next);
    }
  }

  /// The last value that an idle thread saw makes no difference.
  static void forget(State& state, std::size_t thread) {
    state.seenPhase[thread] = Phase::idle;
    state.seenNewest[thread] = 0;
    state.isLevelHigh[thread] = 0;
    state.hasRunJob[thread] = 0;
    if (thread == 0) state.isWordOld = 0;
  }

  static bool isQueued(Phase phase) { return phase >= Phase::queuedAtLow; }
  static bool isQueuedHigh(Phase phase) { return phase == Phase::queuedAtHigh; }
  static Phase queuedAt(bool isHigh) { return isHigh ? Phase::queuedAtHigh : Phase::queuedAtLow; }
  static void touch(State& state) {
    if (state.references == 0) state.usedAfterEnd = 1;
  }
  static void dropReference(State& state) {
    touch(state);
    if (state.references > 0) --state.references;
  }
  static bool sees(const State& state, std::size_t thread) {
    return state.phase == state.seenPhase[thread] && state.incoming[0] == state.seenNewest[thread];
  }
  static void look(State& state, std::size_t thread) {
    touch(state);
    state.seenPhase[thread] = state.phase;
    state.seenNewest[thread] = state.incoming[0];
    if (thread == 0) state.isWordOld = 0;
  }

  bool step(State& state, std::size_t thread) const {
    if (thread < jobs && state.at[thread] < At::take) return stepOfEnqueuer(state, thread);
    if (thread == raiser) return stepOfRaiser(state);
    if (thread == hopper && state.at[thread] == At::start) return enter(state);
    return stepOfHolder(state, thread);
  }

  bool stepOfEnqueuer(State& state, std::size_t thread) const {
    At& at = state.at[thread];
    switch (at) {
      case At::start:
        if (variant == Variant::readsPriorityBeforeTheWord) state.isLevelHigh[thread] = state.isHigh[thread];
        look(state, thread);
        // Without the defect, the look at the word comes first and the priority with the next step.
        at = At::prepare;
        return true;
      case At::prepare:
        if (variant != Variant::readsPriorityBeforeTheWord) state.isLevelHigh[thread] = state.isHigh[thread];
        if (raises(state, thread) && variant != Variant::raisesWithoutReference) {
          touch(state);
          ++state.references;
          state.holdsReference[thread] = 1;
        }
        at = At::publish;
        return true;
      case At::publish:
        publish(state, thread);
        return true;
      case At::raiseTurn:
      case At::escalate:
      case At::release:
        return raiseTurn(state, thread);
      default:
        return false;
    }
  }

  static bool raises(const State& state, std::size_t thread) {
    return isQueued(state.seenPhase[thread]) && !isQueuedHigh(state.seenPhase[thread]) &&
           state.isLevelHigh[thread] != 0;
  }

  static void publish(State& state, std::size_t thread) {
    const bool raisesTurn = raises(state, thread);
    touch(state);
    if (!sees(state, thread)) {
      if (state.holdsReference[thread] != 0) dropReference(state);
      state.holdsReference[thread] = 0;
      look(state, thread);
      state.at[thread] = At::prepare;
      return;
    }
    if (thread == 0) state.isExcused = state.isWordOld;
    std::ranges::rotate(state.incoming, state.incoming.end() - 1);
    state.incoming[0] = static_cast<std::uint8_t>(thread + 1);
    state.job[thread] = JobAt::incoming;
    if (state.phase == Phase::idle) {
      state.phase = Phase::running;
      ++state.references;
      state.at[thread] = At::take;
    } else if (raisesTurn) {
      state.phase = Phase::queuedAtHigh;
      state.at[thread] = At::raiseTurn;
    } else {
      state.at[thread] = At::done;
    }
  }

  static bool raiseTurn(State& state, std::size_t thread) {
    touch(state);
    switch (state.at[thread]) {
      case At::raiseTurn:
        state.turnIsHigh = std::max(state.turnIsHigh, state.isLevelHigh[thread]);
        state.at[thread] = At::escalate;
        return true;
      case At::escalate:
        if (state.queuedTurn != 0) state.queuedTurn = static_cast<std::uint8_t>(1 + state.turnIsHigh);
        state.at[thread] = At::release;
        return true;
      default:
        if (state.holdsReference[thread] != 0) dropReference(state);
        state.holdsReference[thread] = 0;
        state.at[thread] = At::done;
        return true;
    }
  }

  /// Raises job 0 and calls the executor. The task's lock keeps the job from ending between the look and the reference.
  bool stepOfRaiser(State& state) const {
    At& at = state.at[raiser];
    switch (at) {
      case At::start:
        state.isHigh[0] = 1;
        state.isLevelHigh[raiser] = 1;
        at = At::prepare;
        return true;
      case At::prepare:
        if (state.job[0] == JobAt::hasRun) {
          at = At::done;
          return true;
        }
        ++state.references;
        state.holdsReference[raiser] = 1;
        look(state, raiser);
        at = At::publish;
        return true;
      case At::publish: {
        const Phase phase = state.seenPhase[raiser];
        if (phase == Phase::idle || phase == Phase::raised || isQueuedHigh(phase)) {
          at = At::release;
        } else if (!sees(state, raiser)) {
          look(state, raiser);
        } else {
          state.phase = phase == Phase::running ? Phase::raised : Phase::queuedAtHigh;
          at = phase == Phase::running ? At::release : At::raiseTurn;
        }
        return true;
      }
      case At::raiseTurn:
      case At::escalate:
      case At::release:
        return raiseTurn(state, raiser);
      default:
        return false;
    }
  }

  /// A task that hops onto the executor if it is idle. It holds a reference of its own.
  static bool enter(State& state) {
    if (state.references == 0) {
      state.at[hopper] = At::done;
      return true;
    }
    if (state.phase == Phase::idle && state.incoming[0] == 0) {
      state.phase = Phase::running;
      ++state.references;
      state.hasRunJob[hopper] = 1;
      state.at[hopper] = At::decide;
    } else {
      state.at[hopper] = At::done;
    }
    return true;
  }

  bool stepOfHolder(State& state, std::size_t thread) const {
    At& at = state.at[thread];
    if (at == At::done) return false;
    if (at == At::begin) {
      if (state.queuedTurn == 0) return false;
      state.queuedTurn = 0;
      state.hasRunJob[thread] = 0;
      take(state, thread, At::beginAppend);
      return true;
    }
    touch(state);
    switch (at) {
      case At::take:
        take(state, thread, At::append);
        break;
      case At::append:
      case At::beginAppend:
      case At::giveUpAppend:
        append(state, thread);
        at = at == At::append ? At::choose : At::decide;
        break;
      case At::choose:
        state.isLevelHigh[thread] = state.lastOf[1] > state.started ? 1 : 0;
        if (variant != Variant::setsPriorityAfterTheWord) state.turnIsHigh = state.isLevelHigh[thread];
        at = At::mark;
        break;
      case At::mark:
        if (state.phase == Phase::running && state.incoming[0] == 0) {
          state.phase = queuedAt(state.isLevelHigh[thread] != 0);
          at = At::queue;
        } else {
          at = At::take;
        }
        break;
      case At::queue:
        if (variant == Variant::setsPriorityAfterTheWord) state.turnIsHigh = state.isLevelHigh[thread];
        state.queuedTurn = static_cast<std::uint8_t>(1 + state.turnIsHigh);
        at = endOf(thread);
        break;
      case At::decide:
        if (state.ready[0] == 0) {
          at = At::giveUp;
        } else {
          at = state.hasRunJob[thread] != 0 ? At::take : At::run;
        }
        break;
      case At::giveUp:
        if (variant == Variant::givesUpWithoutLook || (state.phase == Phase::running && state.incoming[0] == 0)) {
          state.phase = Phase::idle;
          at = At::giveUpTake;
        } else {
          take(state, thread, At::giveUpAppend);
        }
        break;
      case At::giveUpTake:
        dropReference(state);
        at = endOf(thread);
        break;
      case At::run:
        runOne(state, thread);
        at = At::decide;
        break;
      default:
        return false;
    }
    return true;
  }

  static At endOf(std::size_t thread) { return thread == pool ? At::begin : At::done; }

  static void take(State& state, std::size_t thread, At next) {
    touch(state);
    state.seenPhase[thread] = state.phase;
    state.batch[thread] = state.incoming;
    state.incoming = {};
    state.phase = Phase::running;
    state.at[thread] = next;
  }

  static void append(State& state, std::size_t thread) {
    for (std::size_t i = jobs; i-- > 0;) {
      const std::uint8_t entry = state.batch[thread][i];
      if (entry == 0) continue;
      *std::ranges::find(state.ready, 0) = entry;
      state.job[entry - 1U] = JobAt::ready;
      state.lastOf[state.isHigh[entry - 1U]] = ++state.taken;
    }
    state.batch[thread] = {};
    const Phase phase = state.seenPhase[thread];
    const bool isHighWaiting = state.lastOf[1] > state.started;
    if (phase != Phase::raised && !(isQueuedHigh(phase) && !isHighWaiting)) return;
    std::uint8_t number = state.started;
    for (const std::uint8_t entry : state.ready) {
      if (entry != 0) state.lastOf[state.isHigh[entry - 1U]] = ++number;
    }
  }

  static void runOne(State& state, std::size_t thread) {
    const std::uint8_t entry = state.ready[0];
    std::ranges::rotate(state.ready, state.ready.begin() + 1);
    state.ready.back() = 0;
    ++state.started;
    state.job[entry - 1U] = JobAt::hasRun;
    state.hasRunJob[thread] = 1;
    dropReference(state);
  }

  [[nodiscard]] std::string wrong(const State& state) const {
    if (state.usedAfterEnd != 0) return "the executor was used after its end";
    int holders = state.queuedTurn != 0 ? 1 : 0;
    bool isCallUnderWay = false;
    for (std::size_t thread = 0; thread < threads; ++thread) {
      const At at = state.at[thread];
      if (at >= At::take && at < At::done && at != At::begin && at != At::giveUpTake) ++holders;
      if (thread != pool && at != At::start && at != At::done) isCallUnderWay = true;
    }
    if (holders > 1) return "two hold the executor";
    // Once nothing is under way, the queued turn is as high as the highest job that waits.
    if (state.queuedTurn != 1 || isCallUnderWay) return "";
    for (std::size_t job = 0; job < jobs; ++job) {
      const bool waits = state.job[job] == JobAt::incoming || state.job[job] == JobAt::ready;
      if (waits && state.isHigh[job] != 0 && state.isExcused == 0) return "a high job waits behind a low turn";
    }
    return "";
  }

  [[nodiscard]] bool mayEnd(const State& state) const {
    return std::ranges::all_of(state.job, [](JobAt at) { return at == JobAt::hasRun; }) && state.references == 0 &&
           state.phase == Phase::idle;
  }
};

using Variant = SerialExecutorModel::Variant;
using Players = SerialExecutorModel::Players;

TEST(SerialExecutorModel, TurnIsHandedOverAndRaisedInEveryOrder) {
  expectNoViolation(SerialExecutorModel{Variant::asWritten, Players::threeJobs}, 10'000);
}

TEST(SerialExecutorModel, TaskHopsInAndOutInEveryOrder) {
  expectNoViolation(SerialExecutorModel{Variant::asWritten, Players::twoJobsAndHopper}, 10'000);
}

std::string violationOf(Variant variant) {
  return explore(SerialExecutorModel{variant, Players::twoJobsAndHopper}).violation;
}

TEST(SerialExecutorModel, CatchesAStartThatOverwritesARaise) {
  EXPECT_EQ(violationOf(Variant::setsPriorityAfterTheWord), "a high job waits behind a low turn");
}

TEST(SerialExecutorModel, CatchesAPriorityThatIsReadTooEarly) {
  EXPECT_EQ(violationOf(Variant::readsPriorityBeforeTheWord), "a high job waits behind a low turn");
}

TEST(SerialExecutorModel, CatchesARaiseWithoutAReference) {
  EXPECT_EQ(violationOf(Variant::raisesWithoutReference), "the executor was used after its end");
}

TEST(SerialExecutorModel, CatchesAJobThatIsLeftBehind) { EXPECT_NE(violationOf(Variant::givesUpWithoutLook), ""); }

}  // namespace
}  // namespace Tessaly::Tests
