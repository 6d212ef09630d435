// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

namespace Tessaly::inline v1::detail {

/// Returns the main bundle's identifier, "." and the subsystem. If the bundle has no identifier, stops the process and
/// reports `file` and `line` as the source location. Also passes the bundle's identifier to `setPlatformLogIdentifier`.
[[nodiscard]] std::string mainBundleSubsystem(std::string_view subsystem, std::string_view file, unsigned line);

}  // namespace Tessaly::inline v1::detail
