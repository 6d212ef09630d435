// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Logging/OSLog.hpp"

namespace Tessaly::inline v1::detail {

/// The log of one part of the platform layer. Its subsystem is "Tessaly", joined to the main bundle's identifier
/// ("app.identifier.Tessaly") as soon as that is known here; it need not be.
///
/// Thread contract: thread-safe.
[[nodiscard]] TESSALY_EXPORT OSLog platformLog(std::string_view category);

/// Writes one record of type error about the platform layer itself: all of the text public, the category the name of
/// the reporting type. Needs no bundle identifier and never throws.
///
/// Thread contract: thread-safe.
TESSALY_EXPORT void logPlatformError(std::string_view category, std::string_view message) noexcept;
/// The same as a record of the default type, for what is no error.
TESSALY_EXPORT void logPlatformNotice(std::string_view category, std::string_view message) noexcept;

/// Tells the main bundle's identifier to `platformLog`. Called by `Logger::make`, which has just asked for it.
TESSALY_EXPORT void setPlatformLogIdentifier(std::string_view identifier) noexcept;

}  // namespace Tessaly::inline v1::detail
