// SPDX-License-Identifier: MIT
// Component: Tessaly::Tasks
#pragma once

#include <atomic>
#include <concepts>
#include <exception>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Tasks/Async.hpp"
#include "Tessaly/Core/Tasks/detail/TaskRecord.hpp"

namespace Tessaly::inline v1 {

namespace detail {

/// The state that the copies of a one-shot handle share. It does not depend on the type of the handle's value.
class TESSALY_EXPORT ContinuationState {
 public:
  ContinuationState(std::string_view name, Suspension& suspension) : name_(name), suspension_(suspension) {}
  /// Writes a log record if the handle was never resumed.
  ~ContinuationState();
  ContinuationState(const ContinuationState&) = delete;
  ContinuationState& operator=(const ContinuationState&) = delete;

  /// Marks the handle as resumed. A second call stops the process.
  void claim() noexcept;
  /// Like `claim`, before a resumption with an error. A null error stops the process, too.
  void claim(const std::exception_ptr& error) noexcept;
  /// Reverts a claim after a failed resumption.
  void unclaim() noexcept { isClaimed_.store(false, std::memory_order_release); }
  void resume() noexcept { suspension_.resume(); }
  /// Called after the body has thrown. Marks the handle as resumed. The coroutine then continues with the body's
  /// exception.
  void abandon() noexcept { isClaimed_.store(true, std::memory_order_relaxed); }

 private:
  const std::string name_;
  Suspension& suspension_;
  std::atomic<bool> isClaimed_{false};
};

template <typename T, typename Body>
class ContinuationAwaiter;

}  // namespace detail

/// A handle that resumes one suspended task once, with a value or an error.
///
/// Resuming only enqueues the task on its executor. If the handle is resumed before the body of
/// `withCheckedContinuation` returns, the task continues without a suspension. A second resumption stops the process,
/// and the report contains the handle's name. When the last copy is destroyed without a resumption, one log record
/// names the handle, and the task stays suspended for ever.
///
/// An exception of the value's constructor goes to the caller of `resume`. The handle is then still unresumed: the
/// caller may resume it with another value or with the error.
///
/// Thread contract: thread-safe for different copies of one handle; each copy is thread-compatible.
///
///     Reply reply = co_await withCheckedContinuation<Reply>([&](CheckedContinuation<Reply> continuation) {
///       service.ask([continuation](Reply answer) { continuation.resume(std::move(answer)); });
///     });
template <typename T = void>
class CheckedContinuation {
 public:
  /// Resumes the task with a value.
  template <typename Value = T>
    requires(!std::is_void_v<T> && std::constructible_from<T, Value>)
  void resume(Value&& value) const {
    state_->claim();
    try {
      outcome_->setValue(std::forward<Value>(value));
    } catch (...) {
      state_->unclaim();
      throw;
    }
    state_->resume();
  }
  /// Resumes the task without a value.
  void resume() const
    requires std::is_void_v<T>
  {
    state_->claim();
    outcome_->setValue();
    state_->resume();
  }
  /// Resumes the task with an error. The task's wait throws the error. A null pointer stops the process.
  void resumeThrowing(std::exception_ptr error) const {
    state_->claim(error);
    outcome_->setError(std::move(error));
    state_->resume();
  }
  template <std::derived_from<std::exception> E>
  void resumeThrowing(E error) const {
    resumeThrowing(std::make_exception_ptr(std::move(error)));
  }

 private:
  template <typename, typename>
  friend class detail::ContinuationAwaiter;

  CheckedContinuation(std::shared_ptr<detail::ContinuationState> state, detail::Outcome<T>& outcome)
      : state_(std::move(state)), outcome_(&outcome) {}

  std::shared_ptr<detail::ContinuationState> state_;
  /// The outcome in the frame of the suspended coroutine.
  detail::Outcome<T>* outcome_;
};

namespace detail {

template <typename T, typename Body>
class ContinuationAwaiter {
 public:
  ContinuationAwaiter(Body& body, std::string_view name) : body_(body), name_(name) {}

  bool await_ready() const noexcept { return false; }
  template <std::derived_from<AsyncPromiseBase> Promise>
  bool await_suspend(std::coroutine_handle<Promise> handle) {
    suspension_.arm(handle);
    auto state = std::make_shared<ContinuationState>(name_, suspension_);
    try {
      body_(CheckedContinuation<T>(state, outcome_));
    } catch (...) {
      state->abandon();
      throw;
    }
    // `state` may be the last reference, and the destruction of an unresumed state writes the log record. The frame may
    // be gone after `commit`, so `state` is released before.
    state.reset();
    return suspension_.commit();
  }
  T await_resume() { return outcome_.take(); }

 private:
  Body& body_;
  std::string_view name_;
  Suspension suspension_;
  Outcome<T> outcome_;
};

}  // namespace detail

/// Suspends the current task and calls the body at once with the handle that will resume the task. An exception of the
/// body goes to the awaiter. After the exception, the handle must not be resumed. Reports of misuse contain the name,
/// which is by default the name of the calling function.
///
/// Thread contract: thread-safe. One allocation, and a second one if the name exceeds 15 characters.
template <typename T = void, typename Body>
Async<T> withCheckedContinuation(Body body, std::string_view name = __builtin_FUNCTION()) {
  co_return co_await detail::ContinuationAwaiter<T, Body>(body, name);
}

}  // namespace Tessaly::inline v1
