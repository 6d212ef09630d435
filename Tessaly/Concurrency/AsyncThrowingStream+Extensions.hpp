// SPDX-License-Identifier: MIT
// Component: Tessaly::Concurrency
#pragma once

#include <concepts>
#include <exception>
#include <utility>

#include "Tessaly/Concurrency/detail/BackgroundTask.hpp"
#include "Tessaly/Core/Base/CallNotification.hpp"
#include "Tessaly/Core/Base/Error.hpp"
#include "Tessaly/Core/Tasks/AsyncThrowingStream.hpp"

namespace Tessaly::inline v1 {

namespace detail {

template <typename Element, typename OnReceiveValue, typename OnTermination>
Async<void> passOn(AsyncThrowingStream<Element> source, typename AsyncThrowingStream<Element>::Continuation target,
                   OnReceiveValue onReceiveValue, OnTermination onTermination) {
  const auto end = [&](StreamTermination::Kind kind, std::exception_ptr told, std::exception_ptr error) {
    callNotification("A termination function", onTermination, StreamTermination{kind, std::move(told)});
    target.finish(std::move(error));
  };
  try {
    auto iterator = source.makeAsyncIterator();
    while (auto element = co_await iterator.next()) {
      callNotification("A function that receives elements", onReceiveValue, std::as_const(*element));
      target.yield(std::move(*element));
    }
    end(StreamTermination::Kind::finished, nullptr, nullptr);
  } catch (const CancellationError&) {
    end(StreamTermination::Kind::cancelled, nullptr, std::make_exception_ptr(CancellationError()));
    end(StreamTermination::Kind::finished, nullptr, nullptr);
  } catch (...) {
    end(StreamTermination::Kind::finished, std::current_exception(), std::current_exception());
  }
}

}  // namespace detail

/// A new stream with the elements of `stream`, the source. `onReceiveValue` is called for each element before the
/// element can be received. `onTermination` is called at the end of the source. Then the new stream ends, unless the
/// cancellation of a consumer has already ended it. A separate task, which starts at once, reads ahead into an
/// unbounded buffer.
///
/// **When the source fails with a `CancellationError`, `onTermination` is called twice**: with `cancelled`, then with
/// `finished` and no error. Between the two calls, the new stream fails with a new `CancellationError`. For any other
/// error, `onTermination` gets `finished` with that error. Cancelling a consumer of the new stream ends only the new
/// stream.
///
/// The functions are called one at a time, on any thread, and must not throw.
///
/// Thread contract: thread-safe.
template <typename Element, std::invocable<const Element&> OnReceiveValue,
          std::invocable<const StreamTermination&> OnTermination>
[[nodiscard]] AsyncThrowingStream<Element> handleElement(AsyncThrowingStream<Element> stream,
                                                         OnReceiveValue onReceiveValue, OnTermination onTermination) {
  return AsyncThrowingStream<Element>([&](AsyncThrowingStream<Element>::Continuation continuation) {
    detail::startBackgroundTask([stream = std::move(stream), continuation = std::move(continuation),
                                 onReceiveValue = std::move(onReceiveValue), onTermination = std::move(onTermination)] {
      return detail::passOn<Element, OnReceiveValue, OnTermination>(stream, continuation, onReceiveValue,
                                                                    onTermination);
    });
  });
}

}  // namespace Tessaly::inline v1
