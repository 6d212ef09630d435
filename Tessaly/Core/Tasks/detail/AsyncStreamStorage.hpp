// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <utility>

#include "Tessaly/Core/Base/CallNotification.hpp"
#include "Tessaly/Core/Locks/UnfairLock.hpp"
#include "Tessaly/Core/Tasks/Async.hpp"
#include "Tessaly/Core/Tasks/BufferingPolicy.hpp"
#include "Tessaly/Core/Tasks/Cancellation.hpp"
#include "Tessaly/Core/Tasks/StreamTermination.hpp"
#include "Tessaly/Core/Tasks/detail/CarriedElement.hpp"
#include "Tessaly/Core/Tasks/detail/GrowableRing.hpp"
#include "Tessaly/Core/Tasks/detail/StreamTurn.hpp"
#include "Tessaly/Core/Tasks/detail/TaskAwaiters.hpp"
#include "Tessaly/Core/Tasks/detail/TaskRecord.hpp"

namespace Tessaly::inline v1::detail {

/// The state that a stream's continuations and iterators share: open with a buffer, open with waiting consumers, or
/// terminal with the remaining elements. No host code runs under a lock: no handler, and no function of an element.
///
/// Thread contract: thread-safe.
template <typename StreamElement>
class AsyncStreamStorage {
 public:
  using Element = StreamElement;
  using TerminationHandler = std::function<void(const StreamTermination&)>;
  /// Makes the elements of an unfolding stream, one for each request.
  using Producer = std::function<Async<std::optional<Element>>()>;

  struct Waiter {
    Suspension suspension;
    std::optional<CarriedElement<Element>> element;
    std::exception_ptr error;
    Waiter* next = nullptr;
  };

  explicit AsyncStreamStorage(BufferingPolicy policy) noexcept
      : policy_{policy.kind, std::max(policy.limit, std::int64_t{0})} {}
  AsyncStreamStorage(Producer producer, std::function<void()> onCancel)
      : policy_(BufferingPolicy::unbounded()),
        unfolds_(true),
        producer_(std::make_shared<Producer>(std::move(producer))),
        onCancel_(std::move(onCancel)) {}
  AsyncStreamStorage(const AsyncStreamStorage&) = delete;
  AsyncStreamStorage& operator=(const AsyncStreamStorage&) = delete;

  YieldResult<Element> yield(Element&& element) {
    CarriedElement<Element> carried(std::move(element));
    lock_.lock();
    // A broadcast to many listeners takes this path, so the path stays short and inline.
    if (state_ == State::open && firstWaiter_ == nullptr && policy_.kind == BufferingPolicy::Kind::unbounded &&
        buffer_.hasRoom()) [[likely]] {
      buffer_.append(std::move(carried));
      lock_.unlock();
      return {YieldResultKind::enqueued, policy_.limit};
    }
    return yieldLocked(std::move(carried));
  }

  void finish(std::exception_ptr error) {
    std::shared_ptr<const TerminationHandler> handler;
    {
      UnfairLock::Guard guard(lock_);
      if (state_ != State::open && state_ != State::cancelling) return;
      error_ = error;
      if (std::exchange(state_, State::finishing) == State::cancelling) return;
      handler.swap(handler_);
    }
    terminate(handler.get(), {StreamTermination::Kind::finished, std::move(error)});
  }

  void cancel() noexcept {
    std::shared_ptr<const TerminationHandler> handler;
    {
      UnfairLock::Guard guard(lock_);
      if (state_ != State::open) return;
      state_ = State::cancelling;
      handler.swap(handler_);
    }
    terminate(handler.get(), {StreamTermination::Kind::cancelled});
  }

  /// Called when the last consumer is destroyed. Ends the stream and drops the remaining elements.
  void consumersGone() noexcept {
    cancel();
    GrowableRing<CarriedElement<Element>> left;
    GrowableRing<CarriedElement<Element>> leftAhead;
    {
      UnfairLock::Guard guard(lock_);
      left.swap(buffer_);
    }
    {
      UnfairLock::Guard guard(aheadLock_);
      leftAhead.swap(ahead_);
      aheadCount_.store(0, std::memory_order_relaxed);
    }
    static_cast<void>(stopProducing());
  }

  void setTerminationHandler(TerminationHandler handler) {
    auto shared = handler ? std::make_shared<const TerminationHandler>(std::move(handler)) : nullptr;
    UnfairLock::Guard guard(lock_);
    if (state_ == State::open) handler_.swap(shared);
  }
  [[nodiscard]] TerminationHandler terminationHandler() {
    std::shared_ptr<const TerminationHandler> handler;
    {
      UnfairLock::Guard guard(lock_);
      handler = handler_;
    }
    return handler != nullptr ? *handler : TerminationHandler();
  }

  [[nodiscard]] bool unfolds() const noexcept { return unfolds_; }

  /// Takes the next result if there is one: an element, the error, or the end. Returns whether there was a result.
  bool takeNext(Waiter& waiter) noexcept {
    for (;;) {
      if (takeAhead(waiter)) return true;
      UnfairLock::Guard guard(lock_);
      if (aheadCount_.load(std::memory_order_relaxed) == 0) return takeNextLocked(waiter);
    }
  }
  /// Like `takeNext`, but adds the waiter to the waiting consumers if there is no result yet.
  bool takeNextOrWait(Waiter& waiter) noexcept {
    for (;;) {
      if (takeAhead(waiter)) return true;
      UnfairLock::Guard guard(lock_);
      if (aheadCount_.load(std::memory_order_relaxed) != 0) continue;
      if (takeNextLocked(waiter)) return true;
      (lastWaiter_ != nullptr ? lastWaiter_->next : firstWaiter_) = &waiter;
      lastWaiter_ = &waiter;
      return false;
    }
  }

  /// Calls the producer of an unfolding stream once, and returns its result. If the producer was released, returns an
  /// empty optional without a call.
  static Async<std::optional<Element>> unfold(AsyncStreamStorage* storage) {
    const ScopedCancellationHandler handler([storage] {
      if (storage->stopProducing() && storage->onCancel_) storage->onCancel_();
    });
    if (isTurnOver()) co_await YieldAwaiter();
    const std::shared_ptr<Producer> producer = storage->producer();
    if (producer == nullptr) co_return std::nullopt;
    try {
      std::optional<Element> element = co_await (*producer)();
      if (!element) storage->stopProducing();
      co_return element;
    } catch (...) {
      storage->stopProducing();
      throw;
    }
  }

 private:
  /// While a termination handler runs, the stream is `finishing` or `cancelling`. In these two states the stream has
  /// ended for producers, but waiting consumers still wait. `finish` can still give an error to a cancelling stream.
  enum class State : std::uint8_t { open, finishing, cancelling, terminal };

  /// Does the work of `yield` outside its fast path. The caller must hold `lock_`, and this function releases it.
  [[gnu::noinline]] YieldResult<Element> yieldLocked(CarriedElement<Element>&& carried) TESSALY_RELEASE(lock_) {
    std::optional<CarriedElement<Element>> dropped;
    YieldResult<Element> result{YieldResultKind::enqueued, policy_.limit};
    Waiter* waiter = nullptr;
    try {
      if (state_ != State::open) {
        result.kind = YieldResultKind::terminated;
        result.remaining = 0;
      } else if (firstWaiter_ == nullptr) {
        buffer(std::move(carried), result, dropped);
      } else {
        waiter = firstWaiter_;
        waiter->element.emplace(std::move(carried));
        firstWaiter_ = waiter->next;
        if (firstWaiter_ == nullptr) lastWaiter_ = nullptr;
      }
    } catch (...) {  // No memory for the buffer.
      lock_.unlock();
      throw;
    }
    lock_.unlock();
    if (waiter != nullptr) waiter->suspension.resume();
    if (dropped) result.element.emplace(std::move(dropped->value()));
    return result;
  }

  void buffer(CarriedElement<Element>&& element, YieldResult<Element>& result,
              std::optional<CarriedElement<Element>>& dropped) TESSALY_REQUIRES(lock_) {
    const auto count = static_cast<std::int64_t>(buffer_.count());
    if (count < policy_.limit) {
      buffer_.append(std::move(element));
      if (policy_.kind != BufferingPolicy::Kind::unbounded) result.remaining = policy_.limit - count - 1;
      return;
    }
    result.kind = YieldResultKind::dropped;
    result.remaining = 0;
    if (policy_.kind == BufferingPolicy::Kind::newest && policy_.limit > 0) {
      dropped.emplace(buffer_.takeFront());
      buffer_.append(std::move(element));
    } else {
      dropped.emplace(std::move(element));
    }
  }

  /// Takes the first of the elements that `takeNextLocked` moved to `ahead_`. Returns false if none is left.
  bool takeAhead(Waiter& waiter) noexcept {
    if (aheadCount_.load(std::memory_order_relaxed) == 0) return false;
    UnfairLock::Guard guard(aheadLock_);
    if (ahead_.isEmpty()) return false;
    takeAheadLocked(waiter);
    return true;
  }
  void takeAheadLocked(Waiter& waiter) noexcept TESSALY_REQUIRES(aheadLock_) {
    waiter.element.emplace(ahead_.takeFront());
    aheadCount_.store(ahead_.count(), std::memory_order_relaxed);
  }

  /// Requires that `ahead_` is empty.
  bool takeNextLocked(Waiter& waiter) noexcept TESSALY_REQUIRES(lock_) {
    if (policy_.kind == BufferingPolicy::Kind::unbounded && buffer_.count() >= minimumMovedAhead) {
      UnfairLock::Guard guard(aheadLock_);
      ahead_.swap(buffer_);
      takeAheadLocked(waiter);
      return true;
    }
    if (!buffer_.isEmpty()) {
      waiter.element.emplace(buffer_.takeFront());
      return true;
    }
    if (state_ != State::terminal) return false;
    waiter.error.swap(error_);
    return true;
  }

  /// Calls the handler, with no lock held, and then ends the wait of every waiter.
  void terminate(const TerminationHandler* handler, const StreamTermination& termination) noexcept {
    if (handler != nullptr) callNotification("A stream's termination handler", *handler, termination);
    Waiter* waiter = nullptr;
    {
      UnfairLock::Guard guard(lock_);
      state_ = State::terminal;
      waiter = std::exchange(firstWaiter_, nullptr);
      lastWaiter_ = nullptr;
      if (waiter != nullptr) waiter->error.swap(error_);
    }
    while (waiter != nullptr) {
      Waiter* next = waiter->next;  // A resumed waiter may be gone. This storage may be gone with the last waiter.
      waiter->suspension.resume();
      waiter = next;
    }
  }

  std::shared_ptr<Producer> producer() {
    UnfairLock::Guard guard(lock_);
    return producer_;
  }
  /// Releases the producer. Returns false if there was no producer before this call.
  bool stopProducing() noexcept {
    std::shared_ptr<Producer> producer;
    UnfairLock::Guard guard(lock_);
    producer.swap(producer_);
    return producer != nullptr;
  }

  static constexpr std::size_t minimumMovedAhead = 16;
  static constexpr std::size_t cacheLine = 64;

  // Producers and consumers read these members. So the members do not share a cache line with data that either side
  // writes often.
  const BufferingPolicy policy_;
  const bool unfolds_ = false;
  std::shared_ptr<Producer> producer_ TESSALY_GUARDED_BY(lock_);
  const std::function<void()> onCancel_;

  alignas(cacheLine) UnfairLock lock_;
  State state_ TESSALY_GUARDED_BY(lock_) = State::open;
  Waiter* firstWaiter_ TESSALY_GUARDED_BY(lock_) = nullptr;
  GrowableRing<CarriedElement<Element>> buffer_ TESSALY_GUARDED_BY(lock_);
  Waiter* lastWaiter_ TESSALY_GUARDED_BY(lock_) = nullptr;
  std::exception_ptr error_ TESSALY_GUARDED_BY(lock_);
  std::shared_ptr<const TerminationHandler> handler_ TESSALY_GUARDED_BY(lock_);

  // If an unbounded stream's buffer has at least 16 elements, a consumer moves all of them to `ahead_` in one step. So
  // producers and consumers seldom wait for each other. The elements in `ahead_` come before the elements in the
  // buffer. A consumer fills `ahead_` only while `ahead_` is empty. To fill `ahead_`, the consumer holds both locks. It
  // takes `lock_` first.
  alignas(cacheLine) UnfairLock aheadLock_;
  std::atomic<std::size_t> aheadCount_{0};
  GrowableRing<CarriedElement<Element>> ahead_ TESSALY_GUARDED_BY(aheadLock_);
};

}  // namespace Tessaly::inline v1::detail
