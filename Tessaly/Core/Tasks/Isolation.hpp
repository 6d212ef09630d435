// SPDX-License-Identifier: MIT
// Component: Tessaly::Tasks
#pragma once

#include <utility>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Tasks/Executor.hpp"
#include "Tessaly/Core/Tasks/MainQueue.hpp"
#include "Tessaly/Core/Tasks/SerialExecutor.hpp"
#include "Tessaly/Core/Tasks/detail/ThreadState.hpp"

namespace Tessaly::inline v1 {

/// Where a piece of asynchronous code must run: on one serial executor (the main queue, or an object's own), or nowhere
/// in particular, which is the global executor.
///
/// A handle: copies name the same executor and keep it alive.
///
/// Thread contract: thread-compatible.
///
///     Isolation storage = Isolation::serial();
///     Task<> onTheMainThread({.isolation = Isolation::main()}, [] { redraw(); });
class Isolation {
 public:
  /// No isolation.
  Isolation() noexcept = default;
  /// An executor of the host's. It must run one job at a time, in order.
  explicit Isolation(Executor& executor) noexcept : executor_(&executor) { executor_->retain(); }
  Isolation(const Isolation& other) noexcept : executor_(other.executor_) {
    if (executor_ != nullptr) executor_->retain();
  }
  Isolation(Isolation&& other) noexcept : executor_(std::exchange(other.executor_, nullptr)) {}
  Isolation& operator=(Isolation other) noexcept {
    std::swap(executor_, other.executor_);
    return *this;
  }
  ~Isolation() {
    if (executor_ != nullptr) executor_->release();
  }

  /// The caller's isolation: the current task's; or the serial executor whose job is running; or, outside both, the
  /// main queue on the main thread and none elsewhere.
  [[nodiscard]] TESSALY_EXPORT static Isolation current() noexcept;
  /// The main thread's.
  [[nodiscard]] static Isolation main() noexcept { return Isolation(MainQueue::executor()); }
  /// A new serial executor. Allocates.
  [[nodiscard]] static Isolation serial() { return Isolation(new SerialExecutor, Adopt{}); }

  /// Null when there is none.
  [[nodiscard]] Executor* executor() const noexcept { return executor_; }

  friend bool operator==(const Isolation&, const Isolation&) noexcept = default;

 private:
  struct Adopt {};
  Isolation(Executor* executor, Adopt) noexcept : executor_(executor) {}

  Executor* executor_ = nullptr;
};

}  // namespace Tessaly::inline v1
