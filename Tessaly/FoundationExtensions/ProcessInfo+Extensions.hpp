// SPDX-License-Identifier: MIT
// Component: Tessaly::FoundationExtensions
#pragma once

#include <string>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Foundation/ProcessInfo.hpp"

namespace Tessaly::inline v1 {

// Facts about the running process. All are thread-safe.

/// Whether the environment has "XCTestConfigurationFilePath", whatever its value.
[[nodiscard]] TESSALY_EXPORT bool isRunningTests(const ProcessInfo& process);
/// Whether the environment has "APP_SANDBOX_CONTAINER_ID", whatever its value.
[[nodiscard]] TESSALY_EXPORT bool isSandboxed(const ProcessInfo& process);
/// "macOS", on every system.
[[nodiscard]] TESSALY_EXPORT std::string osName(const ProcessInfo& process);
/// The system's version in three numbers: "12.0.0".
[[nodiscard]] TESSALY_EXPORT std::string osVersionString(const ProcessInfo& process);

}  // namespace Tessaly::inline v1
