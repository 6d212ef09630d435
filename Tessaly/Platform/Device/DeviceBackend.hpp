// SPDX-License-Identifier: MIT
// Component: Tessaly::Device
#pragma once

#include <cstddef>
#include <cstdint>

#include "Tessaly/Core/Base/BackendInstallation.hpp"
#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1 {

/// The source of the hardware model's name.
enum class DeviceSource : std::uint8_t {
  /// The machine does not give a name, as in many virtual machines and containers.
  none,
  /// The firmware's tables.
  dmi,
  /// The device tree.
  deviceTree,
};

/// The named values of the system that describe the device.
///
/// Applications use `DeviceService` instead of this class.
///
/// Thread contract: thread-safe.
///
///     std::size_t size = 0;
///     if (DeviceBackend::current().sysctlbyname("hw.model", nullptr, &size) != 0) return;
class TESSALY_EXPORT DeviceBackend {
 public:
  DeviceBackend() = default;
  DeviceBackend(const DeviceBackend&) = delete;
  DeviceBackend& operator=(const DeviceBackend&) = delete;
  virtual ~DeviceBackend();

  /// Copies the value to `buffer`, which must have room for `*size` bytes. The value is a text with its terminating
  /// zero. Sets `*size` to the number of bytes copied. If `buffer` is null, only sets `*size` to the number of bytes
  /// needed. Returns 0, or an `errno` value: `ENOENT` for an unknown name or a missing value, `ENOMEM` for a buffer
  /// that is too small. After an error, `*size` is unchanged.
  virtual std::int32_t sysctlbyname(const char* name, void* buffer, std::size_t* size) = 0;
  /// The source of "hw.model".
  [[nodiscard]] virtual DeviceSource source() const = 0;

  /// The backend in use.
  [[nodiscard]] static DeviceBackend& current();
  /// The system's backend, which is made at the first call and never destroyed.
  [[nodiscard]] static DeviceBackend& system();
  /// The place that `BackendInstallation` writes to.
  [[nodiscard]] static InstalledBackend<DeviceBackend>& installed() noexcept;
};

/// Replaces `DeviceBackend::current()` for a scope.
using DeviceBackendInstallation = BackendInstallation<DeviceBackend>;

}  // namespace Tessaly::inline v1
