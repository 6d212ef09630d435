// SPDX-License-Identifier: MIT
// Component: Tessaly::Testing
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "Tessaly/Core/Locks/UnfairLock.hpp"
#include "Tessaly/Platform/Device/DeviceBackend.hpp"

namespace Tessaly::inline v1 {

/// A device whose values a test sets.
///
/// Thread contract: thread-safe functions. The member `calls` is for tests whose calls all come from one thread; other
/// tests read `snapshot()`. Set `values` and `afterSize` while no other thread uses this backend.
///
///     const auto device = std::make_shared<ScriptedDevice>();
///     device->values["hw.model"] = "Workstation 7";
///     const DeviceBackendInstallation installation(device);
class TESSALY_EXPORT ScriptedDevice final : public DeviceBackend {
 public:
  ~ScriptedDevice() override;
  /// A copy of `calls`, also while other threads use this backend.
  [[nodiscard]] std::vector<std::string> snapshot() const;

  std::int32_t sysctlbyname(const char* name, void* buffer, std::size_t* size) override;
  [[nodiscard]] DeviceSource source() const override;

  /// The texts by name, without their terminating zeros.
  std::map<std::string, std::string> values;
  /// Called at the end of each successful `sysctlbyname` that requests only the size. So a test can change the text
  /// before the caller requests it. May be empty.
  std::function<void()> afterSize;
  /// The requested names in order. A "?" follows a name if only the size of its text was requested.
  std::vector<std::string> calls;

 private:
  mutable UnfairLock lock_;
};

}  // namespace Tessaly::inline v1
