// SPDX-License-Identifier: MIT
// Component: Tessaly::Concurrency
#pragma once

#include <concepts>
#include <exception>
#include <memory>
#include <optional>
#include <utility>

#include "Tessaly/Concurrency/detail/BackgroundTask.hpp"
#include "Tessaly/Concurrency/detail/ReducedReplayStorage.hpp"
#include "Tessaly/Core/Tasks/AsyncStream.hpp"

namespace Tessaly::inline v1 {

/// A stream that shares one producer among any number of subscribers, and gives late subscribers a summary of the
/// earlier elements.
///
/// A subscriber receives every element that is consumed from the producer after the subscriber joined. The first
/// subscriber starts the consumption and gets no summary. Each later subscriber first gets **one element that sums up
/// all earlier elements**: `reduce` combines them with the initial result. If no element was consumed yet, this sum is
/// the initial result itself. Each subscriber has an unbounded buffer of its own, so a slow subscriber delays no other.
///
/// Each iterator of the stream is a new subscriber. The end of the producer also ends the stream of every subscriber
/// that has joined. A subscriber that joins after the end was consumed gets the sum and then **keeps waiting**. The
/// stream of such a subscriber ends only when a consuming task is cancelled, or when the stream and its iterators are
/// destroyed. A subscriber that has left stays in the list of subscribers. Such a subscriber costs a few words of
/// memory, and a refused `yield` for each later element.
///
/// The consumption continues until the producer finishes, even without subscribers. A producer that never finishes
/// leaves a task waiting.
///
/// If copying an element for a subscriber throws, that subscriber's stream ends, and the others continue. An element
/// whose move throws ends the consumption and every subscriber's stream. Each of these failures writes one log record.
///
/// Copies of the stream share the producer and the subscribers. `reduce` changes its first argument and returns
/// nothing. One thread at a time calls `reduce`, which must not throw. If no subscriber needs earlier elements, use
/// `AsyncStreams`. If the producer may fail, use `ReducedReplayAsyncThrowingStream`.
///
/// Thread contract: thread-safe.
///
///     ReducedReplayAsyncStream<int> total(
///         BufferingPolicy::unbounded(), 0, [](int& sum, int element) { sum += element; },
///         [](AsyncStream<int>::Continuation continuation) { countVisitors(continuation); });
///     auto iterator = total.makeAsyncIterator();
///     while (auto element = co_await iterator.next()) show(*element);
template <std::copyable StreamElement>
class ReducedReplayAsyncStream {
  using Storage = detail::ReducedReplayStorage<StreamElement, Never>;

 public:
  using Element = StreamElement;
  using Failure = Never;
  using Continuation = AsyncStream<Element>::Continuation;
  using AsyncIterator = AsyncStream<Element>::AsyncIterator;

  /// Makes the producer's stream, and calls `build` once with the stream's continuation before the constructor returns.
  /// The policy limits the buffer of elements that were produced but not yet consumed. Nothing is consumed before the
  /// first subscription.
  template <detail::Reducer<Element> Reduce, std::invocable<Continuation> Build>
  ReducedReplayAsyncStream(BufferingPolicy bufferingPolicy, Element initialResult, Reduce reduce, Build build)
      : storage_(std::make_shared<Storage>(std::move(initialResult), std::move(reduce))),
        originalStream_(bufferingPolicy, std::move(build)) {}

  /// A new subscriber's stream, with an unbounded buffer. The subscriber joins in a separate task, perhaps after this
  /// function returns.
  [[nodiscard]] AsyncStream<Element> newStream() const {
    return AsyncStream<Element>([this](Continuation continuation) {
      detail::startBackgroundTask([self = *this, continuation = std::move(continuation)] {
        return Storage::join(self.storage_, continuation, [self] {
          detail::startBackgroundTask([self] { return consume(self.storage_, self.originalStream_); });
        });
      });
    });
  }

  /// The iterator of a new subscriber's stream.
  [[nodiscard]] AsyncIterator makeAsyncIterator() const { return newStream().makeAsyncIterator(); }

 private:
  static Async<void> consume(std::shared_ptr<Storage> storage, AsyncStream<Element> producer) {
    std::exception_ptr error;
    try {
      auto iterator = producer.makeAsyncIterator();
      bool isOpen = true;
      while (isOpen) {
        co_await withIsolation(storage->isolation, [&] { return consumeBatch(*storage, iterator, isOpen); });
      }
    } catch (...) {
      error = std::current_exception();
    }
    co_await withIsolation(storage->isolation, [&] { storage->endAll(error); });
  }

  /// Consumes a batch of at most 64 elements. Leaves the isolation during the batch only to wait for an element. A
  /// subscriber that wants to join waits for at most one batch.
  static Async<void> consumeBatch(Storage& storage, AsyncIterator& iterator, bool& isOpen) {
    constexpr int maximumCount = 64;
    for (int count = 0; count < maximumCount; ++count) {
      const std::optional<Element> element = co_await iterator.next();
      isOpen = element.has_value();
      if (!isOpen) co_return;
      storage.consume(*element);
    }
  }

  std::shared_ptr<Storage> storage_;
  AsyncStream<Element> originalStream_;
};

}  // namespace Tessaly::inline v1
