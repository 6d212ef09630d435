// SPDX-License-Identifier: MIT
// A cancellation handler against the end of its scope.
//
// The functions of the implementation, in TaskRecord: `markCancelled`, `callHandlers`, `addCancellationHandler`,
// `removeCancellationHandler`, `removeCalledHandler`.
//
// Memory orders in the implementation: the canceller sets the flag by a compare-and-swap with acquire and release, and
// then takes the lock. The task reads the flag under the lock, so the lock orders both. The handler's fields and the
// list are plain data under the task's lock. The canceller releases the count of calls, and the task acquires it before
// it sleeps on it. The kernel compares the count and goes to sleep in one step.

#include <gtest/gtest.h>

#include <array>
#include <cstdint>

#include "tests/models/Exploration.hpp"

namespace Tessaly::Tests {
namespace {

struct CancellationModel {
  enum class Variant : std::uint8_t {
    asWritten,
    /// The end of the scope does not wait for a call that is running.
    doesNotWait,
    /// The canceller does not look whether the handler ended its own scope.
    ignoresOwnEnd,
    /// The task reads the count of calls only after it has released the lock.
    readsCountTooLate,
    /// The task reads the flag before it takes the lock.
    looksBeforeTheLock,
  };
  /// The code that ends the scope.
  enum class ScopeEnds : std::uint8_t { inTask, inHandler };
  enum class Handler : std::uint8_t { none, added, running, removed, gone };
  enum class Canceller : std::uint8_t { start, lock, look, call, endScope, lockAgain, finish, wake, done };
  enum class Task : std::uint8_t { look, lock, add, operation, lockForEnd, end, read, unlocked, asleep, done };

  struct State {
    std::uint8_t isCancelled;
    /// 0 for free, 1 for the canceller, 2 for the task.
    std::uint8_t lock;
    Handler handler;
    /// Whether the handler has ended its own scope, as the canceller sees it.
    std::uint8_t isGone;
    std::uint8_t calls;
    std::uint8_t count;
    std::uint8_t touchedGone;
    std::uint8_t calledGone;
    Canceller canceller;
    Task task;
    std::uint8_t sawCancelled;
    std::uint8_t seenCount;
    friend bool operator==(const State&, const State&) = default;
  };

  Variant variant;
  ScopeEnds scopeEnds;

  [[nodiscard]] State initial() const { return {}; }

  template <typename Emit>
  void steps(const State& state, Emit emit) const {
    emitStep(state, emit, "canceller", state.canceller, [&](State& next) { return stepOfCanceller(next); });
    emitStep(state, emit, "task", state.task, [&](State& next) { return stepOfTask(next); });
  }

  static bool take(State& state, std::uint8_t self) {
    if (state.lock != 0) return false;
    state.lock = self;
    return true;
  }

  bool stepOfCanceller(State& state) const {
    switch (state.canceller) {
      case Canceller::start:
        state.isCancelled = 1;
        state.canceller = Canceller::lock;
        return true;
      case Canceller::lock:
        state.canceller = Canceller::look;
        return take(state, 1);
      case Canceller::look:
        state.lock = 0;
        state.canceller = Canceller::done;
        if (state.handler != Handler::added) return true;
        state.handler = Handler::running;
        state.canceller = Canceller::call;
        return true;
      case Canceller::call:
        if (state.handler == Handler::gone) state.calledGone = 1;
        ++state.calls;
        state.canceller = scopeEnds == ScopeEnds::inHandler ? Canceller::endScope : Canceller::lockAgain;
        return true;
      case Canceller::endScope:  // Under the lock, on the canceller's own thread, so it does not wait.
        if (state.lock != 0) return false;
        state.isGone = 1;
        state.handler = Handler::gone;
        state.canceller = Canceller::lockAgain;
        return true;
      case Canceller::lockAgain:
        state.canceller = Canceller::finish;
        return take(state, 1);
      case Canceller::finish:
        if (state.isGone == 0 || variant == Variant::ignoresOwnEnd) {
          if (state.handler == Handler::gone) state.touchedGone = 1;
          state.handler = Handler::removed;
        }
        ++state.count;
        state.canceller = Canceller::wake;
        return true;
      case Canceller::wake:
        if (state.task == Task::asleep) state.task = Task::lockForEnd;
        state.lock = 0;
        state.canceller = Canceller::done;
        return true;
      case Canceller::done:
        return false;
    }
    return false;
  }

  bool stepOfTask(State& state) const {
    switch (state.task) {
      case Task::look:
        state.sawCancelled = state.isCancelled;
        state.task = Task::lock;
        return true;
      case Task::lock:
        state.task = Task::add;
        return take(state, 2);
      case Task::add:
        if (variant != Variant::looksBeforeTheLock) state.sawCancelled = state.isCancelled;
        if (state.sawCancelled != 0) {
          ++state.calls;  // Not added: the task calls the handler itself.
          state.handler = Handler::removed;
        } else {
          state.handler = Handler::added;
        }
        state.lock = 0;
        state.task = Task::operation;
        return true;
      case Task::operation:
        if (scopeEnds == ScopeEnds::inHandler && state.handler != Handler::removed) {
          if (state.handler == Handler::gone) state.task = Task::done;
          return state.handler == Handler::gone;
        }
        state.task = Task::lockForEnd;
        return true;
      case Task::lockForEnd:
        state.task = Task::end;
        return take(state, 2);
      case Task::end:
        if (state.handler == Handler::running && variant != Variant::doesNotWait) {
          state.task = Task::read;
          return true;
        }
        state.handler = Handler::gone;
        state.lock = 0;
        state.task = Task::done;
        return true;
      case Task::read:
        if (variant != Variant::readsCountTooLate) state.seenCount = state.count;
        state.lock = 0;
        state.task = Task::unlocked;
        return true;
      case Task::unlocked:
        if (variant == Variant::readsCountTooLate) state.seenCount = state.count;
        state.task = state.count == state.seenCount ? Task::asleep : Task::lockForEnd;
        return true;
      case Task::asleep:
      case Task::done:
        return false;
    }
    return false;
  }

  [[nodiscard]] std::string wrong(const State& state) const {
    if (state.calls > 1) return "the handler was called twice";
    if (state.calledGone != 0) return "the handler was called after its scope";
    if (state.touchedGone != 0) return "the handler was touched after its scope";
    const bool isCalled = state.canceller == Canceller::call || state.canceller == Canceller::lockAgain;
    if (isCalled && scopeEnds == ScopeEnds::inTask && state.handler == Handler::gone) {
      return "the scope ended while the handler ran";
    }
    const bool hasEnded = state.canceller == Canceller::done && state.task >= Task::operation;
    if (hasEnded && state.calls == 0 && state.task != Task::done) return "a cancelled task's handler was not called";
    return "";
  }
  [[nodiscard]] bool mayEnd(const State& state) const {
    return state.task == Task::done && state.canceller == Canceller::done;
  }
};

using Variant = CancellationModel::Variant;
using ScopeEnds = CancellationModel::ScopeEnds;

std::string violationOf(Variant variant, ScopeEnds scopeEnds) {
  return explore(CancellationModel{variant, scopeEnds}).violation;
}

TEST(CancellationModel, HandlerIsNotCalledAfterItsScopeInAnyOrder) {
  for (const ScopeEnds scopeEnds : {ScopeEnds::inTask, ScopeEnds::inHandler}) {
    expectNoViolation(CancellationModel{Variant::asWritten, scopeEnds}, 20);
  }
}

TEST(CancellationModel, CatchesAScopeThatDoesNotWait) {
  EXPECT_NE(violationOf(Variant::doesNotWait, ScopeEnds::inTask), "");
}

TEST(CancellationModel, CatchesACancellerThatIgnoresTheHandlersOwnEnd) {
  EXPECT_EQ(violationOf(Variant::ignoresOwnEnd, ScopeEnds::inHandler), "the handler was touched after its scope");
}

TEST(CancellationModel, CatchesASleepOnACountThatIsReadTooLate) {
  EXPECT_EQ(violationOf(Variant::readsCountTooLate, ScopeEnds::inTask), "nothing can go on");
}

TEST(CancellationModel, CatchesAFlagThatIsReadBeforeTheLock) {
  EXPECT_NE(violationOf(Variant::looksBeforeTheLock, ScopeEnds::inTask), "");
}

}  // namespace
}  // namespace Tessaly::Tests
