// SPDX-License-Identifier: MIT
#include "Tessaly/Concurrency/detail/ReportedTask.hpp"

#include <cxxabi.h>

#include <array>
#include <cstdint>
#include <exception>
#include <new>
#include <string>
#include <string_view>
#include <typeinfo>

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

}  // namespace

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
