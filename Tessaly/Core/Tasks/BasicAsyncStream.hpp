// SPDX-License-Identifier: MIT
// Component: Tessaly::Tasks
#pragma once

#include <concepts>
#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <type_traits>
#include <utility>

#include "Tessaly/Core/Base/Never.hpp"
#include "Tessaly/Core/Tasks/BufferingPolicy.hpp"
#include "Tessaly/Core/Tasks/StreamTermination.hpp"
#include "Tessaly/Core/Tasks/detail/AsyncStreamIterator.hpp"
#include "Tessaly/Core/Tasks/detail/AsyncStreamStorage.hpp"

namespace Tessaly::inline v1 {

template <typename Root, typename Value>
class KeyPath;
enum class NSKeyValueObservingOptions : std::uint8_t;

/// An asynchronous sequence fed from outside through a continuation. Programs use its two aliases: `AsyncStream`, whose
/// `Failure` is `Never`, and `AsyncThrowingStream`. The comments of the two aliases give the rules.
///
/// Elements are moved, never copied. No code of an element runs under a lock of the stream. An element's move may
/// throw. If the move into the stream throws, the exception reaches the caller of `yield`, and the stream is unchanged.
/// If the move out of the stream throws, the exception reaches the caller of `next()`, and that element is lost. If the
/// move of a dropped element into the result of `yield` throws, the exception reaches the caller of `yield`.
///
/// Thread contract: thread-safe; an iterator is thread-compatible.
///
///     template <typename Failure>
///     Async<void> showAll(BasicAsyncStream<int, Failure> numbers) {
///       auto iterator = numbers.makeAsyncIterator();
///       while (auto number = co_await iterator.next()) show(*number);
///     }
template <typename StreamElement, typename StreamFailure>
class BasicAsyncStream {
 public:
  using Element = StreamElement;
  using Failure = StreamFailure;
  using AsyncIterator = detail::AsyncStreamIterator<Element>;
  using Termination = StreamTermination;

  /// The handle of the producer. Copies feed the same stream. Destroying all copies does not end the stream: the
  /// consumers continue to wait.
  ///
  /// Thread contract: thread-safe.
  ///
  ///     auto [clicks, continuation] = AsyncStream<Point>::makeStream();
  ///     button.onClick([continuation](Point point) { continuation.yield(point); });
  class Continuation {
   public:
    /// Gives the element to the consumer that has waited longest. If no consumer waits, buffers the element as the
    /// policy says. Never waits.
    YieldResult<Element> yield(Element element) const { return storage_->yield(std::move(element)); }
    /// Ends the stream: calls the termination handler on this thread, then wakes the consumers. Later calls do nothing.
    void finish() const { end(nullptr); }
    /// Ends the stream like `finish()`, but with an error. A null error ends the stream without an error. Only for
    /// streams that may fail.
    void finish(std::exception_ptr error) const
      requires(!std::same_as<Failure, Never>)
    {
      end(std::move(error));
    }
    template <std::derived_from<std::exception> E>
      requires(!std::same_as<Failure, Never>)
    void finish(E error) const {
      end(std::make_exception_ptr(std::move(error)));
    }
    /// Sets the function that is called once when the stream ends. It is called synchronously, on the thread that ends
    /// the stream, with no lock held. An exception of the handler stops the process. A handler that is set after the
    /// end is never called.
    void setOnTermination(std::function<void(const Termination&)> handler) const {
      storage_->setTerminationHandler(std::move(handler));
    }
    [[nodiscard]] std::function<void(const Termination&)> onTermination() const {
      return storage_->terminationHandler();
    }

   private:
    friend BasicAsyncStream;
    explicit Continuation(std::shared_ptr<detail::AsyncStreamStorage<Element>> storage) noexcept
        : storage_(std::move(storage)) {}

    void end(std::exception_ptr error) const {
      const auto storage = storage_;  // The termination handler may destroy this continuation.
      storage->finish(std::move(error));
    }

    std::shared_ptr<detail::AsyncStreamStorage<Element>> storage_;
  };

  /// Makes a stream with an unbounded buffer. Calls `build` once with the stream's continuation, before the constructor
  /// returns.
  template <typename Build>
    requires std::is_invocable_v<Build&, Continuation>
  explicit BasicAsyncStream(Build build) : BasicAsyncStream(BufferingPolicy::unbounded(), std::move(build)) {}
  template <typename Build>
    requires std::is_invocable_v<Build&, Continuation>
  BasicAsyncStream(BufferingPolicy bufferingPolicy, Build build)
      : BasicAsyncStream(std::make_shared<detail::AsyncStreamStorage<Element>>(bufferingPolicy), std::move(build)) {}

  /// A stream and its continuation, for a producer that starts later.
  struct StreamAndContinuation {
    BasicAsyncStream stream;
    Continuation continuation;
  };
  [[nodiscard]] static StreamAndContinuation makeStream(
      BufferingPolicy bufferingPolicy = BufferingPolicy::unbounded()) {
    auto storage = std::make_shared<detail::AsyncStreamStorage<Element>>(bufferingPolicy);
    return {BasicAsyncStream(storage, [](const Continuation&) {}), Continuation(storage)};
  }

  /// A stream whose elements are made on demand. Each `next()` calls `produce` once, in the consumer's task. The stream
  /// ends when `produce` gives an empty optional or throws. `next()` passes the exception on. Two consumers may call
  /// `produce` at the same time. The first cancellation of a consumer in `next()` calls `onCancel`, on the cancelling
  /// thread. The stream then ends after the running calls of `produce`. In a task that is cancelled already, `next()`
  /// ends the stream in the same way, and gives an empty optional.
  [[nodiscard]] static BasicAsyncStream unfolding(std::function<Async<std::optional<Element>>()> produce,
                                                  std::function<void()> onCancel = nullptr) {
    return BasicAsyncStream(
        std::make_shared<detail::AsyncStreamStorage<Element>>(std::move(produce), std::move(onCancel)),
        [](const Continuation&) {});
  }

  /// A stream of the new values of an object's property. Only for `AsyncStream`. Callers must include
  /// "Tessaly/Concurrency/AsyncStream+Extensions.hpp".
  template <typename Root, typename Object>
    requires std::same_as<Failure, Never>
  [[nodiscard]] static BasicAsyncStream observing(const KeyPath<Root, Element>& keyPath,
                                                  const std::shared_ptr<Object>& object,
                                                  NSKeyValueObservingOptions options);

  [[nodiscard]] AsyncIterator makeAsyncIterator() const { return AsyncIterator(consumer_); }

 private:
  template <typename Build>
  BasicAsyncStream(std::shared_ptr<detail::AsyncStreamStorage<Element>> storage, Build build)
      : consumer_(std::make_shared<detail::AsyncStreamConsumer<Element>>(storage)) {
    build(Continuation(std::move(storage)));
  }

  std::shared_ptr<detail::AsyncStreamConsumer<Element>> consumer_;
};

}  // namespace Tessaly::inline v1
