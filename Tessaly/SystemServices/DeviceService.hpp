// SPDX-License-Identifier: MIT
// Component: Tessaly::SystemServices
#pragma once

#include <string>

#include "Tessaly/Core/Base/Export.hpp"

/// The device that the application runs on.
namespace Tessaly::inline v1::DeviceService {

/// The hardware model's identifier as the firmware or the device tree has it; empty where neither says, as in many
/// virtual machines (`DeviceBackend::current().source()` tells). Reads files of the system at each call.
///
/// Thread contract: thread-safe.
///
///     std::cout << "Running on " << DeviceService::deviceName() << '\n';
[[nodiscard]] TESSALY_EXPORT std::string deviceName();

}  // namespace Tessaly::inline v1::DeviceService
