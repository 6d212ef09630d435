// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Logging/OSLog.hpp"

namespace Tessaly::inline v1::detail {

/// The log of the part of this library that `category` names. Its subsystem is "Tessaly". After
/// `setPlatformLogIdentifier` has received the main bundle's identifier, the subsystem is that identifier with the
/// suffix ".Tessaly".
///
/// Thread contract: thread-safe.
[[nodiscard]] TESSALY_EXPORT OSLog platformLog(std::string_view category);

/// Writes one record of type `error` about this library itself. All of its text is public. The category is the name of
/// the reporting type. Needs no bundle identifier and never throws.
///
/// Thread contract: thread-safe.
TESSALY_EXPORT void logPlatformError(std::string_view category, std::string_view message) noexcept;
/// Like `logPlatformError`, but writes a record of type `default_`. For events that are not errors.
TESSALY_EXPORT void logPlatformNotice(std::string_view category, std::string_view message) noexcept;

/// Gives `platformLog` the main bundle's identifier. `Logger::make` and `OSLog::pointOfInterest` call this function,
/// because they have just read the identifier. Only the first call has an effect.
TESSALY_EXPORT void setPlatformLogIdentifier(std::string_view identifier) noexcept;

}  // namespace Tessaly::inline v1::detail
