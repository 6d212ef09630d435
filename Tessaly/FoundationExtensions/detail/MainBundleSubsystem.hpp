// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

namespace Tessaly::inline v1::detail {

/// The main bundle's identifier, "." and the subsystem. Stops the process at the given place when there is no
/// identifier.
[[nodiscard]] std::string mainBundleSubsystem(std::string_view subsystem, std::string_view file, unsigned line);

}  // namespace Tessaly::inline v1::detail
