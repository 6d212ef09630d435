// SPDX-License-Identifier: MIT
// Component: Tessaly::Logging
#pragma once

#include <chrono>
#include <cstddef>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Logging/JournalStatus.hpp"
#include "Tessaly/Core/Logging/OSLog.hpp"

namespace Tessaly::inline v1 {

/// What a host may decide about the log, at any time. No file or environment variable is read.
///
/// Thread contract: thread-safe.
///
///     LogConfiguration::setEnabled(OSLogType::debug, LogSwitch::on);
///     LogConfiguration::setStandardErrorOutput(LogSwitch::on);
namespace LogConfiguration {

/// Enables or disables a type for every log that has no choice of its own. At first `default_`, `error` and `fault` are
/// enabled.
TESSALY_EXPORT void setEnabled(OSLogType type, LogSwitch state) noexcept;
/// Enables or disables a type for one log, whatever holds for the process.
TESSALY_EXPORT void setEnabled(const OSLog& log, OSLogType type, LogSwitch state) noexcept;
/// Enables or disables signposts for every log that has no choice of its own. At first they are enabled.
TESSALY_EXPORT void setSignpostsEnabled(LogSwitch state) noexcept;
/// Enables or disables signposts for one log, whatever holds for the process.
TESSALY_EXPORT void setSignpostsEnabled(const OSLog& log, LogSwitch state) noexcept;
/// Takes back every choice that was made for one log.
TESSALY_EXPORT void resetEnabled(const OSLog& log) noexcept;

/// Whether private arguments of records written from now on are shown instead of `<private>`, everywhere. At first they
/// are not. Meant for developers at their own machine.
TESSALY_EXPORT void setPrivateDataShown(LogSwitch state) noexcept;

/// Whether records also go to standard error, a line each, in UTC. At first they do not. The lines go to what standard
/// error is at the time of this call, even if that descriptor is given away later; a closed one takes nothing.
TESSALY_EXPORT void setStandardErrorOutput(LogSwitch state) noexcept;

/// How many bytes of records the process keeps for reading back: 1 MiB unless set; rounded down to a power of two, at
/// least 4 KiB. False, and nothing changes, once the first record was written.
TESSALY_EXPORT bool setStoreCapacity(std::size_t bytes) noexcept;

/// How the journal fares, and why records do not reach it if they do not.
[[nodiscard]] TESSALY_EXPORT JournalStatus journalStatus() noexcept;

/// Waits until the records written so far have left the process, at most `limit`. Done by itself at exit and before
/// `fatalError` aborts, for at most a second.
TESSALY_EXPORT void flush(std::chrono::nanoseconds limit) noexcept;

}  // namespace LogConfiguration

}  // namespace Tessaly::inline v1
