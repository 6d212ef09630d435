// SPDX-License-Identifier: MIT
// Component: Tessaly::Tasks
#pragma once

#include <exception>

#include "Tessaly/Core/Tasks/BasicAsyncStream.hpp"

namespace Tessaly::inline v1 {

/// An asynchronous sequence that may end with an error, fed from outside through a continuation.
///
/// It is `AsyncStream` with one difference: `finish(error)` ends the stream with an error. `next()` throws the error
/// once, to one consumer, after the buffered elements. Later calls, and all other consumers, get the end. The
/// cancellation of a consumer ends an open stream without an error, unless the termination handler calls
/// `finish(error)`.
///
/// Thread contract: thread-safe; an iterator is thread-compatible.
///
///     AsyncThrowingStream<Line> lines([&](AsyncThrowingStream<Line>::Continuation continuation) {
///       reader.onLine([=](Line line) { continuation.yield(line); });
///       reader.onFailure([=](ReadError error) { continuation.finish(error); });
///     });
template <typename Element>
using AsyncThrowingStream = BasicAsyncStream<Element, std::exception_ptr>;

}  // namespace Tessaly::inline v1
