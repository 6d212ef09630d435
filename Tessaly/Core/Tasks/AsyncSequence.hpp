// SPDX-License-Identifier: MIT
// Component: Tessaly::Tasks
#pragma once

#include <concepts>
#include <exception>
#include <optional>
#include <utility>

#include "Tessaly/Core/Base/Never.hpp"
#include "Tessaly/Core/Tasks/Async.hpp"
#include "Tessaly/Core/Tasks/WithIsolation.hpp"

namespace Tessaly::inline v1 {

/// The iterator of an asynchronous sequence. An iterator has `next()` and `next(isolation)`. The second function awaits
/// the element in the given isolation. Awaiting the result of either function gives a `std::optional<Element>`, which
/// is empty after the last element.
template <typename Iterator, typename Element>
concept AsyncIteratorOf = requires(Iterator& iterator, Isolation isolation) {
  iterator.next();
  { iterator.next(isolation) } -> std::same_as<Async<std::optional<Element>>>;
};

/// A sequence whose elements are awaited, one at a time. It has `Element`, `Failure` and `makeAsyncIterator()`.
/// `Failure` is `Never` for a sequence that cannot fail, otherwise the type of its exception; `std::exception_ptr`
/// stands for any type.
///
///     template <AsyncSequence Sequence>
///     Async<int> countElements(Sequence sequence) {
///       int count = 0;
///       auto iterator = sequence.makeAsyncIterator();
///       while (co_await iterator.next()) ++count;
///       co_return count;
///     }
template <typename Sequence>
concept AsyncSequence = requires(const Sequence& sequence) {
  typename Sequence::Element;
  typename Sequence::Failure;
  { sequence.makeAsyncIterator() } -> AsyncIteratorOf<typename Sequence::Element>;
};

/// The iterator that a sequence makes.
template <AsyncSequence Sequence>
using AsyncIterator = decltype(std::declval<const Sequence&>().makeAsyncIterator());

namespace detail {

/// Implements `next(isolation)` for an iterator that has `next()`: awaits `next()` in the given isolation, and then
/// returns to the caller's isolation.
template <typename Element, typename Iterator>
Async<std::optional<Element>> nextIn(Iterator* iterator, Isolation isolation) {
  Executor* const caller = threadState.task->executor();
  Outcome<std::optional<Element>> outcome;
  co_await Hop(isolation.executor());
  try {
    outcome.setValue(co_await iterator->next());
  } catch (...) {
    outcome.setError(std::current_exception());
  }
  co_await Hop(caller);
  co_return outcome.take();
}

}  // namespace detail
}  // namespace Tessaly::inline v1
