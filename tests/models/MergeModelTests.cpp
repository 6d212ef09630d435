// SPDX-License-Identifier: MIT
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

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <string>
#include <utility>

#include "tests/models/Exploration.hpp"

namespace Tessaly::Tests {
namespace {

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
  /// What the two bases do. One that never yields ends only when it is cancelled.
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

  /// What an actor still does before its next step of its own. An answer is its element, the end or the error.
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
      State next = state;
      if (state.todo[actor][0] != nothing) {
        act(next, actor);
        emit("actor " + std::to_string(actor) + " does " + std::to_string(state.todo[actor][0]), next);
      } else if (actor < children) {
        stepsOfChild(state, actor, emit);
      } else if (actor == consumer) {
        if (stepOfConsumer(next)) emit("consumer at " + std::to_string(static_cast<int>(state.at)), next);
      } else {
        if (stepOfCanceller(next)) emit("canceller at " + std::to_string(static_cast<int>(state.cancellerAt)), next);
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
  static bool resume(State& state, Wait& wait) {
    const Wait before = std::exchange(wait, Wait::resumed);
    if (before == Wait::none) state.rule = resumedAfterItsEnd;
    if (before == Wait::resumed) state.rule = resumedTwice;
    return before == Wait::suspended;
  }

  void act(State& state, std::size_t actor) const {
    const std::uint8_t action = state.todo[actor][0];
    std::ranges::rotate(state.todo[actor], state.todo[actor].begin() + 1);
    state.todo[actor].back() = nothing;
    switch (action) {
      case stop:
        stopAll(state, actor);
        break;
      case takeDemands:  // `cancelChildren`
        for (const std::size_t child : {1U, 0U}) {
          if (std::exchange(state.child[child].hasDemand, 0) != 0) first(state, actor, of(noToFirst, child));
        }
        if (state.areChildrenSet == 0) break;
        first(state, actor, cancelSecond);
        first(state, actor, cancelFirst);
        break;
      case cancelFirst:
      case cancelSecond:
        state.child[action - cancelFirst].isCancelled = 1;
        break;
      case yesToFirst:
      case yesToSecond:
        answerDemand(state, action - yesToFirst, 1);
        break;
      case noToFirst:
      case noToSecond:
        answerDemand(state, action - noToFirst, 0);
        break;
      default:
        state.answer = action;
        if (resume(state, state.wait)) state.at = ConsumerAt::removesHandler;
    }
  }

  static void answerDemand(State& state, std::size_t number, std::uint8_t isWanted) {
    Child& child = state.child[number];
    child.isWanted = isWanted;
    if (resume(state, child.wait)) child.at = isWanted != 0 ? ChildAt::fetches : ChildAt::ends;
  }

  void stopAll(State& state, std::size_t actor) const {
    state.isOver = 1;
    state.buffer = {};
    state.hasError = 0;
    then(state, actor, takeDemands);
    if (variant == Variant::stopForgetsConsumer) return;
    if (std::exchange(state.hasAnswer, 0) != 0) then(state, actor, theEnd);
  }

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

  bool stepOfChild(State& state, std::size_t number) const {
    Child& child = state.child[number];
    switch (child.at) {
      case ChildAt::makesIterator:
        child.at = ChildAt::awaitsDemand;
        return true;
      case ChildAt::awaitsDemand:
        awaitDemand(state, number);
        return true;
      case ChildAt::commits:
        if (child.wait == Wait::armed) {
          child.wait = Wait::suspended;
          child.at = ChildAt::asleep;
        } else {
          child.at = child.isWanted != 0 ? ChildAt::fetches : ChildAt::ends;
        }
        return true;
      case ChildAt::delivers:
        deliver(state, number);
        return true;
      case ChildAt::ends:
        end(state, number);
        return true;
      default:
        return false;
    }
  }

  void awaitDemand(State& state, std::size_t number) const {
    Child& child = state.child[number];
    child.wait = Wait::armed;
    child.at = ChildAt::commits;
    const bool isNeeded = state.isOver == 0 || variant == Variant::waitsAlthoughOver;
    const bool isAsked = child.asked == Asked::asked && variant != Variant::waitsAlthoughAsked;
    if (isNeeded && !isAsked) {
      child.hasDemand = 1;
      return;
    }
    child.asked = Asked::fetching;
    then(state, number, of(isNeeded ? yesToFirst : noToFirst, number));
  }

  void deliver(State& state, std::size_t number) const {
    Child& child = state.child[number];
    child.at = ChildAt::awaitsDemand;
    if (state.isOver != 0) return;
    const std::uint8_t element = elementOf(number, child.given);
    state.accepted |= bit(element);
    if (state.hasAnswer == 0) {
      *std::ranges::find(state.buffer, nothing) = element;
      child.asked = Asked::hasArrived;
      return;
    }
    child.asked = variant == Variant::keepsChildBusy ? Asked::hasArrived : Asked::idle;
    state.hasAnswer = 0;
    then(state, number, element);
  }

  void end(State& state, std::size_t number) const {
    Child& child = state.child[number];
    child.at = ChildAt::done;
    if (state.isOver != 0) return;
    ++state.ended;
    state.isOver = child.fails != 0 || state.ended == children ? 1 : 0;
    if (state.isOver == 0) return;
    const bool isAwaited = std::exchange(state.hasAnswer, 0) != 0;
    if (!isAwaited) state.hasError = child.fails;
    if (variant != Variant::errorCancelsNoChild) then(state, number, takeDemands);
    if (isAwaited) then(state, number, child.fails != 0 ? theError : theEnd);
  }

  bool stepOfConsumer(State& state) const {
    switch (state.at) {
      case ConsumerAt::looks:
        look(state);
        return true;
      case ConsumerAt::looksForTheEnd: {
        const bool isEmpty = state.isOver != 0 && state.buffer[0] == nothing && state.hasError == 0;
        const bool hasEnded = isEmpty && variant != Variant::trustsThatChildrenStarted;
        if (hasEnded) takeAnswer(state, theEnd);
        if (!hasEnded) state.at = state.hasStarted == 0 ? ConsumerAt::starts : ConsumerAt::addsHandler;
        return true;
      }
      case ConsumerAt::starts:
        state.hasStarted = 1;
        for (Child& child : state.child) child.at = ChildAt::makesIterator;
        state.at = ConsumerAt::setsChildren;
        return true;
      case ConsumerAt::setsChildren:
        state.areChildrenSet = 1;
        state.at = ConsumerAt::addsHandler;
        return true;
      case ConsumerAt::addsHandler:
        if (state.areChildrenSet == 0) state.rule = childrenMissing;
        if (state.isCancelled != 0) {
          then(state, consumer, stop);
        } else {
          state.handler = Handler::added;
        }
        state.at = ConsumerAt::asks;
        return true;
      case ConsumerAt::asks:
        ask(state);
        return true;
      case ConsumerAt::commits:
        state.at = state.wait == Wait::armed ? ConsumerAt::asleep : ConsumerAt::removesHandler;
        if (state.wait == Wait::armed) state.wait = Wait::suspended;
        return true;
      case ConsumerAt::removesHandler:
        if (state.handler == Handler::running) return false;
        state.handler = Handler::removed;
        state.wait = Wait::none;
        takeAnswer(state, std::exchange(state.answer, nothing));
        return true;
      case ConsumerAt::drops:
        if (leaves != Leaves::never) then(state, consumer, stop);
        state.at = ConsumerAt::done;
        return true;
      default:
        return false;
    }
  }

  /// The beginning of `next()`. Another task, which is not cancelled, makes the request after the end.
  void look(State& state) const {
    if (state.isCancelled == 0 || state.ends != 0) {
      state.at = ConsumerAt::looksForTheEnd;
      return;
    }
    if (state.hasStarted == 0) state.hasStarted = 2;
    then(state, consumer, stop);
    takeAnswer(state, theEnd);
  }

  void ask(State& state) const {
    state.wait = Wait::armed;
    state.at = ConsumerAt::commits;
    ++state.asks;
    std::uint8_t answer = nothing;
    const bool looksAtEnd = variant == Variant::endOvertakesElements && state.isOver != 0;
    if (state.buffer[0] != nothing && !looksAtEnd) {
      answer = state.buffer[0];
      state.buffer = {state.buffer[1], nothing};
      state.child[childOf(answer)].asked = Asked::idle;
    } else if (state.isOver != 0) {
      answer = std::exchange(state.hasError, 0) != 0 ? theError : theEnd;
    } else {
      state.hasAnswer = 1;
    }
    for (std::size_t number = 0; number < children; ++number) {
      Child& child = state.child[number];
      if (child.asked != Asked::idle) continue;
      child.asked = child.hasDemand != 0 ? Asked::fetching : Asked::asked;
      if (std::exchange(child.hasDemand, 0) != 0) then(state, consumer, of(yesToFirst, number));
    }
    if (answer != nothing) then(state, consumer, answer);
  }

  void takeAnswer(State& state, std::uint8_t answer) const {
    state.at = ConsumerAt::looks;
    if (answer == theError) {
      ++state.errors;
    } else if (answer == theEnd) {
      if (++state.ends == 2) state.at = ConsumerAt::drops;  // The end comes as often as it is asked for.
    } else {
      const auto later = static_cast<std::uint8_t>(~(bit(answer) - 1U));
      const auto ofChild = static_cast<std::uint8_t>(((1U << elementsOfOne) - 1U) << (childOf(answer) * elementsOfOne));
      if ((state.received & later & ofChild) != 0 || state.errors != 0 || state.ends != 0) state.rule = outOfOrder;
      state.received |= bit(answer);
      if (leaves == Leaves::afterOneElement) state.at = ConsumerAt::drops;
    }
  }

  bool stepOfCanceller(State& state) const {
    switch (state.cancellerAt) {
      case Canceller::marks:
        state.isCancelled = 1;
        state.cancellerAt = Canceller::takesHandler;
        return true;
      case Canceller::takesHandler:
        state.cancellerAt = state.handler == Handler::added ? Canceller::stops : Canceller::done;
        if (state.handler == Handler::added) state.handler = Handler::running;
        return true;
      case Canceller::stops:
        then(state, canceller, stop);
        state.cancellerAt = Canceller::returns;
        return true;
      case Canceller::returns:
        state.handler = Handler::removed;
        state.cancellerAt = Canceller::done;
        return true;
      case Canceller::done:
        return false;
    }
    return false;
  }

  [[nodiscard]] std::string wrong(const State& state) const {
    switch (state.rule) {
      case resumedTwice:
        return "a continuation was resumed twice";
      case resumedAfterItsEnd:
        return "a continuation was resumed after its end";
      case outOfOrder:
        return "an element came out of order";
      case childrenMissing:
        return "the children were used before they were set";
      case holds:
        break;
    }
    if (state.errors > 1) return "the error came twice";
    for (const Child& child : state.child) {
      if (child.fetches > state.asks) return "a base was asked before the consumer asked";
    }
    if (!mayEnd(state) || cancellation != Cancellation::never || leaves == Leaves::afterOneElement) return "";
    if (state.received != state.accepted) return "an element was lost";
    if (bases == Bases::end && state.received != (1U << (children * elementsOfOne)) - 1) return "the end came early";
    if (failingBase() != children && state.errors != 1) return "the error was lost";
    return "";
  }

  [[nodiscard]] bool mayEnd(const State& state) const {
    return state.at == ConsumerAt::done && state.cancellerAt == Canceller::done &&
           std::ranges::all_of(state.child, [](const Child& child) {
             return child.at == ChildAt::done || child.at == ChildAt::notStarted;
           });
  }
};

using Variant = MergeModel::Variant;
using Bases = MergeModel::Bases;
using Leaves = MergeModel::Leaves;
using Cancellation = MergeModel::Cancellation;

void holds(Leaves leaves, Cancellation cancellation) {
  for (const Bases bases :
       {Bases::end, Bases::secondFails, Bases::secondNeverYields, Bases::firstFailsAndSecondNeverYields}) {
    const bool needsCancellation = bases == Bases::secondNeverYields && leaves != Leaves::afterOneElement;
    if (cancellation == Cancellation::never && needsCancellation) continue;
    const Exploration result = explore(MergeModel{Variant::asWritten, bases, leaves, cancellation});
    EXPECT_EQ(result.violation, "") << static_cast<int>(bases) << ": " << result.description();
    EXPECT_GT(result.states, 100U);
  }
}

TEST(MergeModel, ElementsArriveOnceThenTheErrorThenTheEnd) {
  holds(Leaves::never, Cancellation::never);
  holds(Leaves::atTheEnd, Cancellation::never);
}

TEST(MergeModel, CancellationMayComeAtAnyStep) { holds(Leaves::never, Cancellation::ofTheConsumer); }

TEST(MergeModel, IteratorMayBeDroppedAfterAnElement) {
  holds(Leaves::afterOneElement, Cancellation::never);
  holds(Leaves::afterOneElement, Cancellation::ofTheConsumer);
}

std::string violationOf(Variant variant, Bases bases, Cancellation cancellation = Cancellation::never) {
  return explore(MergeModel{variant, bases, Leaves::never, cancellation}).violation;
}

TEST(MergeModel, CatchesADemandThatIsMissed) {
  EXPECT_EQ(violationOf(Variant::waitsAlthoughAsked, Bases::end), "nothing can go on");
}

TEST(MergeModel, CatchesAChildThatWaitsAfterTheEnd) {
  EXPECT_EQ(violationOf(Variant::waitsAlthoughOver, Bases::secondFails), "nothing can go on");
}

TEST(MergeModel, CatchesAChildThatIsNeverAskedAgain) {
  EXPECT_EQ(violationOf(Variant::keepsChildBusy, Bases::end), "nothing can go on");
}

TEST(MergeModel, CatchesAnEndThatOvertakesElements) {
  EXPECT_EQ(violationOf(Variant::endOvertakesElements, Bases::secondFails), "an element was lost");
}

TEST(MergeModel, CatchesAnErrorThatLeavesTheOtherChildWaiting) {
  EXPECT_EQ(violationOf(Variant::errorCancelsNoChild, Bases::firstFailsAndSecondNeverYields), "nothing can go on");
}

TEST(MergeModel, CatchesAConsumerThatIsLeftWaiting) {
  EXPECT_EQ(violationOf(Variant::stopForgetsConsumer, Bases::end, Cancellation::ofTheConsumer), "nothing can go on");
}

TEST(MergeModel, CatchesARequestAfterACancelledFirstOne) {
  EXPECT_EQ(violationOf(Variant::trustsThatChildrenStarted, Bases::end, Cancellation::ofTheConsumer),
            "the children were used before they were set");
}

}  // namespace
}  // namespace Tessaly::Tests
