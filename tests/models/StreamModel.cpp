// SPDX-License-Identifier: MIT
#include "tests/models/StreamModel.hpp"

#include <algorithm>
#include <utility>

namespace Tessaly::Tests {

void StreamModel::stepOfEnding(State& state, std::size_t actor) const {
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

void StreamModel::begin(State& state, std::size_t actor) const {
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

void StreamModel::resume(State& state, std::uint8_t waiter) {
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

bool StreamModel::stepOfProducer(State& state) const {
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

void StreamModel::afterYield(State& state) const {
  state.served = 0;
  const Producer end = scenario == Scenario::silentProducer ? Producer::done : Producer::finishes;
  state.producerAt = state.yielded == elements ? end : Producer::yields;
}

void StreamModel::yield(State& state) const {
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

void StreamModel::keep(State& state, std::uint8_t element) const {
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

bool StreamModel::stepOfCanceller(State& state) const {
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

bool StreamModel::stepOfConsumer(State& state, std::size_t self) const {
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

void StreamModel::lock(State& state, Consumer& consumer, std::size_t self) const {
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

bool StreamModel::removeHandler(State& state, Consumer& consumer) const {
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

bool StreamModel::drop(State& state, Consumer& consumer, std::size_t self) {
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

std::string StreamModel::wrong(const State& state) const {
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

bool StreamModel::mayEnd(const State& state) const {
  return state.producerAt == Producer::done && state.cancellerAt == Canceller::done &&
         std::ranges::all_of(state.consumer, [](const Consumer& consumer) { return consumer.at == At::done; }) &&
         std::ranges::all_of(state.ending, [](Ending ending) { return ending == Ending::none; });
}

}  // namespace Tessaly::Tests
