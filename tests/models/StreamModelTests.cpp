// SPDX-License-Identifier: MIT
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

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <string>
#include <utility>

#include "tests/models/Exploration.hpp"

namespace Tessaly::Tests {
namespace {

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
        State next = state;
        if (stepOfProducer(next)) emit("producer at " + std::to_string(int(state.producerAt)), next);
      } else if (actor == canceller) {
        State next = state;
        if (stepOfCanceller(next)) emit("canceller at " + std::to_string(int(state.cancellerAt)), next);
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

  void stepOfEnding(State& state, std::size_t actor) const {
    Ending& ending = state.ending[actor];
    if (actor == canceller && state.consumer[0].isGone != 0) state.rule = usedAfterEnd;
    switch (ending) {
      case Ending::begins:
        begin(state, actor);
        break;
      case Ending::callsHandler:
        ++state.handlerCalls;
        ending = Ending::takesWaiters;
        break;
      case Ending::takesWaiters:
        state.phase = Phase::terminal;
        state.resumes[actor] = std::exchange(state.waiters, {});
        if (state.resumes[actor][0] != 0) {
          for (const std::uint8_t waiter : state.resumes[actor]) {
            if (waiter != 0) state.consumer[waiter - 1U].answer = theEnd;
          }
          if (std::exchange(state.hasError, 0) != 0) state.consumer[state.resumes[actor][0] - 1U].answer = theError;
        }
        ending = state.resumes[actor][0] != 0 ? Ending::resumes : Ending::none;
        break;
      default:
        resume(state, takeFront(state.resumes[actor]));
        if (state.resumes[actor][0] == 0) ending = Ending::none;
    }
  }

  void begin(State& state, std::size_t actor) const {
    Ending& ending = state.ending[actor];
    ending = Ending::none;
    const bool mayEndAgain = variant == Variant::endsTwice && state.phase != Phase::terminal;
    if (isError(actor)) {
      if (state.phase != Phase::open && state.phase != Phase::cancelling && !mayEndAgain) return;
      state.hasError = 1;
      const Phase before = std::exchange(state.phase, Phase::finishing);
      if (before == Phase::cancelling && !mayEndAgain) return;
    } else {
      if (state.phase != Phase::open && !mayEndAgain) return;
      state.phase = Phase::cancelling;
    }
    const bool calls = variant == Variant::endsTwice || std::exchange(state.hasHandler, 0) != 0;
    ending = calls ? Ending::callsHandler : Ending::takesWaiters;
  }

  /// `Suspension::resume`.
  static void resume(State& state, std::uint8_t waiter) {
    Consumer& consumer = state.consumer[waiter - 1U];
    switch (consumer.wait) {
      case Wait::none:
        state.rule = resumedAfterItsEnd;
        break;
      case Wait::resumed:
        state.rule = resumedTwice;
        break;
      case Wait::suspended:
        consumer.at = At::removesHandler;
        [[fallthrough]];
      case Wait::armed:
        consumer.wait = Wait::resumed;
    }
  }

  bool stepOfProducer(State& state) const {
    switch (state.producerAt) {
      case Producer::yields:
        yield(state);
        return true;
      case Producer::handsOver:  // Only in the variant that resumes first.
        state.consumer[state.served - 1U].answer = state.yielded;
        afterYield(state);
        return true;
      case Producer::resumes:
        resume(state, state.served);
        if (variant == Variant::resumesBeforeHandingOver) {
          state.producerAt = Producer::handsOver;
        } else {
          afterYield(state);
        }
        return true;
      case Producer::finishes:
        state.ending[producer] = Ending::begins;
        state.producerAt = Producer::done;
        return true;
      case Producer::done:
        return false;
    }
    return false;
  }

  void afterYield(State& state) const {
    state.served = 0;
    const Producer end = scenario == Scenario::silentProducer ? Producer::done : Producer::finishes;
    state.producerAt = state.yielded == elements ? end : Producer::yields;
  }

  void yield(State& state) const {
    const std::uint8_t element = ++state.yielded;
    if (state.phase != Phase::open) {
      state.lost |= bit(element);
      afterYield(state);
    } else if (state.waiters[0] == 0) {
      keep(state, element);
      afterYield(state);
    } else {
      state.served = state.waiters[0];
      if (variant != Variant::leavesWaiterInList) takeFront(state.waiters);
      if (variant != Variant::resumesBeforeHandingOver) state.consumer[state.served - 1U].answer = element;
      state.producerAt = Producer::resumes;
    }
  }

  void keep(State& state, std::uint8_t element) const {
    const std::uint8_t limit = policy == Policy::unbounded ? elements : policy == Policy::oldest0 ? 0 : 1;
    if (count(state.buffer) < limit) {
      append(state.buffer, element);
    } else if (policy == Policy::newest1) {
      state.lost |= bit(takeFront(state.buffer));
      append(state.buffer, element);
    } else {
      state.lost |= bit(element);
    }
  }

  bool stepOfCanceller(State& state) const {
    Consumer& consumer = state.consumer[0];
    switch (state.cancellerAt) {
      case Canceller::marks:
        state.isCancelled = 1;
        state.cancellerAt = Canceller::takesHandler;
        return true;
      case Canceller::takesHandler:
        if (consumer.handler == Handler::added) {
          consumer.handler = Handler::running;
          state.cancellerAt = Canceller::calls;
        } else {
          state.cancellerAt = Canceller::done;
        }
        return true;
      case Canceller::calls:
        if (consumer.isGone != 0) state.rule = usedAfterEnd;
        state.ending[canceller] = Ending::begins;
        state.cancellerAt = Canceller::returns;
        return true;
      case Canceller::returns:
        if (consumer.handler == Handler::running) consumer.handler = Handler::removed;
        state.cancellerAt = Canceller::done;
        return true;
      case Canceller::done:
        return false;
    }
    return false;
  }

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

  bool stepOfConsumer(State& state, std::size_t self) const {
    Consumer& consumer = state.consumer[self];
    const bool isCancelled = self == 0 && state.isCancelled != 0;
    switch (consumer.at) {
      case At::ready:
        if (isCancelled) state.ending[self] = Ending::begins;
        consumer.at = At::looksAhead;
        return true;
      case At::takesAhead:
      case At::takesAheadAgain:
        if (state.ahead[0] == 0) {
          consumer.at = static_cast<At>(static_cast<int>(consumer.at) + 1);
        } else {
          consumer.answer = takeFront(state.ahead);
          consumer.at = At::removesHandler;
        }
        return true;
      case At::locks:
      case At::locksAgain:
        lock(state, consumer, self);
        return true;
      case At::arms:
        consumer.wait = Wait::armed;
        consumer.at = At::addsHandler;
        return true;
      case At::addsHandler:
        if (isCancelled && variant != Variant::missesEarlyCancellation) {
          state.ending[self] = Ending::begins;
        } else {
          consumer.handler = Handler::added;
        }
        consumer.at = At::looksAheadAgain;
        return true;
      case At::commits:
        if (consumer.wait == Wait::armed || variant == Variant::sleepsAlthoughResumed) {
          consumer.wait = Wait::suspended;
          consumer.at = At::asleep;
        } else {
          consumer.at = At::removesHandler;
        }
        return true;
      case At::removesHandler:
        return removeHandler(state, consumer);
      default:
        return drop(state, consumer, self);
    }
  }

  void lock(State& state, Consumer& consumer, std::size_t self) const {
    const bool mayWait = consumer.at == At::locksAgain;
    if (state.ahead[0] != 0 && variant != Variant::overtakesElementsAhead) {
      consumer.at = mayWait ? At::looksAheadAgain : At::looksAhead;
      return;
    }
    const bool looks = !mayWait || variant != Variant::waitsWithoutLook;
    if (looks && policy == Policy::unbounded && count(state.buffer) >= minimumMovedAhead && state.ahead[0] == 0) {
      std::swap(state.ahead, state.buffer);
      consumer.answer = takeFront(state.ahead);
    } else if (looks && state.buffer[0] != 0) {
      consumer.answer = takeFront(state.buffer);
    } else if (looks && state.phase == Phase::terminal) {
      consumer.answer = std::exchange(state.hasError, 0) != 0 ? theError : theEnd;
    } else if (mayWait) {
      append(state.waiters, static_cast<std::uint8_t>(self + 1));
      consumer.at = At::commits;
      return;
    } else {
      consumer.at = At::arms;
      return;
    }
    consumer.at = At::removesHandler;
  }

  /// The end of `next()`. It waits for a handler that runs, and then takes the answer.
  bool removeHandler(State& state, Consumer& consumer) const {
    if (consumer.handler == Handler::running && variant != Variant::doesNotWaitForHandler) return false;
    consumer.handler = Handler::removed;
    consumer.wait = Wait::none;
    const std::uint8_t answer = std::exchange(consumer.answer, 0);
    const bool drops = answer == theEnd || scenario == Scenario::droppedIterators;
    if (answer == 0) state.rule = emptyAnswer;
    if (answer == theError) ++state.errors;
    if (answer != 0 && answer <= elements) {
      if ((state.received & bit(answer)) != 0) state.rule = takenTwice;
      if (answer < consumer.last) state.rule = outOfOrder;
      state.received |= bit(answer);
      consumer.last = answer;
    }
    consumer.at = drops ? At::dropsIterator : At::ready;
    return true;
  }

  static bool drop(State& state, Consumer& consumer, std::size_t self) {
    switch (consumer.at) {
      case At::dropsIterator:
        consumer.last = 0;
        consumer.isGone = 1;
        if (--state.iterators == 0) {
          state.ending[self] = Ending::begins;
          consumer.at = At::dropsElements;
        } else {
          consumer.at = At::done;
        }
        return true;
      case At::dropsElements:
        for (const Numbers& list : {state.buffer, state.ahead}) {
          for (const std::uint8_t element : list) {
            if (element != 0) state.lost |= bit(element);
          }
        }
        state.buffer = {};
        state.ahead = {};
        state.isDropped = 1;
        consumer.at = At::done;
        return true;
      default:
        return false;
    }
  }

  [[nodiscard]] std::string wrong(const State& state) const {
    switch (state.rule) {
      case resumedTwice:
        return "a consumer was resumed twice";
      case resumedAfterItsEnd:
        return "a waiter was used after its end";
      case emptyAnswer:
        return "a consumer was resumed without an answer";
      case outOfOrder:
        return "a consumer got elements out of order";
      case takenTwice:
        return "two consumers got one element";
      case usedAfterEnd:
        return "a handler used the stream after its scope";
      default:
        break;
    }
    if (state.handlerCalls > 1) return "the termination handler was called twice";
    if (state.errors > 1) return "the error came twice";
    if (state.isDropped != 0 && mayEnd(state)) {
      if ((state.received | state.lost) != (1U << elements) - 1) return "an element was lost";
      if ((state.received & state.lost) != 0) return "an element was taken and dropped";
      if (state.handlerCalls != 1) return "the termination handler was not called";
      if (scenario == Scenario::all && state.hasError != 0) return "the error was lost";
    }
    return "";
  }

  [[nodiscard]] bool mayEnd(const State& state) const {
    return state.producerAt == Producer::done && state.cancellerAt == Canceller::done &&
           std::ranges::all_of(state.consumer, [](const Consumer& consumer) { return consumer.at == At::done; }) &&
           std::ranges::all_of(state.ending, [](Ending ending) { return ending == Ending::none; });
  }
};

using Variant = StreamModel::Variant;
using Policy = StreamModel::Policy;
using Scenario = StreamModel::Scenario;

void holds(Scenario scenario) {
  for (const Policy policy : {Policy::unbounded, Policy::oldest1, Policy::newest1, Policy::oldest0}) {
    const Exploration result = explore(StreamModel{Variant::asWritten, policy, scenario});
    EXPECT_EQ(result.violation, "") << static_cast<int>(policy) << ": " << result.description();
    EXPECT_GT(result.states, 10'000U);
  }
}

TEST(StreamModel, EachElementArrivesOnceAndTheEndReachesEachConsumer) { holds(Scenario::all); }

TEST(StreamModel, IteratorsMayBeDroppedAtAnyStep) { holds(Scenario::droppedIterators); }

TEST(StreamModel, CancellationEndsTheStreamOfASilentProducer) { holds(Scenario::silentProducer); }

std::string violationOf(Variant variant, Scenario scenario = Scenario::all) {
  return explore(StreamModel{variant, Policy::unbounded, scenario}).violation;
}

TEST(StreamModel, CatchesAWaiterThatDoesNotLookAgain) {
  EXPECT_EQ(violationOf(Variant::waitsWithoutLook), "a consumer got elements out of order");
}

TEST(StreamModel, CatchesASleepAfterTheWakeUp) {
  EXPECT_EQ(violationOf(Variant::sleepsAlthoughResumed), "nothing can go on");
}

TEST(StreamModel, CatchesAWakeUpWithoutTheElement) {
  EXPECT_EQ(violationOf(Variant::resumesBeforeHandingOver), "a consumer was resumed without an answer");
}

TEST(StreamModel, CatchesAWaiterThatStaysInTheList) {
  EXPECT_EQ(violationOf(Variant::leavesWaiterInList), "a consumer was resumed twice");
}

TEST(StreamModel, CatchesAConsumerThatOvertakes) {
  EXPECT_EQ(violationOf(Variant::overtakesElementsAhead), "a consumer got elements out of order");
}

TEST(StreamModel, CatchesACancellationThatIsMissed) {
  EXPECT_EQ(violationOf(Variant::missesEarlyCancellation, Scenario::silentProducer), "nothing can go on");
}

TEST(StreamModel, CatchesASecondEnd) {
  EXPECT_EQ(violationOf(Variant::endsTwice), "the termination handler was called twice");
}

TEST(StreamModel, CatchesAConsumerThatLeavesItsHandlerRunning) {
  EXPECT_EQ(violationOf(Variant::doesNotWaitForHandler), "a handler used the stream after its scope");
}

}  // namespace
}  // namespace Tessaly::Tests
