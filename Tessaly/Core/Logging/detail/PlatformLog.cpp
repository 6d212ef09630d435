// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Logging/detail/PlatformLog.hpp"

#include <atomic>
#include <new>
#include <string>

#include "Tessaly/Core/Logging/LogRecord.hpp"

namespace Tessaly::inline v1::detail {
namespace {

constinit std::atomic<const std::string*> subsystemOfBundle{nullptr};

void logPlatform(OSLogType type, std::string_view category, std::string_view message) noexcept {
  try {
    const OSLog log = platformLog(category);
    if (!log.isEnabled(type)) return;
    const RawLogArgument argument = rawLogArgument(message);
    writeLogRecord(log, type,
                   {.format = "%{public}s", .location = {}, .arguments = {&argument, 1}, .placeholders = {}});
  } catch (const std::bad_alloc&) {
    return;  // The log itself needs memory, so it cannot report this failure.
  }
}

}  // namespace

OSLog platformLog(std::string_view category) {
  const auto* subsystem = subsystemOfBundle.load(std::memory_order_acquire);
  return OSLog(subsystem != nullptr ? std::string_view(*subsystem) : "Tessaly", category);
}

void logPlatformError(std::string_view category, std::string_view message) noexcept {
  logPlatform(OSLogType::error, category, message);
}

void logPlatformNotice(std::string_view category, std::string_view message) noexcept {
  logPlatform(OSLogType::default_, category, message);
}

void setPlatformLogIdentifier(std::string_view identifier) noexcept {
  if (subsystemOfBundle.load(std::memory_order_acquire) != nullptr) return;
  try {
    const auto* subsystem = new std::string(std::string(identifier) + ".Tessaly");
    const std::string* expected = nullptr;
    if (!subsystemOfBundle.compare_exchange_strong(expected, subsystem, std::memory_order_acq_rel)) delete subsystem;
  } catch (const std::bad_alloc&) {
    return;  // The subsystem stays "Tessaly".
  }
}

}  // namespace Tessaly::inline v1::detail
