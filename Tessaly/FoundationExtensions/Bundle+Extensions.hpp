// SPDX-License-Identifier: MIT
// Component: Tessaly::FoundationExtensions
#pragma once

#include <optional>
#include <string>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Foundation/Bundle.hpp"
#include "Tessaly/ValueRecords/Version.hpp"

namespace Tessaly::inline v1 {

// Facts about the application of a bundle. All functions of this header are thread-safe.

/// The version that users see. Empty if the bundle has no version.
[[nodiscard]] TESSALY_EXPORT std::string appVersionString(const Bundle& bundle);
/// The number of the build. Empty if the bundle has no such number.
[[nodiscard]] TESSALY_EXPORT std::string buildNumber(const Bundle& bundle);
/// `appVersionString` as a version. Absent if the text is not a version.
[[nodiscard]] TESSALY_EXPORT std::optional<Version> appVersion(const Bundle& bundle);
/// Whether the application was installed from a channel for beta tests. Always false: the signature of a program would
/// show such a channel, but programs are not signed on this system.
[[nodiscard]] TESSALY_EXPORT bool isInTestFlight(const Bundle& bundle) noexcept;

}  // namespace Tessaly::inline v1
