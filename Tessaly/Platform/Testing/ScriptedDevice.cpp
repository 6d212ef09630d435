// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Testing/ScriptedDevice.hpp"

#include <cerrno>
#include <cstring>

namespace Tessaly::inline v1 {

ScriptedDevice::~ScriptedDevice() = default;

std::vector<std::string> ScriptedDevice::snapshot() const {
  UnfairLock::Guard guard(lock_);
  return calls;
}

std::int32_t ScriptedDevice::sysctlbyname(const char* name, void* buffer, std::size_t* size) {
  {
    UnfairLock::Guard guard(lock_);
    calls.push_back(buffer == nullptr ? std::string(name) + '?' : name);
  }
  const auto found = values.find(name);
  if (found == values.end()) return ENOENT;
  const std::size_t needed = found->second.size() + 1;
  if (buffer != nullptr) {
    if (*size < needed) return ENOMEM;
    std::memcpy(buffer, found->second.c_str(), needed);
  }
  *size = needed;
  if (buffer == nullptr && afterSize) afterSize();
  return 0;
}

DeviceSource ScriptedDevice::source() const {
  return values.contains("hw.model") ? DeviceSource::dmi : DeviceSource::none;
}

}  // namespace Tessaly::inline v1
