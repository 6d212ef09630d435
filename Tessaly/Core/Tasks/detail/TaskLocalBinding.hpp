// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <utility>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Tasks/detail/ThreadState.hpp"

namespace Tessaly::inline v1::detail {

/// Whether a new task copies the task-locals of its creator.
enum class TaskLocalCopies : std::uint8_t { ofTheCaller, none };

/// One binding of a task-local value. It is a node of the current task's list or, outside any task, of the thread's
/// list.
///
/// Thread contract: thread-compatible. Only the task or thread that owns a list may use the list.
class TESSALY_EXPORT TaskLocalBinding {
 public:
  explicit TaskLocalBinding(const void* key) noexcept : key_(key) {}
  TaskLocalBinding(const TaskLocalBinding&) = delete;
  TaskLocalBinding& operator=(const TaskLocalBinding&) = delete;

  /// The list of the caller's bindings, innermost first.
  [[nodiscard]] static TaskLocalBinding*& list() noexcept;
  /// The innermost binding of a key. Null if there is none.
  [[nodiscard]] static const TaskLocalBinding* find(const void* key) noexcept;
  /// Returns a list with a copy of the innermost binding of every key, in the order of the given list.
  [[nodiscard]] static TaskLocalBinding* copyInnermost(const TaskLocalBinding* list);
  /// Deletes a list that `copyInnermost` made.
  static void destroyCopies(TaskLocalBinding* list) noexcept;

 protected:
  virtual ~TaskLocalBinding() = default;
  [[nodiscard]] virtual TaskLocalBinding* copy() const = 0;
  [[nodiscard]] const void* key() const noexcept { return key_; }
  void push() noexcept;
  void pop() noexcept;

 private:
  const void* key_;
  TaskLocalBinding* next_ = nullptr;
};

template <typename Value>
class TypedTaskLocalBinding : public TaskLocalBinding {
 public:
  TypedTaskLocalBinding(const void* key, Value value) : TaskLocalBinding(key), value_(std::move(value)) {}
  [[nodiscard]] const Value& value() const noexcept { return value_; }

 protected:
  [[nodiscard]] TaskLocalBinding* copy() const override { return new TypedTaskLocalBinding(key(), value_); }

 private:
  Value value_;
};

/// Binds a value for the duration of a scope, which may be in a coroutine.
template <typename Value>
class ScopedTaskLocalBinding final : public TypedTaskLocalBinding<Value> {
 public:
  ScopedTaskLocalBinding(const void* key, Value value) : TypedTaskLocalBinding<Value>(key, std::move(value)) {
    this->push();
  }
  ~ScopedTaskLocalBinding() override { this->pop(); }
};

}  // namespace Tessaly::inline v1::detail
