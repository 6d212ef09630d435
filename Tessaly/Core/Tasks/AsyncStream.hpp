// SPDX-License-Identifier: MIT
// Component: Tessaly::Tasks
#pragma once

#include "Tessaly/Core/Tasks/BasicAsyncStream.hpp"

namespace Tessaly::inline v1 {

/// An asynchronous sequence that cannot fail, fed from outside through a continuation.
///
/// The producer yields from any thread and never waits. Elements without a waiting consumer are buffered as the policy
/// says, and are delivered even after the end. Several tasks may consume one stream: each element goes to exactly one
/// of them.
///
/// The stream ends in three cases:
/// - the producer finishes it
/// - a consuming task is cancelled before or during `next()`
/// - all of its `AsyncStream` objects and iterators are destroyed
///
/// A cancellation ends the stream for all of its iterators. The termination handler is called once.
///
/// After 256 elements without a wait, but at most once in 1 ms, `next()` lets the other work of the executor run first.
/// So a stream that is never empty does not block the main thread's other work.
///
/// A copy refers to the same stream. For a stream that may fail, see `AsyncThrowingStream`.
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
