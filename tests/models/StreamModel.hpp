// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

#include "tests/models/Exploration.hpp"

// The hand-over of a stream: a producer that yields and finishes, two consumers, and the cancellation of one of them.
//
// The functions of the implementation, in AsyncStreamStorage, AsyncStreamNextAwaiter, Suspension and TaskRecord:
//   producer    `yield`, `yieldLocked`, `buffer`, `finish`, `terminate`
//   consumer    `await_ready`, `takeNext`, `await_suspend`, `takeNextOrWait`, `commit`, `await_resume`, `consumersGone`
//   canceller   `markCancelled`, `callHandlers`, which calls `AsyncStreamStorage::cancel`
//
// Memory orders in the implementation: a section under the stream's lock, or under the lock of the elements ahead, is
// one step. The exchange and the compare-and-swap of a suspension are acquire and release, so the answer that is
// written before `resume` is seen after it. The flag of a cancelled task is set with release, and read with acquire
// under the task's lock. The count of the elements ahead is relaxed. So a look without a lock may see any older value,
// and the model lets it. Under the stream's lock an empty list ahead is certain, because the list is only filled there.
//
// The consumer moves the buffer ahead from two elements on instead of sixteen.

namespace Tessaly::Tests {

struct StreamModel {
  enum class Variant : std::uint8_t {
    asWritten,
    /// A consumer becomes a waiter without another look at the buffer.
    waitsWithoutLook,
    /// A consumer goes to sleep although its wait was ended before.
    sleepsAlthoughResumed,
    /// A producer resumes the waiter before it has handed over the element.
    resumesBeforeHandingOver,
    /// A producer leaves the waiter that it serves in the list.
    leavesWaiterInList,
    /// A consumer takes from the buffer although elements are ahead of it.
    overtakesElementsAhead,
    /// A consumer does not look whether it was cancelled before its handler was added.
    missesEarlyCancellation,
    /// The second end of a stream calls the termination handler, too.
    endsTwice,
    /// A consumer that was resumed does not wait for the handler that resumed it.
    doesNotWaitForHandler,
  };
  enum class Policy : std::uint8_t { unbounded, oldest1, newest1, oldest0 };
  enum class Scenario : std::uint8_t {
    /// The consumers take all elements.
    all,
    /// Each consumer drops its iterator after its first element.
    droppedIterators,
    /// The producer does not finish the stream, so only the cancellation ends it.
    silentProducer,
  };

  enum class Phase : std::uint8_t { open, finishing, cancelling, terminal };
  /// The steps of a call of `finish` or `cancel`.
  enum class Ending : std::uint8_t { none, begins, callsHandler, takesWaiters, resumes };
  enum class Producer : std::uint8_t { yields, handsOver, resumes, finishes, done };
  enum class Canceller : std::uint8_t { marks, takesHandler, calls, returns, done };
  enum class At : std::uint8_t {
    ready,
    looksAhead,  // `takeNext`
    takesAhead,
    locks,
    arms,
    addsHandler,
    looksAheadAgain,  // `takeNextOrWait`
    takesAheadAgain,
    locksAgain,
    commits,
    asleep,
    removesHandler,
    dropsIterator,
    dropsElements,
    done,
  };
  enum class Wait : std::uint8_t { none, armed, suspended, resumed };
  enum class Handler : std::uint8_t { removed, added, running };

  static constexpr std::uint8_t elements = 3;
  static constexpr std::uint8_t minimumMovedAhead = 2;
  static constexpr std::uint8_t theEnd = 0xFF;
  static constexpr std::uint8_t theError = 0xFE;
  static constexpr std::size_t consumers = 2;
  // Those that may end the stream: each consumer, the producer and the canceller. Consumer 0 is the one cancelled.
  static constexpr std::size_t producer = consumers;
  static constexpr std::size_t canceller = consumers + 1;
  static constexpr std::size_t actors = consumers + 2;

  using Numbers = std::array<std::uint8_t, elements>;  // From the front; 0 for none.

  struct Consumer {
    At at;
    Wait wait;
    Handler handler;
    std::uint8_t answer;
    /// The last element that it got.
    std::uint8_t last;
    std::uint8_t isGone;
    friend bool operator==(const Consumer&, const Consumer&) = default;
  };

  struct State {
    Phase phase;
    std::uint8_t hasHandler;
    std::uint8_t hasError;
    Numbers buffer;
    Numbers ahead;
    std::array<std::uint8_t, consumers> waiters;  // Numbers plus 1.
    std::array<Consumer, consumers> consumer;
    std::array<Ending, actors> ending;
    std::array<std::array<std::uint8_t, consumers>, actors> resumes;
    Producer producerAt;
    std::uint8_t yielded;
    std::uint8_t served;  // The waiter that a yield has taken, plus 1.
    Canceller cancellerAt;
    std::uint8_t isCancelled;
    std::uint8_t iterators;
    /// Once both iterators are gone, the consumers' end of the stream is.
    std::uint8_t isDropped;
    std::uint8_t handlerCalls;
    std::uint8_t errors;
    std::uint8_t received;  // A bit for each element.
    std::uint8_t lost;      // Reported as dropped or refused, or destroyed with the last iterator.
    std::uint8_t rule;
    friend bool operator==(const State&, const State&) = default;
  };

  enum Rule : std::uint8_t {
    holds,
    resumedTwice,
    resumedAfterItsEnd,
    emptyAnswer,
    outOfOrder,
    takenTwice,
    usedAfterEnd,
  };

  Variant variant;
  Policy policy = Policy::unbounded;
  Scenario scenario = Scenario::all;

  [[nodiscard]] State initial() const {
    State state{};
    state.hasHandler = 1;
    state.iterators = consumers;
    return state;
  }

  template <typename Emit>
  void steps(const State& state, Emit emit) const {
    for (std::size_t actor = 0; actor < actors; ++actor) {
      if (state.ending[actor] != Ending::none) {
        State next = state;
        stepOfEnding(next, actor);
        emit(std::to_string(actor) + " ends the stream: " + std::to_string(int(state.ending[actor])), next);
      } else if (actor == producer) {
        emitStep(state, emit, "producer", state.producerAt, [&](State& next) { return stepOfProducer(next); });
      } else if (actor == canceller) {
        emitStep(state, emit, "canceller", state.cancellerAt, [&](State& next) { return stepOfCanceller(next); });
      } else {
        stepsOfConsumer(state, actor, emit);
      }
    }
  }

  // The lists, from the front.

  template <std::size_t size>
  static std::uint8_t takeFront(std::array<std::uint8_t, size>& list) {
    const std::uint8_t front = list[0];
    std::ranges::rotate(list, list.begin() + 1);
    list.back() = 0;
    return front;
  }
  template <std::size_t size>
  static void append(std::array<std::uint8_t, size>& list, std::uint8_t entry) {
    *std::ranges::find(list, 0) = entry;
  }
  static std::uint8_t count(const Numbers& list) {
    return static_cast<std::uint8_t>(std::ranges::count_if(list, [](std::uint8_t entry) { return entry != 0; }));
  }
  static std::uint8_t bit(std::uint8_t element) { return static_cast<std::uint8_t>(1U << (element - 1U)); }

  // `finish`, `cancel` and `terminate`, by any actor.

  static bool isError(std::size_t actor) { return actor == producer; }

  void stepOfEnding(State& state, std::size_t actor) const;
  void begin(State& state, std::size_t actor) const;
  /// `Suspension::resume`.
  static void resume(State& state, std::uint8_t waiter);
  bool stepOfProducer(State& state) const;
  void afterYield(State& state) const;
  void yield(State& state) const;
  void keep(State& state, std::uint8_t element) const;
  bool stepOfCanceller(State& state) const;
  template <typename Emit>
  void stepsOfConsumer(const State& state, std::size_t self, Emit& emit) const {
    const At at = state.consumer[self].at;
    const std::string name = "consumer " + std::to_string(self) + " at " + std::to_string(static_cast<int>(at));
    if (at == At::looksAhead || at == At::looksAheadAgain) {
      // The count without a lock: its value, or an older one.
      for (const bool seesSome : {false, true}) {
        State next = state;
        next.consumer[self].at = static_cast<At>(static_cast<int>(at) + (seesSome ? 1 : 2));
        emit(name + (seesSome ? ", sees some" : ", sees none"), next);
      }
      return;
    }
    State next = state;
    if (stepOfConsumer(next, self)) emit(name, next);
  }

  bool stepOfConsumer(State& state, std::size_t self) const;
  void lock(State& state, Consumer& consumer, std::size_t self) const;
  /// The end of `next()`. It waits for a handler that runs, and then takes the answer.
  bool removeHandler(State& state, Consumer& consumer) const;
  static bool drop(State& state, Consumer& consumer, std::size_t self);
  [[nodiscard]] std::string wrong(const State& state) const;
  [[nodiscard]] bool mayEnd(const State& state) const;
};

}  // namespace Tessaly::Tests
