// SPDX-License-Identifier: MIT
// Component: Tessaly::Tasks
#pragma once

#include "Tessaly/Core/Tasks/BasicAsyncStream.hpp"

namespace Tessaly::inline v1 {

/// An asynchronous sequence that cannot fail, fed from outside through a continuation.
///
/// The producer yields from any thread and never waits; elements that nobody waits for are buffered as the policy says.
/// Buffered elements are delivered even after the end. It ends when the producer finishes it, when a task that consumes
/// it is cancelled (for all its iterators), or when the last stream value and iterator are dropped; the termination
/// handler is told once. Several tasks may consume one stream: each element goes to exactly one of them.
///
/// A copy names the same stream. For a stream that may fail, see `AsyncThrowingStream`.
///
/// Thread contract: thread-safe; an iterator is thread-compatible.
///
///     AsyncStream<int> numbers([](AsyncStream<int>::Continuation continuation) {
///       for (int number : {1, 2, 3}) continuation.yield(number);
///       continuation.finish();
///     });
///     auto iterator = numbers.makeAsyncIterator();
///     while (auto number = co_await iterator.next()) show(*number);
template <typename Element>
using AsyncStream = BasicAsyncStream<Element, Never>;

}  // namespace Tessaly::inline v1
