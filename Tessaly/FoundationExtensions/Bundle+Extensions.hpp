// SPDX-License-Identifier: MIT
// Component: Tessaly::FoundationExtensions
#pragma once

#include <optional>
#include <string>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Foundation/Bundle.hpp"
#include "Tessaly/ValueRecords/Version.hpp"

namespace Tessaly::inline v1 {

// Facts about the running application. All are thread-safe.

/// The version that people see; empty where the bundle has none.
[[nodiscard]] TESSALY_EXPORT std::string appVersionString(const Bundle& bundle);
/// The number of the build; empty where the bundle has none.
[[nodiscard]] TESSALY_EXPORT std::string buildNumber(const Bundle& bundle);
/// `appVersionString` as a version; nothing where it does not read as one.
[[nodiscard]] TESSALY_EXPORT std::optional<Version> appVersion(const Bundle& bundle);
/// Whether the application came through a channel for beta tests. Programs are not signed here, so it is false.
[[nodiscard]] TESSALY_EXPORT bool isInTestFlight(const Bundle& bundle) noexcept;

}  // namespace Tessaly::inline v1
