// SPDX-License-Identifier: MIT
// Component: Tessaly::SystemServices
#pragma once

#include <string>

#include "Tessaly/Core/Base/Export.hpp"

/// The device that the application runs on.
namespace Tessaly::inline v1::DeviceService {

/// The hardware model's identifier from the firmware or the device tree. Empty if neither gives an identifier, as in
/// many virtual machines. `DeviceBackend::current().source()` says which of the two gives the identifier. Each call
/// reads files of the system.
///
/// Thread contract: thread-safe.
///
///     std::cout << "Running on " << DeviceService::deviceName() << '\n';
[[nodiscard]] TESSALY_EXPORT std::string deviceName();

}  // namespace Tessaly::inline v1::DeviceService
