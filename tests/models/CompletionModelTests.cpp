// SPDX-License-Identifier: MIT
// The completion of a task, the tasks that wait for it, and a raise of one of them.
//
// Memory orders in the implementation: one word holds the newest waiter and the mark of completion. A waiter is
// released by the exchange that publishes it and acquired by the one that completes. The pointer to what a task awaits,
// its priority and the mark of a raise are sequentially consistent. The raise holds the lock of the task that it
// raises, so each of its steps is one.

#include <gtest/gtest.h>

#include <array>
#include <cstdint>

#include "tests/models/Exploration.hpp"

namespace Tessaly::Tests {
namespace {

struct CompletionModel {
  enum class Variant : std::uint8_t {
    asWritten,
    /// A task leaves its wait without a look at the mark of a raise.
    leavesWithoutLook,
    /// A task reads its priority before it says what it waits for.
    readsPriorityTooEarly,
    /// The completion reads the waiters and marks the word in two steps.
    completesInTwoSteps,
    /// The completion schedules the newest waiter first.
    schedulesNewestFirst,
  };
  /// Two tasks wait. The first one is raised meanwhile, and is the only one with the steps of a priority.
  static constexpr std::size_t waiters = 2;

  enum class Waiter : std::uint8_t {
    look,
    say,
    readPriority,
    raise,
    publish,
    suspended,
    scheduled,
    lookAtRaise,
    waitForLock,
    gone
  };
  enum class Completer : std::uint8_t { complete, mark, schedule, done };
  enum class Raiser : std::uint8_t { raise, lock, mark, readAwaited, use, unmark, done };

  struct State {
    std::uint8_t isDone;
    std::uint8_t isTaskHigh;
    /// The waiters in the word, the newest first, each as its number plus 1.
    std::array<std::uint8_t, waiters> word;
    /// Those that the completion has taken.
    std::array<std::uint8_t, waiters> taken;
    /// The order in which the waiters came, and how many of them were scheduled.
    std::array<std::uint8_t, waiters> came;
    std::uint8_t scheduled;
    std::uint8_t isOutOfOrder;
    // Of the first waiter.
    std::uint8_t isHigh;
    std::uint8_t sawHigh;
    std::uint8_t awaits;
    std::uint8_t isRaiseMarked;
    std::uint8_t isLocked;
    std::uint8_t sawAwaited;
    std::uint8_t usedGone;
    std::array<Waiter, waiters> waiter;
    Completer completer;
    Raiser raiser;
    friend bool operator==(const State&, const State&) = default;
  };

  Variant variant;

  [[nodiscard]] State initial() const { return {}; }

  template <typename Emit>
  void steps(const State& state, Emit emit) const {
    for (std::size_t i = 0; i < waiters; ++i) {
      emitStep(state, emit, "waiter " + std::to_string(i), state.waiter[i],
               [&](State& next) { return stepOfWaiter(next, i); });
    }
    emitStep(state, emit, "completer", state.completer, [&](State& next) { return stepOfCompleter(next); });
    emitStep(state, emit, "raiser", state.raiser, [&](State& next) { return stepOfRaiser(next); });
  }

  bool stepOfWaiter(State& state, std::size_t self) const {
    Waiter& at = state.waiter[self];
    const bool isRaised = self == 0;
    switch (at) {
      case Waiter::look:
        if (state.isDone != 0) {
          at = Waiter::gone;
        } else if (!isRaised) {
          at = Waiter::publish;
        } else {
          at = variant == Variant::readsPriorityTooEarly ? Waiter::readPriority : Waiter::say;
        }
        return true;
      case Waiter::say:
        state.awaits = 1;
        at = variant == Variant::readsPriorityTooEarly ? Waiter::raise : Waiter::readPriority;
        return true;
      case Waiter::readPriority:
        state.sawHigh = state.isHigh;
        at = variant == Variant::readsPriorityTooEarly ? Waiter::say : Waiter::raise;
        return true;
      case Waiter::raise:
        if (state.sawHigh != 0) state.isTaskHigh = 1;
        at = Waiter::publish;
        return true;
      case Waiter::publish:
        publish(state, self);
        return true;
      case Waiter::scheduled:  // Runs again, and leaves the wait.
        if (isRaised) state.awaits = 0;
        at = isRaised && variant != Variant::leavesWithoutLook ? Waiter::lookAtRaise : Waiter::gone;
        return true;
      case Waiter::lookAtRaise:
        at = state.isRaiseMarked != 0 ? Waiter::waitForLock : Waiter::gone;
        return true;
      case Waiter::waitForLock:
        if (state.isLocked != 0) return false;
        at = Waiter::gone;
        return true;
      case Waiter::suspended:
      case Waiter::gone:
        return false;
    }
    return false;
  }

  static void publish(State& state, std::size_t self) {
    if (state.isDone != 0) {
      state.waiter[self] = Waiter::scheduled;  // It goes on at once.
      return;
    }
    const auto number = static_cast<std::uint8_t>(self + 1);
    state.word = {number, state.word[0]};
    state.came[state.came[0] == 0 ? 0 : 1] = number;
    state.waiter[self] = Waiter::suspended;
  }

  bool stepOfCompleter(State& state) const {
    switch (state.completer) {
      case Completer::complete:
        state.taken = state.word;
        if (variant == Variant::completesInTwoSteps) {
          state.completer = Completer::mark;
          return true;
        }
        state.isDone = 1;
        state.completer = Completer::schedule;
        return true;
      case Completer::mark:
        state.isDone = 1;
        state.completer = Completer::schedule;
        return true;
      case Completer::schedule:
        scheduleOne(state);
        return true;
      case Completer::done:
        return false;
    }
    return false;
  }

  void scheduleOne(State& state) const {
    const std::size_t oldest = state.taken[1] != 0 ? 1 : 0;
    const std::size_t newest = state.taken[0] != 0 ? 0 : 1;
    std::uint8_t& next = state.taken[variant == Variant::schedulesNewestFirst ? newest : oldest];
    if (next == 0) {
      state.completer = Completer::done;
      return;
    }
    if (state.came[state.scheduled++] != next) state.isOutOfOrder = 1;
    state.waiter[next - 1U] = Waiter::scheduled;
    next = 0;
  }

  static bool stepOfRaiser(State& state) {
    switch (state.raiser) {
      case Raiser::raise:
        state.isHigh = 1;
        state.raiser = Raiser::lock;
        return true;
      case Raiser::lock:
        state.isLocked = 1;
        state.raiser = Raiser::mark;
        return true;
      case Raiser::mark:
        state.isRaiseMarked = 1;
        state.raiser = Raiser::readAwaited;
        return true;
      case Raiser::readAwaited:
        state.sawAwaited = state.awaits;
        state.raiser = state.awaits != 0 ? Raiser::use : Raiser::unmark;
        return true;
      case Raiser::use:
        if (state.waiter[0] == Waiter::gone) state.usedGone = 1;
        state.isTaskHigh = 1;
        state.raiser = Raiser::unmark;
        return true;
      case Raiser::unmark:
        state.isRaiseMarked = 0;
        state.isLocked = 0;
        state.raiser = Raiser::done;
        return true;
      case Raiser::done:
        return false;
    }
    return false;
  }

  [[nodiscard]] std::string wrong(const State& state) const {
    if (state.usedGone != 0) return "a raise used what a task no longer awaits";
    if (state.isOutOfOrder != 0) return "the waiters were scheduled out of order";
    const bool isRaised = state.raiser == Raiser::done && state.waiter[0] == Waiter::suspended;
    if (isRaised && state.isTaskHigh == 0) return "a raised task waits for a low one";
    return "";
  }
  [[nodiscard]] bool mayEnd(const State& state) const {
    return state.completer == Completer::done && state.raiser == Raiser::done &&
           state.waiter == std::array{Waiter::gone, Waiter::gone};
  }
};

using Variant = CompletionModel::Variant;

std::string violationOf(Variant variant) { return explore(CompletionModel{variant}).violation; }

TEST(CompletionModel, EveryWaiterGoesOnInOrderAndRaisesArrive) {
  expectNoViolation(CompletionModel{Variant::asWritten}, 500);
}

TEST(CompletionModel, CatchesAWaitThatEndsDuringARaise) {
  EXPECT_EQ(violationOf(Variant::leavesWithoutLook), "a raise used what a task no longer awaits");
}

TEST(CompletionModel, CatchesAPriorityThatIsReadTooEarly) {
  EXPECT_EQ(violationOf(Variant::readsPriorityTooEarly), "a raised task waits for a low one");
}

TEST(CompletionModel, CatchesACompletionThatForgetsAWaiter) {
  EXPECT_EQ(violationOf(Variant::completesInTwoSteps), "nothing can go on");
}

TEST(CompletionModel, CatchesWaitersThatOvertakeOneAnother) {
  EXPECT_EQ(violationOf(Variant::schedulesNewestFirst), "the waiters were scheduled out of order");
}

}  // namespace
}  // namespace Tessaly::Tests
