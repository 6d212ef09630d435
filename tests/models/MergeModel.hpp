// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

#include "tests/models/Exploration.hpp"

// A merge: a consumer that asks, two children that fetch from their bases, and the cancellation of the consumer.
//
// The functions of the implementation, in AsyncMergeSequence:
//   consumer    `nextOf`, `setChildren`, `ask`, and `stop` from the iterator's destructor
//   child       `fetch`, `awaitDemand`, `deliver`, `end`, `cancelChildren`
//   canceller   the cancellation handler of `nextOf`, which calls `stop`
//
// Memory orders in the implementation: a section under the merge's lock is one step. A continuation is resumed by an
// exchange with acquire and release, and its awaiter commits to sleep by a compare-and-swap with the same orders. So
// the value that is written before a resumption is seen after it. The flag of a cancelled task is set with release. The
// consumer reads it with acquire, and a second time under the task's lock when it adds its handler. `CancellationModel`
// explores the handler itself.

namespace Tessaly::Tests {

struct MergeModel {
  enum class Variant : std::uint8_t {
    asWritten,
    /// A child that waits for a demand does not look whether it was asked already.
    waitsAlthoughAsked,
    /// A child that waits for a demand does not look whether the merge is over.
    waitsAlthoughOver,
    /// A child whose element went straight to the consumer counts as one whose element waits.
    keepsChildBusy,
    /// The consumer looks at the end before it looks at the elements that have arrived.
    endOvertakesElements,
    /// An error does not cancel the other child.
    errorCancelsNoChild,
    /// The end of the merge leaves the waiting consumer to its own.
    stopForgetsConsumer,
    /// An iterator whose first request was cancelled takes its children for started.
    trustsThatChildrenStarted,
  };
  /// The behaviour of the two bases. A base that never yields ends only when it is cancelled.
  enum class Bases : std::uint8_t { end, secondFails, secondNeverYields, firstFailsAndSecondNeverYields };
  /// When the consumer drops its iterator.
  enum class Leaves : std::uint8_t { never, atTheEnd, afterOneElement };
  enum class Cancellation : std::uint8_t { never, ofTheConsumer };

  enum class Asked : std::uint8_t { idle, asked, fetching, hasArrived };
  enum class Wait : std::uint8_t { none, armed, suspended, resumed };
  enum class Handler : std::uint8_t { removed, added, running };
  enum class ChildAt : std::uint8_t {
    notStarted,
    makesIterator,
    awaitsDemand,
    commits,
    asleep,
    fetches,
    delivers,
    ends,
    done
  };
  enum class ConsumerAt : std::uint8_t {
    looks,
    looksForTheEnd,
    starts,
    setsChildren,
    addsHandler,
    asks,
    commits,
    asleep,
    removesHandler,
    drops,
    done,
  };
  enum class Canceller : std::uint8_t { marks, takesHandler, stops, returns, done };

  /// The duty of an actor before its own next step. An answer is its element, the end or the error.
  enum Action : std::uint8_t {
    nothing,
    theEnd = 10,
    theError,
    stop,
    takeDemands,
    cancelFirst,
    cancelSecond,
    yesToFirst,
    yesToSecond,
    noToFirst,
    noToSecond,
  };
  enum Rule : std::uint8_t { holds, resumedTwice, resumedAfterItsEnd, outOfOrder, childrenMissing };

  static constexpr std::size_t children = 2;
  static constexpr std::size_t consumer = 2;
  static constexpr std::size_t canceller = 3;
  static constexpr std::size_t actors = 4;
  static constexpr std::uint8_t elementsOfOne = 2;

  struct Child {
    ChildAt at;
    Asked asked;
    Wait wait;
    std::uint8_t hasDemand;
    std::uint8_t isWanted;
    std::uint8_t isCancelled;
    std::uint8_t given;
    std::uint8_t fetches;
    std::uint8_t fails;
    friend bool operator==(const Child&, const Child&) = default;
  };

  struct State {
    std::array<Child, children> child;
    std::array<std::uint8_t, children> buffer;
    std::uint8_t hasAnswer;
    std::uint8_t hasError;
    std::uint8_t isOver;
    std::uint8_t ended;
    std::uint8_t areChildrenSet;
    ConsumerAt at;
    Wait wait;
    Handler handler;
    std::uint8_t answer;
    std::uint8_t isCancelled;
    std::uint8_t hasStarted;
    std::uint8_t asks;
    std::uint8_t ends;
    std::uint8_t errors;
    std::uint8_t received;  // A bit for each element.
    std::uint8_t accepted;
    Canceller cancellerAt;
    Rule rule;
    std::array<std::array<std::uint8_t, 8>, actors> todo;
    friend bool operator==(const State&, const State&) = default;
  };

  Variant variant;
  Bases bases = Bases::end;
  Leaves leaves = Leaves::atTheEnd;
  Cancellation cancellation = Cancellation::ofTheConsumer;

  [[nodiscard]] State initial() const {
    State state{};
    if (cancellation == Cancellation::never) state.cancellerAt = Canceller::done;
    return state;
  }

  template <typename Emit>
  void steps(const State& state, Emit emit) const {
    for (std::size_t actor = 0; actor < actors; ++actor) {
      if (state.todo[actor][0] != nothing) {
        State next = state;
        act(next, actor);
        emit("actor " + std::to_string(actor) + " does " + std::to_string(state.todo[actor][0]), next);
      } else if (actor < children) {
        stepsOfChild(state, actor, emit);
      } else if (actor == consumer) {
        emitStep(state, emit, "consumer", state.at, [&](State& next) { return stepOfConsumer(next); });
      } else {
        emitStep(state, emit, "canceller", state.cancellerAt, [&](State& next) { return stepOfCanceller(next); });
      }
    }
  }

  /// The number of the base that fails; that of no base if none does.
  [[nodiscard]] std::size_t failingBase() const {
    if (bases == Bases::secondFails) return 1;
    return bases == Bases::firstFailsAndSecondNeverYields ? 0 : children;
  }

  static std::uint8_t bit(std::uint8_t element) { return static_cast<std::uint8_t>(1U << (element - 1U)); }
  static std::uint8_t elementOf(std::size_t child, std::uint8_t number) {
    return static_cast<std::uint8_t>(child * elementsOfOne + number);
  }
  static std::size_t childOf(std::uint8_t element) { return (element - 1U) / elementsOfOne; }
  static std::uint8_t of(Action first, std::size_t child) { return static_cast<std::uint8_t>(first + child); }
  static void then(State& state, std::size_t actor, std::uint8_t action) {
    *std::ranges::find(state.todo[actor], nothing) = action;
  }
  static void first(State& state, std::size_t actor, std::uint8_t action) {
    std::ranges::rotate(state.todo[actor], state.todo[actor].end() - 1);
    state.todo[actor][0] = action;
  }
  static bool resume(State& state, Wait& wait);
  void act(State& state, std::size_t actor) const;
  static void answerDemand(State& state, std::size_t number, std::uint8_t isWanted);
  void stopAll(State& state, std::size_t actor) const;
  template <typename Emit>
  void stepsOfChild(const State& state, std::size_t number, Emit& emit) const {
    const std::string name = "child " + std::to_string(number);
    if (state.child[number].at == ChildAt::fetches) {
      fetch(state, number, name, emit);
      return;
    }
    State next = state;
    if (state.child[number].at == ChildAt::makesIterator && failingBase() == number) {
      next.child[number].at = ChildAt::ends;
      next.child[number].fails = 1;
      emit(name + " fails at once", next);
      next = state;
    }
    if (stepOfChild(next, number)) emit(name + " at " + std::to_string(int(state.child[number].at)), next);
  }

  /// The base gives an element or its end. A cancelled base gives either, and one that never yields only then its end.
  template <typename Emit>
  void fetch(const State& state, std::size_t number, const std::string& name, Emit& emit) const {
    const Child& child = state.child[number];
    const bool isSilent = number == 1 && bases >= Bases::secondNeverYields;
    const bool hasElement = !isSilent && child.given < elementsOfOne;
    State next = state;
    ++next.child[number].fetches;
    if (hasElement) {
      State delivers = next;
      ++delivers.child[number].given;
      delivers.child[number].at = ChildAt::delivers;
      emit(name + " fetches", delivers);
    }
    if (child.isCancelled == 0 && (isSilent || hasElement)) return;
    next.child[number].at = ChildAt::ends;
    next.child[number].fails = failingBase() == number && child.isCancelled == 0 ? 1 : 0;
    emit(name + " fetches the end", next);
  }

  bool stepOfChild(State& state, std::size_t number) const;
  void awaitDemand(State& state, std::size_t number) const;
  void deliver(State& state, std::size_t number) const;
  void end(State& state, std::size_t number) const;
  bool stepOfConsumer(State& state) const;
  /// The beginning of `next()`. Another task, which is not cancelled, makes the request after the end.
  void look(State& state) const;
  void ask(State& state) const;
  void takeAnswer(State& state, std::uint8_t answer) const;
  bool stepOfCanceller(State& state) const;
  [[nodiscard]] std::string wrong(const State& state) const;
  [[nodiscard]] bool mayEnd(const State& state) const;
};

}  // namespace Tessaly::Tests
