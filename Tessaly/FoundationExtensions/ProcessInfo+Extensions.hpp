// SPDX-License-Identifier: MIT
// Component: Tessaly::FoundationExtensions
#pragma once

#include <string>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Foundation/ProcessInfo.hpp"

namespace Tessaly::inline v1 {

// Facts about the running process. All functions of this header are thread-safe.

/// Whether the environment contains "XCTestConfigurationFilePath", with any value.
[[nodiscard]] TESSALY_EXPORT bool isRunningTests(const ProcessInfo& process);
/// Whether the environment contains "APP_SANDBOX_CONTAINER_ID", with any value.
[[nodiscard]] TESSALY_EXPORT bool isSandboxed(const ProcessInfo& process);
/// Always "macOS", intentionally also on Linux.
[[nodiscard]] TESSALY_EXPORT std::string osName(const ProcessInfo& process);
/// `ProcessInfo::operatingSystemVersion` as text: the version of the distribution, not of the kernel. The text has
/// three numbers, such as "12.0.0".
[[nodiscard]] TESSALY_EXPORT std::string osVersionString(const ProcessInfo& process);

}  // namespace Tessaly::inline v1
