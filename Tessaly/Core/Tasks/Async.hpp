// SPDX-License-Identifier: MIT
// Component: Tessaly::Tasks
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <new>
#include <type_traits>
#include <utility>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Base/IsAsync.hpp"
#include "Tessaly/Core/Tasks/Coroutines.hpp"
#include "Tessaly/Core/Tasks/detail/FramePool.hpp"
#include "Tessaly/Core/Tasks/detail/ThreadState.hpp"

namespace Tessaly::inline v1 {

namespace detail {

[[noreturn]] TESSALY_EXPORT void stopAwaitingTwice() noexcept;

/// The value or the exception of a coroutine or a task. Pending until the coroutine or the task has ended.
template <typename T>
class Outcome {
 public:
  Outcome() noexcept : state_(State::pending) {}
  Outcome(const Outcome&) = delete;
  Outcome& operator=(const Outcome&) = delete;
  ~Outcome() { reset(); }

  template <typename... Arguments>
  void setValue(Arguments&&... arguments) {
    ::new (static_cast<void*>(std::addressof(value_))) T(std::forward<Arguments>(arguments)...);
    state_ = State::value;
  }
  void setError(std::exception_ptr error) noexcept {
    ::new (static_cast<void*>(std::addressof(error_))) std::exception_ptr(std::move(error));
    state_ = State::error;
  }
  /// Moves the value or error of `other` into this outcome, which must be pending. If the move throws, its exception
  /// becomes the error.
  void takeOver(Outcome& other) noexcept {
    try {
      if (other.state_ == State::value) setValue(std::move(other.value_));
      if (other.state_ == State::error) setError(std::move(other.error_));
    } catch (...) {
      setError(std::current_exception());
    }
  }
  [[nodiscard]] bool isPending() const noexcept { return state_ == State::pending; }
  /// The value. Throws the error if there is one.
  [[nodiscard]] const T& get() const {
    if (state_ == State::error) std::rethrow_exception(error_);
    return value_;
  }
  [[nodiscard]] T take() {
    if (state_ == State::error) [[unlikely]]
      std::rethrow_exception(std::move(error_));
    return std::move(value_);
  }

 private:
  enum class State : unsigned char { pending, value, error };

  void reset() noexcept {
    if (state_ == State::value) value_.~T();
    if (state_ == State::error) error_.~exception_ptr();
  }

  union {
    T value_;
    std::exception_ptr error_;
  };
  State state_;
};

template <>
class Outcome<void> {
 public:
  void setValue() noexcept { isPending_ = false; }
  void setError(std::exception_ptr error) noexcept {
    error_ = std::move(error);
    isPending_ = false;
  }
  void takeOver(Outcome& other) noexcept {
    error_ = std::move(other.error_);
    isPending_ = other.isPending_;
  }
  [[nodiscard]] bool isPending() const noexcept { return isPending_; }
  void get() const {
    if (error_) std::rethrow_exception(error_);
  }
  void take() {
    if (error_) [[unlikely]]
      std::rethrow_exception(std::move(error_));
  }

 private:
  std::exception_ptr error_;
  bool isPending_ = true;
};

/// The maximum depth of nested destructions of frames. A frame may hold an `Async`, whose frame may hold another
/// `Async`. Deeper frames are destroyed when the outermost destruction ends.
inline constexpr std::uint32_t deepestFrame = 64;
TESSALY_EXPORT void deferFrame(std::coroutine_handle<> frame) noexcept;
TESSALY_EXPORT void destroyDeferredFrames() noexcept;

[[gnu::always_inline]] inline void destroyFrame(std::coroutine_handle<> frame) noexcept {
  ThreadState& state = threadState;
  if (state.frameDepth == deepestFrame) [[unlikely]] {
    deferFrame(frame);
    return;
  }
  ++state.frameDepth;
  frame.destroy();
  if (--state.frameDepth == 0 && state.deferredFrames != nullptr) [[unlikely]]
    destroyDeferredFrames();
}

class AsyncPromiseBase {
 public:
  static void* operator new(std::size_t size) { return allocateFrame(size); }
  static void operator delete(void* frame, std::size_t size) noexcept { freeFrame(frame, size); }

  std::suspend_always initial_suspend() const noexcept { return {}; }

  struct FinalAwaiter {
    bool await_ready() const noexcept { return false; }
    template <typename Promise>
    std::coroutine_handle<> await_suspend(std::coroutine_handle<Promise> handle) const noexcept {
      const std::coroutine_handle<> continuation = handle.promise().continuation_;
      if (continuation != nullptr) [[likely]]
        return continuation;
      threadState.completed = threadState.task;
      return std::noop_coroutine();
    }
    void await_resume() const noexcept {}
  };
  FinalAwaiter final_suspend() const noexcept { return {}; }

  void setContinuation(std::coroutine_handle<> continuation) noexcept { continuation_ = continuation; }

 private:
  /// The awaiting coroutine. Null for the outermost coroutine of a task.
  std::coroutine_handle<> continuation_;
};

template <typename T>
class AsyncPromise final : public AsyncPromiseBase {
 public:
  Async<T> get_return_object() noexcept;
  template <typename Value = T>
    requires std::constructible_from<T, Value>
  void return_value(Value&& value) noexcept(std::is_nothrow_constructible_v<T, Value>) {
    outcome_.setValue(std::forward<Value>(value));
  }
  void unhandled_exception() noexcept { outcome_.setError(std::current_exception()); }
  Outcome<T>& outcome() noexcept { return outcome_; }

 private:
  Outcome<T> outcome_;
};

template <>
class AsyncPromise<void> final : public AsyncPromiseBase {
 public:
  Async<void> get_return_object() noexcept;
  void return_void() noexcept { outcome_.setValue(); }
  void unhandled_exception() noexcept { outcome_.setError(std::current_exception()); }
  Outcome<void>& outcome() noexcept { return outcome_; }

 private:
  Outcome<void> outcome_;
};

/// The awaiter of an `Async`. It is a base of `Async`, so that awaiting copies nothing.
template <typename T>
class AsyncAwaiter {
 public:
  bool await_ready() const noexcept { return false; }
  template <std::derived_from<AsyncPromiseBase> Promise>
  std::coroutine_handle<> await_suspend(std::coroutine_handle<Promise> caller) const noexcept {
    if (handle_ == nullptr || handle_.done()) [[unlikely]]
      stopAwaitingTwice();
    handle_.promise().setContinuation(caller);
    return handle_;
  }
  T await_resume() const { return handle_.promise().outcome().take(); }

 protected:
  std::coroutine_handle<AsyncPromise<T>> handle_;
};

}  // namespace detail

/// The work of an asynchronous function: a coroutine that has not started.
///
/// The coroutine starts when it is awaited, runs inside the awaiting task, and gives its value or its exception to the
/// awaiter. Awaiting an `Async` a second time stops the process. Destroying an `Async` that was never awaited runs
/// nothing. Awaiting is a transfer of control, not a call: a chain of awaiting coroutines of any depth uses no stack.
/// An `Async` can only be awaited inside another `Async`. In ordinary code, use `Task` or `syncWait`.
///
/// Declare the parameters by value: the coroutine starts only after the call that made it has returned. By then, an
/// argument that was passed by reference may be destroyed.
///
/// Thread contract: thread-compatible. Creating and awaiting an `Async` that ends at once takes about 12 ns.
///
///     Async<int> total(std::vector<int> numbers) {
///       int sum = 0;
///       for (int number : numbers) sum += co_await priceOf(number);
///       co_return sum;
///     }
template <typename T>
class [[nodiscard("an Async does nothing until it is awaited")]] Async : detail::AsyncAwaiter<T> {
  static_assert(!std::is_reference_v<T>, "an asynchronous function returns a value: a reference could dangle");

 public:
  using promise_type = detail::AsyncPromise<T>;
  using Result = T;

  Async(Async&& other) noexcept : Async(std::exchange(other.handle_, nullptr)) {}
  Async& operator=(Async&& other) noexcept {
    std::swap(this->handle_, other.handle_);
    return *this;
  }
  ~Async() {
    if (this->handle_ != nullptr) detail::destroyFrame(this->handle_);
  }

  detail::AsyncAwaiter<T>& operator co_await() && noexcept { return *this; }

  /// For the runtime: passes the ownership of the coroutine to the caller.
  [[nodiscard]] std::coroutine_handle<promise_type> release() && noexcept {
    return std::exchange(this->handle_, nullptr);
  }

 private:
  friend promise_type;
  explicit Async(std::coroutine_handle<promise_type> handle) noexcept { this->handle_ = handle; }
};

namespace detail {

template <typename T>
Async<T> AsyncPromise<T>::get_return_object() noexcept {
  return Async<T>(std::coroutine_handle<AsyncPromise>::from_promise(*this));
}
inline Async<void> AsyncPromise<void>::get_return_object() noexcept {
  return Async<void>(std::coroutine_handle<AsyncPromise>::from_promise(*this));
}

template <typename T>
struct AsyncResult {
  using Type = T;
};
template <typename T>
struct AsyncResult<Async<T>> {
  using Type = T;
};

/// The final result of a function: the result of its `Async`, or its return value.
template <typename Function, typename... Arguments>
using AsyncInvokeResult = AsyncResult<std::invoke_result_t<Function, Arguments...>>::Type;

/// An argument from which a task can make its own function: a function, or an object with a call operator, that takes
/// no arguments. Cheaper to compile than `std::is_invocable`.
template <typename Operation>
concept TaskOperation = requires(std::decay_t<Operation>& operation) { operation(); };

/// The final result of the function of a task.
template <typename Operation>
using OperationResult = AsyncResult<decltype(std::declval<Operation&>()())>::Type;

}  // namespace detail
}  // namespace Tessaly::inline v1
