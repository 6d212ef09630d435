// SPDX-License-Identifier: MIT
// Component: Tessaly::Tasks
#pragma once

#include <cstdint>
#include <functional>
#include <utility>

#include "Tessaly/Core/Base/Durations.hpp"
#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Tasks/Clock.hpp"
#include "Tessaly/Core/Tasks/Executor.hpp"

namespace Tessaly::inline v1 {

namespace detail {
struct DelayedCall;  // Defined in FoundationExtensions/OS_dispatch_queue+Delay.hpp.
}  // namespace detail

/// How urgently the user needs a piece of work.
enum class QualityOfService : std::uint8_t {
  background,
  utility,
  default_,
  userInitiated,
  userInteractive,
};

/// A queue of plain functions: the main queue, or the global queue of a quality of service.
///
/// The main queue runs functions on the main thread, in order. A global queue starts functions in order on the global
/// executor, where they may run at the same time. A function that throws stops the process. Prefer `Task`, which can be
/// awaited and cancelled.
///
/// Thread contract: thread-safe.
///
///     OS_dispatch_queue::main().async([] { redraw(); });
///     OS_dispatch_queue::global(QualityOfService::background).asyncAfter(std::chrono::seconds(5), [] { tidyUp(); });
class OS_dispatch_queue {
 public:
  using Function = std::move_only_function<void()>;

  [[nodiscard]] TESSALY_EXPORT static OS_dispatch_queue main() noexcept;
  [[nodiscard]] TESSALY_EXPORT static OS_dispatch_queue global(
      QualityOfService quality = QualityOfService::default_) noexcept;

  /// Enqueues the function. The library's executors never run it inside this call. One allocation.
  TESSALY_EXPORT void async(Function function) const;
  /// Runs the function after the delay has passed on the clock.
  TESSALY_EXPORT void asyncAfter(std::chrono::nanoseconds delay, Function function,
                                 Clock& clock = ContinuousClock::shared()) const;

  /// Calls the block once, after the seconds have passed, on the global queue of background quality. The block never
  /// runs inside the call of `delay`. Zero and negative seconds mean "at once"; NaN and more than 292 years mean
  /// "never". Callers must include Tessaly/FoundationExtensions/OS_dispatch_queue+Delay.hpp.
  template <typename Definition = detail::DelayedCall>
  static void delay(double seconds, Function block, Clock& clock = ContinuousClock::shared()) {
    static_assert(requires { sizeof(Definition); }, "include Tessaly/FoundationExtensions/OS_dispatch_queue+Delay.hpp");
    Definition::start(seconds, std::move(block), clock);
  }

  [[nodiscard]] Executor& executor() const noexcept { return *executor_; }
  [[nodiscard]] TaskPriority priority() const noexcept { return priority_; }
  friend bool operator==(const OS_dispatch_queue&, const OS_dispatch_queue&) noexcept = default;

 private:
  OS_dispatch_queue(Executor& executor, TaskPriority priority) noexcept : executor_(&executor), priority_(priority) {}

  Executor* executor_;
  TaskPriority priority_;
};

}  // namespace Tessaly::inline v1
