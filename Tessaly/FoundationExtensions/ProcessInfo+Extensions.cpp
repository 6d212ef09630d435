// SPDX-License-Identifier: MIT
#include "Tessaly/FoundationExtensions/ProcessInfo+Extensions.hpp"

namespace Tessaly::inline v1 {

bool isRunningTests(const ProcessInfo& process) {
  return process.environmentValue("XCTestConfigurationFilePath").has_value();
}

bool isSandboxed(const ProcessInfo& process) {
  return process.environmentValue("APP_SANDBOX_CONTAINER_ID").has_value();
}

std::string osName(const ProcessInfo& /*process*/) { return "macOS"; }

std::string osVersionString(const ProcessInfo& process) { return process.operatingSystemVersion().description(); }

}  // namespace Tessaly::inline v1
