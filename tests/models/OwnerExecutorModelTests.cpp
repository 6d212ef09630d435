// SPDX-License-Identifier: MIT
// The turn of an owner's tasks, and the priority at which it waits in the queue of the owner's isolation.
//
// The functions of the implementation, in OwnerExecutor: `enqueue`, `escalate`, `takeTurn`. A raise changes the
// priority of the job first and then calls `escalate`.
//
// Memory orders in the implementation: a section under the executor's lock is one step, or two where a raise without
// the lock could come between. Each operation of the queue that the turn waits in is one step. The priorities of a job
// and of the turn are atomic. A raise changes the job's before it takes the lock, and the turn's under the lock.
//
// A raise of a job that is elsewhere may raise one turn for nothing. The next turn looks at the jobs that wait.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <string>
#include <utility>

#include "tests/models/Exploration.hpp"

namespace Tessaly::Tests {
namespace {

struct OwnerExecutorModel {
  enum class Variant : std::uint8_t {
    asWritten,
    /// The enqueuer reads the job's priority before it takes the lock.
    readsPriorityBeforeTheLock,
    /// A raise of the turn does not take the lock, so a turn that begins anew overwrites it.
    raisesWithoutTheLock,
  };
  enum class At : std::uint8_t { start, locks, queuesTurn, raisesTurn, done };
  enum class Job : std::uint8_t { outside, waits, hasRun };
  enum class Server : std::uint8_t { takesTurn, locks, setsPriority, queuesTurn, runs };

  static constexpr std::size_t jobs = 3;
  static constexpr std::uint8_t none = 0xFF;

  struct State {
    std::array<Job, jobs> job;
    std::array<std::uint8_t, jobs> isHigh;
    std::array<std::uint8_t, jobs> order;  // Of the jobs that wait, as numbers plus 1.
    std::array<At, jobs> enqueuer;
    std::array<std::uint8_t, jobs> seenHigh;
    At raiser;  // Of job 0.
    Server server;
    std::uint8_t running;
    /// The lock is held over two steps, and this is the level that the first one found.
    std::uint8_t isLocked;
    std::uint8_t seenByServer;
    std::uint8_t isQueued;
    std::uint8_t turnIsHigh;
    /// In the queue of the isolation: 0 for not there, otherwise its level plus 1.
    std::uint8_t queuedTurn;
    std::uint8_t isQueuedTwice;
    friend bool operator==(const State&, const State&) = default;
  };

  Variant variant;

  [[nodiscard]] State initial() const {
    State state{};
    state.running = none;
    return state;
  }

  template <typename Emit>
  void steps(const State& state, Emit emit) const {
    for (std::size_t job = 0; job < jobs; ++job) {
      State next = state;
      if (enqueue(next, job)) emit("enqueuer of " + std::to_string(job), next);
    }
    State next = state;
    if (raise(next)) emit("raiser", next);
    next = state;
    if (serve(next)) emit("server", next);
  }

  static void queueTurn(State& state) {
    if (state.queuedTurn != 0) state.isQueuedTwice = 1;
    state.queuedTurn = static_cast<std::uint8_t>(1 + state.turnIsHigh);
  }
  static void escalateTurn(State& state) {
    if (state.queuedTurn != 0) state.queuedTurn = static_cast<std::uint8_t>(1 + state.turnIsHigh);
  }

  bool enqueue(State& state, std::size_t job) const {
    At& at = state.enqueuer[job];
    switch (at) {
      case At::start:
        state.seenHigh[job] = state.isHigh[job];
        at = At::locks;
        return true;
      case At::locks: {
        if (state.isLocked != 0) return false;
        if (variant != Variant::readsPriorityBeforeTheLock) state.seenHigh[job] = state.isHigh[job];
        *std::ranges::find(state.order, 0) = static_cast<std::uint8_t>(job + 1);
        state.job[job] = Job::waits;
        const bool wasQueued = std::exchange(state.isQueued, 1) != 0;
        if (!wasQueued) {
          state.turnIsHigh = state.seenHigh[job];
          at = At::queuesTurn;
        } else {
          at = state.seenHigh[job] > state.turnIsHigh ? At::raisesTurn : At::done;
          state.turnIsHigh = std::max(state.turnIsHigh, state.seenHigh[job]);
        }
        return true;
      }
      case At::queuesTurn:
        queueTurn(state);
        at = At::done;
        return true;
      case At::raisesTurn:
        escalateTurn(state);
        at = At::done;
        return true;
      case At::done:
        return false;
    }
    return false;
  }

  bool raise(State& state) const {
    switch (state.raiser) {
      case At::start:
        state.isHigh[0] = 1;
        state.raiser = At::locks;
        return true;
      case At::locks: {
        const bool ignoresLock = variant == Variant::raisesWithoutTheLock;
        if (state.isLocked != 0 && !ignoresLock) return false;
        const bool mayRaise = state.isQueued != 0 || ignoresLock;
        state.raiser = mayRaise && state.turnIsHigh == 0 ? At::raisesTurn : At::done;
        if (mayRaise) state.turnIsHigh = 1;
        return true;
      }
      case At::raisesTurn:
        escalateTurn(state);
        state.raiser = At::done;
        return true;
      default:
        return false;
    }
  }

  static bool serve(State& state) {
    switch (state.server) {
      case Server::takesTurn:
        if (state.queuedTurn == 0) return false;
        state.queuedTurn = 0;
        state.server = Server::locks;
        return true;
      case Server::locks:
        state.running = static_cast<std::uint8_t>(state.order[0] - 1U);
        std::ranges::rotate(state.order, state.order.begin() + 1);
        state.order.back() = 0;
        state.isQueued = state.order[0] != 0 ? 1 : 0;
        state.server = state.isQueued != 0 ? Server::setsPriority : Server::runs;
        state.isLocked = state.isQueued;
        state.seenByServer = std::min(state.turnIsHigh, highestWaiting(state));
        return true;
      case Server::setsPriority:
        state.turnIsHigh = state.seenByServer;
        state.isLocked = 0;
        state.server = Server::queuesTurn;
        return true;
      case Server::queuesTurn:
        queueTurn(state);
        state.server = Server::runs;
        return true;
      case Server::runs:
        state.job[state.running] = Job::hasRun;
        state.running = none;
        state.server = Server::takesTurn;
        return true;
    }
    return false;
  }

  static std::uint8_t highestWaiting(const State& state) {
    const bool isHigh = std::ranges::any_of(
        state.order, [&](std::uint8_t entry) { return entry != 0 && state.isHigh[entry - 1U] != 0; });
    return isHigh ? 1 : 0;
  }

  [[nodiscard]] std::string wrong(const State& state) const {
    if (state.isQueuedTwice != 0) return "one turn was queued twice";
    const bool isCallUnderWay = state.raiser != At::done || std::ranges::any_of(state.enqueuer, [](At at) {
                                  return at != At::start && at != At::done;
                                });
    if (isCallUnderWay || state.queuedTurn == 0) return "";
    if (state.queuedTurn == 1 && highestWaiting(state) == 1) return "a high job waits behind a low turn";
    return "";
  }

  [[nodiscard]] bool mayEnd(const State& state) const {
    return std::ranges::all_of(state.job, [](Job job) { return job == Job::hasRun; });
  }
};

using Variant = OwnerExecutorModel::Variant;

TEST(OwnerExecutorModel, TurnHasThePriorityOfItsJobsInEveryOrder) {
  expectNoViolation(OwnerExecutorModel{Variant::asWritten}, 1'000);
}

TEST(OwnerExecutorModel, CatchesAPriorityThatIsReadTooEarly) {
  EXPECT_EQ(explore(OwnerExecutorModel{Variant::readsPriorityBeforeTheLock}).violation,
            "a high job waits behind a low turn");
}

TEST(OwnerExecutorModel, CatchesARaiseThatIsOverwritten) {
  EXPECT_EQ(explore(OwnerExecutorModel{Variant::raisesWithoutTheLock}).violation, "a high job waits behind a low turn");
}

}  // namespace
}  // namespace Tessaly::Tests
