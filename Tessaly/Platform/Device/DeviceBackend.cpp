// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Device/DeviceBackend.hpp"

#include "Tessaly/Platform/Linux/FirmwareDevice.hpp"

namespace Tessaly::inline v1 {

DeviceBackend::~DeviceBackend() = default;

DeviceBackend& DeviceBackend::current() {
  if (auto* backend = installed().load(std::memory_order_acquire)) return *backend;
  static auto& firmware = *new FirmwareDevice;
  return firmware;
}

std::atomic<DeviceBackend*>& DeviceBackend::installed() noexcept {
  static constinit std::atomic<DeviceBackend*> installed{nullptr};
  return installed;
}

}  // namespace Tessaly::inline v1
