// SPDX-License-Identifier: MIT
// Component: Tessaly::Concurrency
#pragma once

#include <concepts>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "Tessaly/Concurrency/detail/BackgroundTask.hpp"
#include "Tessaly/Concurrency/detail/ReducedReplayStorage.hpp"
#include "Tessaly/Core/Tasks/AsyncSequence.hpp"
#include "Tessaly/Core/Tasks/AsyncThrowingStream.hpp"
#include "Tessaly/Core/Tasks/CheckedContinuation.hpp"

namespace Tessaly::inline v1 {

/// `ReducedReplayAsyncStream` for a producer that may fail, with the final value on request.
///
/// The producer is an `AsyncThrowingStream` that the constructor makes, or any asynchronous sequence. The producer's
/// error ends the stream of every subscriber that had joined. Every `streamedElement()` throws the error, whether it
/// was called before or after the failure. After the producer's end or error was consumed, a new subscriber gets the
/// sum of all elements and then **keeps waiting**.
///
/// Each element is copied for each stream. The final value is copied for each `streamedElement()`. If such a copy
/// throws, the exception ends only the stream or the `streamedElement()` that needs the copy. If an element's move out
/// of the producer throws, the exception counts as the producer's error.
///
/// Thread contract: thread-safe.
///
///     ReducedReplayAsyncThrowingStream<Progress> upload(progressOf(file), Progress(), add);
///     auto iterator = upload.makeAsyncIterator();
///     while (auto progress = co_await iterator.next()) show(*progress);
///     Progress whole = co_await upload.streamedElement();
template <std::copyable StreamElement>
class ReducedReplayAsyncThrowingStream {
 public:
  using Element = StreamElement;
  using Failure = std::exception_ptr;
  using Continuation = AsyncThrowingStream<Element>::Continuation;

  /// The iterator of a subscriber.
  ///
  /// Thread contract: thread-compatible.
  ///
  ///     auto iterator = upload.makeAsyncIterator();
  ///     std::optional<Progress> first = co_await iterator.next();
  class AsyncIterator {
   public:
    explicit AsyncIterator(AsyncThrowingStream<Element>::AsyncIterator asyncIterator)
        : asyncIterator_(std::move(asyncIterator)) {}

    /// The next element. Absent at the end. If an error ended the stream, one call throws the error. The result of
    /// later calls is absent.
    auto next() { return asyncIterator_.next(); }
    /// Like `next()`, but awaited in the given isolation.
    Async<std::optional<Element>> next(Isolation isolation) { return asyncIterator_.next(std::move(isolation)); }

   private:
    AsyncThrowingStream<Element>::AsyncIterator asyncIterator_;
  };

  /// A subscriber's stream.
  ///
  /// Thread contract: thread-safe.
  ///
  ///     auto stream = upload.newStream();
  ///     auto iterator = stream.makeAsyncIterator();
  class Stream {
   public:
    using Element = StreamElement;
    using Failure = std::exception_ptr;

    /// Makes the stream with an unbounded buffer. Calls `build` once, before the constructor returns.
    template <std::invocable<Continuation> Build>
    explicit Stream(Build build) : asyncStream_(std::move(build)) {}

    [[nodiscard]] AsyncIterator makeAsyncIterator() const { return AsyncIterator(asyncStream_.makeAsyncIterator()); }

   private:
    AsyncThrowingStream<Element> asyncStream_;
  };

  /// Makes the producer's stream, and calls `build` once with the stream's continuation before the constructor returns.
  /// The policy limits the buffer of elements that were produced but not yet consumed. Nothing is consumed before the
  /// first subscription or `streamedElement()`.
  template <detail::Reducer<Element> Reduce, std::invocable<Continuation> Build>
  ReducedReplayAsyncThrowingStream(BufferingPolicy bufferingPolicy, Element initialResult, Reduce reduce, Build build)
      : ReducedReplayAsyncThrowingStream(AsyncThrowingStream<Element>(bufferingPolicy, std::move(build)),
                                         std::move(initialResult), std::move(reduce)) {}

  /// Makes a stream whose producer is `originalStream`. The first subscription or `streamedElement()` starts the
  /// consumption of that sequence, which is consumed once.
  template <AsyncSequence Sequence, detail::Reducer<Element> Reduce>
    requires std::convertible_to<typename Sequence::Element, Element>
  ReducedReplayAsyncThrowingStream(Sequence originalStream, Element initialResult, Reduce reduce)
      : storage_(std::make_shared<Storage>(std::move(initialResult), std::move(reduce))),
        consumeStream_([storage = storage_, producer = std::make_shared<const Sequence>(std::move(originalStream))] {
          return consume(storage, producer);
        }) {}

  /// A new subscriber's stream, with an unbounded buffer. The subscriber joins in a separate task, perhaps after this
  /// function returns.
  [[nodiscard]] Stream newStream() const {
    return Stream([this](Continuation continuation) {
      detail::startBackgroundTask([self = *this, continuation = std::move(continuation)] {
        return Storage::join(self.storage_, continuation, [self] { detail::startBackgroundTask(self.consumeStream_); });
      });
    });
  }

  /// The iterator of a new subscriber's stream.
  [[nodiscard]] AsyncIterator makeAsyncIterator() const { return newStream().makeAsyncIterator(); }

  /// Waits for the producer's end. Returns the final value, into which `reduce` has combined all elements, or throws
  /// the producer's error. Starts the consumption if the consumption has not begun. This start counts as the first
  /// subscription, so every later subscriber first gets a summary of the earlier elements. After the consumption has
  /// ended, the result comes at once.
  [[nodiscard]] Async<Element> streamedElement() const { return streamedElementOf(*this); }

 private:
  /// The state that copies of the stream share, including the requests for the final value. Used only in its isolation.
  struct Storage : detail::ReducedReplayStorage<Element, Failure> {
    using Base = detail::ReducedReplayStorage<Element, Failure>;
    using Base::Base;

    void consume(const Element& element) {
      Base::consume(element);
      Base::yieldToAll(continuationsFix, element);
    }
    /// Ends the streams of `continuations` and answers the requests. If there is no error, also ends the streams of
    /// `continuationsFix`.
    void end(std::exception_ptr error) {
      this->endAll(error);
      if (!error) {
        for (const Continuation& continuation : continuationsFix) continuation.finish();
      }
      didFinish = true;
      finishError = std::move(error);
      // The handles may stay in the list: this function runs once, so no handle is answered again.
      for (const auto& handle : finishContinuations) answer(handle);
    }
    void answer(const CheckedContinuation<Element>& handle) const {
      if (finishError) return handle.resumeThrowing(finishError);
      try {
        handle.resume(this->stored);
      } catch (...) {
        handle.resumeThrowing(std::current_exception());
      }
    }
    void addFinishContinuation(const CheckedContinuation<Element>& handle) {
      finishContinuations.push_back(handle);
      if (didFinish) answer(handle);
    }

    /// A second list of subscribers. No code adds to this list, so it is always empty.
    std::vector<Continuation> continuationsFix;
    std::vector<CheckedContinuation<Element>> finishContinuations;
    std::exception_ptr finishError;
    bool didFinish = false;
  };

  template <typename Sequence>
  static Async<void> consume(std::shared_ptr<Storage> storage, std::shared_ptr<const Sequence> producer) {
    std::exception_ptr error;
    try {
      auto iterator = producer->makeAsyncIterator();
      while (auto next = co_await iterator.next()) {
        const Element element(std::move(*next));
        co_await withIsolation(storage->isolation, [&] { storage->consume(element); });
      }
    } catch (...) {
      error = std::current_exception();
    }
    co_await withIsolation(storage->isolation, [&] { storage->end(error); });
  }

  static Async<Element> streamedElementOf(ReducedReplayAsyncThrowingStream self) {
    co_return co_await withCheckedContinuation<Element>(
        [&self](CheckedContinuation<Element> handle) {
          detail::startBackgroundTask([self, handle = std::move(handle)] { return request(self, handle); });
        },
        "streamedElement");
  }
  static Async<void> request(ReducedReplayAsyncThrowingStream self, CheckedContinuation<Element> handle) {
    Storage& storage = *self.storage_;
    try {
      const bool isFirst =
          co_await withIsolation(storage.isolation, [&] { return storage.continuations.empty() && !storage.didStart; });
      if (isFirst)
        static_cast<void>(self.newStream());  // A subscription starts the consumption. This subscriber ends at once.
      co_await withIsolation(storage.isolation, [&] { storage.addFinishContinuation(handle); });
    } catch (...) {
      handle.resumeThrowing(std::current_exception());
    }
  }

  std::shared_ptr<Storage> storage_;
  std::function<Async<void>()> consumeStream_;
};

}  // namespace Tessaly::inline v1
