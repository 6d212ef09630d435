// SPDX-License-Identifier: MIT
#include "tests/models/MergeModel.hpp"

#include <algorithm>
#include <utility>

namespace Tessaly::Tests {

bool MergeModel::resume(State& state, Wait& wait) {
  const Wait before = std::exchange(wait, Wait::resumed);
  if (before == Wait::none) state.rule = resumedAfterItsEnd;
  if (before == Wait::resumed) state.rule = resumedTwice;
  return before == Wait::suspended;
}

void MergeModel::act(State& state, std::size_t actor) const {
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

void MergeModel::answerDemand(State& state, std::size_t number, std::uint8_t isWanted) {
  Child& child = state.child[number];
  child.isWanted = isWanted;
  if (resume(state, child.wait)) child.at = isWanted != 0 ? ChildAt::fetches : ChildAt::ends;
}

void MergeModel::stopAll(State& state, std::size_t actor) const {
  state.isOver = 1;
  state.buffer = {};
  state.hasError = 0;
  then(state, actor, takeDemands);
  if (variant == Variant::stopForgetsConsumer) return;
  if (std::exchange(state.hasAnswer, 0) != 0) then(state, actor, theEnd);
}

bool MergeModel::stepOfChild(State& state, std::size_t number) const {
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

void MergeModel::awaitDemand(State& state, std::size_t number) const {
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

void MergeModel::deliver(State& state, std::size_t number) const {
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

void MergeModel::end(State& state, std::size_t number) const {
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

bool MergeModel::stepOfConsumer(State& state) const {
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

void MergeModel::look(State& state) const {
  if (state.isCancelled == 0 || state.ends != 0) {
    state.at = ConsumerAt::looksForTheEnd;
    return;
  }
  if (state.hasStarted == 0) state.hasStarted = 2;
  then(state, consumer, stop);
  takeAnswer(state, theEnd);
}

void MergeModel::ask(State& state) const {
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

void MergeModel::takeAnswer(State& state, std::uint8_t answer) const {
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

bool MergeModel::stepOfCanceller(State& state) const {
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

std::string MergeModel::wrong(const State& state) const {
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

bool MergeModel::mayEnd(const State& state) const {
  return state.at == ConsumerAt::done && state.cancellerAt == Canceller::done &&
         std::ranges::all_of(state.child, [](const Child& child) {
           return child.at == ChildAt::done || child.at == ChildAt::notStarted;
         });
}

}  // namespace Tessaly::Tests
