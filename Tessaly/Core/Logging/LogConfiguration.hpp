// SPDX-License-Identifier: MIT
// Component: Tessaly::Logging
#pragma once

#include <cstddef>

#include "Tessaly/Core/Base/Durations.hpp"
#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Logging/JournalStatus.hpp"
#include "Tessaly/Core/Logging/OSLog.hpp"

namespace Tessaly::inline v1 {

/// The settings of the log. A host may change all of them at any time, except the capacity of the store. No setting
/// comes from a file or an environment variable.
///
/// Thread contract: thread-safe.
///
///     LogConfiguration::setEnabled(OSLogType::debug, LogSwitch::on);
///     LogConfiguration::setStandardErrorOutput(LogSwitch::on);
namespace LogConfiguration {

/// Enables or disables a type for every log that has no separate setting for the type. By default `default_`, `error`
/// and `fault` are enabled.
TESSALY_EXPORT void setEnabled(OSLogType type, LogSwitch state) noexcept;
/// Enables or disables a type for one log. This setting takes precedence over the setting for every log.
TESSALY_EXPORT void setEnabled(const OSLog& log, OSLogType type, LogSwitch state) noexcept;
/// Enables or disables signposts for every log that has no separate setting for signposts. By default they are enabled.
TESSALY_EXPORT void setSignpostsEnabled(LogSwitch state) noexcept;
/// Enables or disables signposts for one log. This setting takes precedence over the setting for every log.
TESSALY_EXPORT void setSignpostsEnabled(const OSLog& log, LogSwitch state) noexcept;
/// Removes every setting that was made for one log.
TESSALY_EXPORT void resetEnabled(const OSLog& log) noexcept;

/// Sets whether later records show private arguments instead of `<private>`. By default records do not show them. The
/// setting is meant for developers on their own machine.
TESSALY_EXPORT void setPrivateDataShown(LogSwitch state) noexcept;

/// Sets whether records also go to standard error, with times in UTC. By default they do so only in a sandbox without
/// the journal's socket. Each record begins a line. Further lines of its message are indented. The lines go to the file
/// that standard error refers to during this call, even if the host redirects standard error later. If standard error
/// is not open during this call, the lines are discarded.
TESSALY_EXPORT void setStandardErrorOutput(LogSwitch state) noexcept;

/// Sets the number of bytes of records that the process keeps for reading back. The default is 1 MiB. The number is
/// rounded down to a power of two, and is at least 4 KiB. Returns false and changes nothing once a thread makes the
/// store. The first record makes the store, and so does an earlier call of `setStandardErrorOutput`, `journalStatus`,
/// `flush` or `OSLogStore::currentProcess`.
TESSALY_EXPORT bool setStoreCapacity(std::size_t bytes) noexcept;

/// The state of the connection to the journal, and the reason if records do not reach it.
[[nodiscard]] TESSALY_EXPORT JournalStatus journalStatus() noexcept;

/// Waits, for at most `limit`, until the backend has sent the records that were written before the call. Returns early
/// if sending fails. The library itself flushes the system's backend when the process exits. `fatalError` also flushes
/// it before the abort, unless a thread holds the lock of the process's record store. Each of these two flushes takes
/// at most 1 s.
TESSALY_EXPORT void flush(std::chrono::nanoseconds limit) noexcept;

}  // namespace LogConfiguration

}  // namespace Tessaly::inline v1
