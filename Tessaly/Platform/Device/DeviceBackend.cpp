// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Device/DeviceBackend.hpp"

namespace Tessaly::inline v1 {

DeviceBackend::~DeviceBackend() = default;

DeviceBackend& DeviceBackend::current() { return detail::backendInUse<DeviceBackend>(); }

InstalledBackend<DeviceBackend>& DeviceBackend::installed() noexcept {
  static constinit InstalledBackend<DeviceBackend> installed{nullptr};
  return installed;
}

}  // namespace Tessaly::inline v1
