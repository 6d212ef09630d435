// SPDX-License-Identifier: MIT
// Component: Tessaly::Testing
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "Tessaly/Platform/Device/DeviceBackend.hpp"

namespace Tessaly::inline v1 {

/// A device whose values a test sets.
///
/// Thread contract: thread-compatible. The library asks it on the caller's thread only.
///
///     const auto device = std::make_shared<ScriptedDevice>();
///     device->values["hw.model"] = "Workstation 7";
///     const DeviceBackendInstallation installation(device);
class TESSALY_EXPORT ScriptedDevice final : public DeviceBackend {
 public:
  ~ScriptedDevice() override;

  std::int32_t sysctlbyname(const char* name, void* buffer, std::size_t* size) override;
  [[nodiscard]] DeviceSource source() const override;

  /// The texts by name, without their terminating zeros.
  std::map<std::string, std::string> values;
  /// Called at the end of each successful `sysctlbyname` that requests only the size. So a test can change the text
  /// before the caller requests it. May be empty.
  std::function<void()> afterSize;
  /// The requested names in order. A "?" follows a name if only the size of its text was requested.
  std::vector<std::string> calls;
};

}  // namespace Tessaly::inline v1
