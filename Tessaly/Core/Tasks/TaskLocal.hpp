// SPDX-License-Identifier: MIT
// Component: Tessaly::Tasks
#pragma once

#include <type_traits>
#include <utility>

#include "Tessaly/Core/Tasks/Async.hpp"
#include "Tessaly/Core/Tasks/detail/TaskLocalBinding.hpp"

namespace Tessaly::inline v1 {

/// A variable that has another value during a call of `withValue`. All code that this call runs sees that value. Other
/// jobs that run meanwhile do not see it. A new task, except a detached task, copies the innermost binding of every
/// task-local.
///
/// Binding costs a push and a pop. Outside any task the binding belongs to the thread. The nearest standard facility is
/// `thread_local`, which neither follows a task across threads nor ends with a scope. The key is the object's address,
/// so declare the object at namespace scope or as a static member.
///
/// Thread contract: thread-safe.
///
///     constinit TaskLocal<int> requestNumber(0);
///
///     void handleRequest() {
///       requestNumber.withValue(7, [] { show(requestNumber.value()); });
///     }
template <typename Value>
class TaskLocal {
 public:
  constexpr explicit TaskLocal(Value defaultValue) : defaultValue_(std::move(defaultValue)) {}
  TaskLocal(const TaskLocal&) = delete;
  TaskLocal& operator=(const TaskLocal&) = delete;

  /// The innermost binding's value, or the default value if there is no binding. O(n) for n present bindings of all
  /// task-locals.
  [[nodiscard]] Value value() const {
    const auto* binding = detail::TaskLocalBinding::find(this);
    return binding != nullptr ? static_cast<const detail::TypedTaskLocalBinding<Value>*>(binding)->value()
                              : defaultValue_;
  }

  /// Binds the value, calls the body, and returns the body's result. If the body returns an `Async`, the result is
  /// another `Async`, which keeps the body. In that case, the value is bound from the start to the end of the resulting
  /// `Async`.
  template <typename Body>
  auto withValue(Value value, Body body) const {
    if constexpr (isAsync<decltype(std::declval<Body&>()())>) {
      return bindAsync(std::move(value), std::move(body));
    } else {
      const detail::ScopedTaskLocalBinding<Value> binding(this, std::move(value));
      return body();
    }
  }

 private:
  template <typename Body>
  auto bindAsync(Value value, Body body) const -> decltype(std::declval<Body&>()()) {
    const detail::ScopedTaskLocalBinding<Value> binding(this, std::move(value));
    co_return co_await body();
  }

  Value defaultValue_;
};

}  // namespace Tessaly::inline v1
