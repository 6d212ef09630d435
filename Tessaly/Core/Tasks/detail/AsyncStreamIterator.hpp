// SPDX-License-Identifier: MIT
#pragma once

#include <concepts>
#include <exception>
#include <memory>
#include <optional>
#include <utility>

#include "Tessaly/Core/Tasks/Async.hpp"
#include "Tessaly/Core/Tasks/AsyncSequence.hpp"
#include "Tessaly/Core/Tasks/detail/AsyncStreamStorage.hpp"
#include "Tessaly/Core/Tasks/detail/StreamTurn.hpp"
#include "Tessaly/Core/Tasks/detail/TaskAwaiters.hpp"
#include "Tessaly/Core/Tasks/detail/TaskRecord.hpp"

namespace Tessaly::inline v1::detail {

/// The consuming end, shared by a stream value, its copies and their iterators. The stream ends when the last of these
/// objects is destroyed.
template <typename Element>
class AsyncStreamConsumer {
 public:
  explicit AsyncStreamConsumer(std::shared_ptr<AsyncStreamStorage<Element>> storage) noexcept
      : storage_(std::move(storage)) {}
  ~AsyncStreamConsumer() { storage_->consumersGone(); }
  AsyncStreamConsumer(const AsyncStreamConsumer&) = delete;
  AsyncStreamConsumer& operator=(const AsyncStreamConsumer&) = delete;

  [[nodiscard]] AsyncStreamStorage<Element>& storage() const noexcept { return *storage_; }

 private:
  std::shared_ptr<AsyncStreamStorage<Element>> storage_;
};

/// Waits for a stream's next element. The wait allocates no coroutine frame, unless a function produces the elements on
/// demand.
///
/// A buffered element is taken at once. After at least 256 such elements and at least 1 ms on one thread, the task
/// takes the current element and then waits behind the other work of its executor.
template <typename Element>
class [[nodiscard("next() does nothing until it is awaited")]] AsyncStreamNextAwaiter final
    : private CancellationHandler {
 public:
  using Storage = AsyncStreamStorage<Element>;

  explicit AsyncStreamNextAwaiter(Storage& storage) noexcept
      : CancellationHandler([](CancellationHandler& handler, TaskList&) noexcept {
          static_cast<AsyncStreamNextAwaiter&>(handler).storage_.cancel();
        }),
        storage_(storage) {}

  bool await_ready() noexcept {
    if (storage_.unfolds()) return false;
    if (threadState.task->isCancelled()) [[unlikely]]
      storage_.cancel();
    if (!storage_.takeNext(waiter_)) return false;
    if (!isTurnOver()) [[likely]]
      return true;
    hasAnswer_ = true;
    return false;
  }
  template <std::derived_from<AsyncPromiseBase> Promise>
  std::coroutine_handle<> await_suspend(std::coroutine_handle<Promise> handle) {
    if (storage_.unfolds()) {
      unfolding_ = Storage::unfold(&storage_).release();
      unfolding_.promise().setContinuation(handle);
      return unfolding_;
    }
    if (hasAnswer_) {
      YieldAwaiter().await_suspend(handle);
      return std::noop_coroutine();
    }
    waiter_.suspension.arm(handle);
    TaskRecord& task = waiter_.suspension.task();
    waits_ = true;
    if (!task.addCancellationHandler(*this)) storage_.cancel();
    if (storage_.takeNextOrWait(waiter_)) return handle;
    if (waiter_.suspension.commit()) return std::noop_coroutine();
    return handle;
  }
  /// Returns the element, or an empty optional at the end of the stream. Throws the stream's error, or the exception of
  /// the element's move. In the second case the element is lost.
  std::optional<Element> await_resume() {
    if (unfolding_ != nullptr) return unfolding_.promise().outcome().take();
    endWait();
    if (waiter_.element) [[likely]]
      return std::optional<Element>(std::in_place, std::move(waiter_.element->value()));
    if (waiter_.error) std::rethrow_exception(std::move(waiter_.error));
    return std::nullopt;
  }
  ~AsyncStreamNextAwaiter() {
    endWait();  // The coroutine may be destroyed instead of resumed.
    if (unfolding_ != nullptr) unfolding_.destroy();
  }

 private:
  void endWait() noexcept {
    if (std::exchange(waits_, false)) waiter_.suspension.task().removeCancellationHandler(*this);
  }

  Storage& storage_;
  typename Storage::Waiter waiter_;
  std::coroutine_handle<AsyncPromise<std::optional<Element>>> unfolding_;
  bool hasAnswer_ = false;
  bool waits_ = false;
};

/// The iterator of both stream types. A copy takes from the same stream.
template <typename Element>
class AsyncStreamIterator {
 public:
  explicit AsyncStreamIterator(std::shared_ptr<AsyncStreamConsumer<Element>> consumer) noexcept
      : consumer_(std::move(consumer)) {}

  /// Waits for the next element. A buffered element is taken at once. The result is empty at the end of the stream.
  AsyncStreamNextAwaiter<Element> next() { return AsyncStreamNextAwaiter<Element>(consumer_->storage()); }
  /// Like `next()`, but waits for the element in the given isolation.
  Async<std::optional<Element>> next(Isolation isolation) { return nextIn<Element>(this, std::move(isolation)); }

 private:
  std::shared_ptr<AsyncStreamConsumer<Element>> consumer_;
};

}  // namespace Tessaly::inline v1::detail
