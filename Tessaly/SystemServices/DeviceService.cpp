// SPDX-License-Identifier: MIT
#include "Tessaly/SystemServices/DeviceService.hpp"

#include <algorithm>

#include "Tessaly/Platform/Device/DeviceBackend.hpp"

namespace Tessaly::inline v1::DeviceService {

std::string deviceName() {
  constexpr const char* name = "hw.model";
  DeviceBackend& device = DeviceBackend::current();
  std::size_t size = 0;
  if (device.sysctlbyname(name, nullptr, &size) != 0) return {};
  std::string text(size, '\0');
  std::size_t reported = text.size();
  if (device.sysctlbyname(name, text.data(), &reported) != 0) reported = 0;
  text.resize(std::min(reported, text.size()));
  if (text.ends_with('\0')) text.pop_back();
  return text;
}

}  // namespace Tessaly::inline v1::DeviceService
