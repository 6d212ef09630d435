// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

#include "Tessaly/Platform/Device/DeviceBackend.hpp"

namespace Tessaly::inline v1 {

/// A device backend that reads the hardware model from the firmware's tables, or else from the device tree.
///
/// Thread contract: thread-safe. Each call reads at most three files, and at most 4 KiB of each.
///
///     FirmwareDevice device("/sysroot");
///     if (device.source() == DeviceSource::none) return;
class TESSALY_EXPORT FirmwareDevice final : public DeviceBackend {
 public:
  /// A backend that reads the files below the directory `rootFolder`, or below "/" if `rootFolder` is empty.
  explicit FirmwareDevice(std::string rootFolder = {}) : rootFolder_(std::move(rootFolder)) {}
  ~FirmwareDevice() override;

  std::int32_t sysctlbyname(const char* name, void* buffer, std::size_t* size) override;
  [[nodiscard]] DeviceSource source() const override;

 private:
  struct Model {
    std::string name;
    DeviceSource source = DeviceSource::none;
  };
  [[nodiscard]] Model model() const;

  const std::string rootFolder_;
};

}  // namespace Tessaly::inline v1
