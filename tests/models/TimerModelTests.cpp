// SPDX-License-Identifier: MIT
// How a new, a removed and a due timer meet the descriptor that wakes the threads that serve timers.
//
// The functions of the implementation, in Reactor: `add`, `remove`, `rearm`, `fireDueTimers`. One thread fires at a
// time, so that timers fire in the order of their deadlines.
//
// Memory orders in the implementation: the timers and the instant of the wake-up are plain data under the reactor's
// lock, and the descriptor is set under it, so each section under the lock is one step. The descriptor gives one event
// for each expiration, to one thread. Setting it anew takes an event back that no thread has.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <string>

#include "tests/models/Exploration.hpp"

namespace Tessaly::Tests {
namespace {

struct TimerModel {
  enum class Variant : std::uint8_t {
    asWritten,
    /// A thread that has fired the due timers believes that the descriptor is still set.
    trustsExpiredWakeUp,
    /// A thread that has fired the due timers sets the descriptor in a section of its own, for the timer that it saw.
    setsForWhatItSaw,
    /// A new timer sets the descriptor although an earlier one needs it.
    setsForEachNewTimer,
    /// A thread fires timers although another one does.
    firesBesideAnother,
  };
  enum class Serving : std::uint8_t { waits, begins, looks, fires, sets };

  static constexpr std::size_t adders = 3;
  static constexpr std::size_t servers = 2;
  static constexpr std::uint8_t lastInstant = 3;
  static constexpr std::uint8_t never = 9;

  struct State {
    std::uint8_t now;
    /// The instant for which the descriptor is set, or never.
    std::uint8_t descriptor;
    std::uint8_t hasEvent;
    std::uint8_t wakesAt;
    std::uint8_t isFiring;
    /// The deadline of each adder's timer. Never: it is not armed.
    std::array<std::uint8_t, adders> deadline;
    std::array<std::uint8_t, adders> hasAdded;
    std::array<Serving, servers> serving;
    /// The first deadline that the thread saw.
    std::array<std::uint8_t, servers> seen;
    friend bool operator==(const State&, const State&) = default;
  };

  Variant variant;

  [[nodiscard]] State initial() const {
    State state{};
    state.descriptor = never;
    state.wakesAt = never;
    state.deadline.fill(never);
    return state;
  }

  template <typename Emit>
  void steps(const State& state, Emit emit) const {
    if (state.now < lastInstant) {
      State next = state;
      ++next.now;
      expire(next);
      emit("time passes", next);
    }
    for (std::size_t adder = 0; adder < adders; ++adder) change(state, adder, emit);
    for (std::size_t server = 0; server < servers; ++server) {
      emitStep(state, emit, "server " + std::to_string(server), state.serving[server],
               [&](State& next) { return serve(next, server); });
    }
  }

  /// A timer is added once, for any deadline, and may be removed.
  template <typename Emit>
  void change(const State& state, std::size_t adder, Emit& emit) const {
    const std::string name = "timer " + std::to_string(adder);
    if (state.deadline[adder] != never) {
      State next = state;
      next.deadline[adder] = never;
      emit(name + " is removed", next);
    }
    if (state.hasAdded[adder] != 0) return;
    for (std::uint8_t deadline = 1; deadline <= lastInstant; ++deadline) {
      State next = state;
      next.hasAdded[adder] = 1;
      next.deadline[adder] = deadline;
      variant == Variant::setsForEachNewTimer ? setDescriptor(next, deadline) : rearm(next, first(next));
      emit(name + " is added for " + std::to_string(deadline), next);
    }
  }

  static std::uint8_t first(const State& state) { return *std::ranges::min_element(state.deadline); }

  static void rearm(State& state, std::uint8_t deadline) {
    if (deadline < state.wakesAt) setDescriptor(state, deadline);
  }
  static void setDescriptor(State& state, std::uint8_t deadline) {
    state.wakesAt = deadline;
    state.descriptor = deadline;
    state.hasEvent = 0;
    expire(state);
  }
  static void expire(State& state) {
    if (state.descriptor > state.now) return;
    state.descriptor = never;
    state.hasEvent = 1;
  }

  bool serve(State& state, std::size_t server) const {
    Serving& at = state.serving[server];
    switch (at) {
      case Serving::waits:
        if (state.hasEvent == 0) return false;
        state.hasEvent = 0;
        at = Serving::begins;
        return true;
      case Serving::begins:
        at = state.isFiring != 0 && variant != Variant::firesBesideAnother ? Serving::waits : Serving::looks;
        state.isFiring = 1;
        return true;
      case Serving::looks:
        look(state, server);
        return true;
      case Serving::fires:
        at = Serving::looks;
        return true;
      case Serving::sets:
        state.wakesAt = never;
        rearm(state, state.seen[server]);
        state.seen[server] = 0;
        at = Serving::waits;
        return true;
    }
    return false;
  }

  void look(State& state, std::size_t server) const {
    const std::uint8_t earliest = first(state);
    if (earliest <= state.now) {
      *std::ranges::min_element(state.deadline) = never;
      state.serving[server] = Serving::fires;
      return;
    }
    state.isFiring = 0;
    state.serving[server] = Serving::waits;
    if (variant == Variant::setsForWhatItSaw) {
      state.seen[server] = earliest;
      state.serving[server] = Serving::sets;
      return;
    }
    if (variant != Variant::trustsExpiredWakeUp) state.wakesAt = never;
    rearm(state, earliest);
  }

  [[nodiscard]] std::string wrong(const State& state) const {
    if (std::ranges::count(state.serving, Serving::fires) > 1) return "two timers fire at once";
    const bool isServed = std::ranges::any_of(state.serving, [](Serving at) { return at != Serving::waits; });
    return !isServed && state.hasEvent == 0 && first(state) <= state.now ? "a due timer does not fire" : "";
  }
  [[nodiscard]] bool mayEnd(const State& state) const { return first(state) == never; }
};

using Variant = TimerModel::Variant;

std::string violationOf(Variant variant) { return explore(TimerModel{variant}).violation; }

TEST(TimerModel, EveryDueTimerFiresInEveryOrder) { expectNoViolation(TimerModel{Variant::asWritten}, 1'000); }

TEST(TimerModel, CatchesTrustInAnExpiredWakeUp) {
  EXPECT_EQ(violationOf(Variant::trustsExpiredWakeUp), "a due timer does not fire");
}

TEST(TimerModel, CatchesAWakeUpForAnOldLook) {
  EXPECT_EQ(violationOf(Variant::setsForWhatItSaw), "a due timer does not fire");
}

TEST(TimerModel, CatchesALaterTimerThatTakesTheWakeUp) {
  EXPECT_EQ(violationOf(Variant::setsForEachNewTimer), "a due timer does not fire");
}

TEST(TimerModel, CatchesTwoThreadsThatFire) {
  EXPECT_EQ(violationOf(Variant::firesBesideAnother), "two timers fire at once");
}

}  // namespace
}  // namespace Tessaly::Tests
