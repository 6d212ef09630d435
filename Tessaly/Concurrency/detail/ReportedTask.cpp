// SPDX-License-Identifier: MIT
#include "Tessaly/Concurrency/detail/ReportedTask.hpp"

#include <cxxabi.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <new>
#include <string>
#include <string_view>
#include <typeinfo>
#include <utility>

#include "Tessaly/Core/Base/Error.hpp"
#include "Tessaly/Core/Base/TypeName.hpp"
#include "Tessaly/Core/Logging/LogRecord.hpp"
#include "Tessaly/Core/Logging/detail/PlatformLog.hpp"

namespace Tessaly::inline v1::detail {
namespace {

// The text of an error may name files or persons, so the record has it as a private argument.
void logUnreadError(std::string_view text) noexcept {
  try {
    const std::type_info* type = abi::__cxa_current_exception_type();
    const std::string name = type != nullptr ? unqualifiedTypeName(*type) : "an error of another language";
    const std::array arguments{rawLogArgument(name), rawLogArgument(text)};
    writeLogRecord(
        platformLog("Task"), OSLogType::error,
        {.format = "A task failed, and no task awaits its value. The error is %{public}s: %{private}s. Catch it in the "
                   "task, or await value() of the task.",
         .location = {},
         .arguments = arguments,
         .placeholders = {}});
  } catch (const std::bad_alloc&) {
    return;  // The log itself needs memory, so it cannot report this failure.
  }
}

/// A task that owns and runs a closure of any type. The closure lies behind the task in the same memory.
class AnyClosureTask final : public ReportedTask {
 public:
  AnyClosureTask(const ClosureKind& kind, void* given, TaskPriority priority, Isolation&& isolation)
      : ReportedTask(priority, std::move(isolation), TaskLocalCopies::ofTheCaller), kind_(kind) {
    kind.construct(closure(), given);
  }
  AnyClosureTask(const AnyClosureTask&) = delete;
  AnyClosureTask& operator=(const AnyClosureTask&) = delete;

  static void* operator new(std::size_t, const ClosureKind& kind) {
    return isOveraligned(kind) ? TaskRecord::operator new(memorySize(kind), std::align_val_t(kind.alignment))
                               : TaskRecord::operator new(memorySize(kind));
  }
  static void operator delete(void* memory, const ClosureKind& kind) noexcept {
    if (isOveraligned(kind)) {
      TaskRecord::operator delete(memory, memorySize(kind), std::align_val_t(kind.alignment));
    } else {
      TaskRecord::operator delete(memory, memorySize(kind));
    }
  }
  // The usual form would get the size without the closure.
  static void operator delete(AnyClosureTask* task, std::destroying_delete_t) noexcept {
    const ClosureKind& kind = task->kind_;
    task->~AnyClosureTask();
    operator delete(static_cast<void*>(task), kind);
  }

 private:
  ~AnyClosureTask() override { destroyClosure(); }

  static bool isOveraligned(const ClosureKind& kind) noexcept {
    return kind.alignment > __STDCPP_DEFAULT_NEW_ALIGNMENT__;
  }
  static std::size_t offset(const ClosureKind& kind) noexcept {
    return (sizeof(AnyClosureTask) + kind.alignment - 1) & ~(kind.alignment - 1);
  }
  static std::size_t memorySize(const ClosureKind& kind) noexcept { return offset(kind) + kind.size; }
  void* closure() noexcept { return reinterpret_cast<std::byte*>(this) + offset(kind_); }

  std::coroutine_handle<> makeRoot() noexcept override {
    try {
      root_ = kind_.call(closure());
      if (!kind_.returnsAsync) outcome_.setValue();
    } catch (...) {
      outcome_.setError(std::current_exception());
    }
    return root_;
  }
  void finish() noexcept override {
    if (root_ != nullptr) takeOver(root_);
    destroyClosure();
    endOutcome();
  }
  void destroyClosure() noexcept {
    if (std::exchange(hasClosure_, false)) kind_.destroy(closure());
  }

  const ClosureKind& kind_;
  bool hasClosure_ = true;
  std::coroutine_handle<AsyncPromise<void>> root_;
};

}  // namespace

TaskState<void>* makeReportedTask(TaskPriority priority, Isolation&& isolation, const ClosureKind& kind, void* given) {
  return new (kind) AnyClosureTask(kind, given, priority, std::move(isolation));
}

ReportedTask::~ReportedTask() { reportUnreadError(); }

void ReportedTask::didComplete() noexcept {
  constexpr std::uint32_t runAndList = 2;
  if (references() <= runAndList) reportUnreadError();
  TaskState::didComplete();
}

void ReportedTask::reportUnreadError() noexcept {
  // The outcome does not change any more. The flag only decides who reports.
  if (isRead_.exchange(true, std::memory_order_relaxed)) return;
  try {
    outcome_.get();
  } catch (const CancellationError&) {
    return;  // The usual end of a cancelled task.
  } catch (const std::exception& error) {
    logUnreadError(error.what());
  } catch (...) {
    logUnreadError("");
  }
}

}  // namespace Tessaly::inline v1::detail
