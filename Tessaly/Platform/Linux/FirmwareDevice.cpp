// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Linux/FirmwareDevice.hpp"

#include <cerrno>
#include <cstring>
#include <string_view>

#include "Tessaly/Core/Base/detail/DescriptorIO.hpp"

namespace Tessaly::inline v1 {
namespace {

/// The text of the file up to its first zero, without the white space around it. Reads at most 4 KiB, because the files
/// of firmware have at most one page.
std::string textOf(const std::string& path) {
  const std::string bytes = detail::beginningOfFile(path, 4096).value_or("");
  const std::string_view text(bytes.data(), ::strnlen(bytes.data(), bytes.size()));
  constexpr std::string_view space = " \t\r\n\v\f";
  const std::size_t begin = text.find_first_not_of(space);
  if (begin == std::string_view::npos) return {};
  return std::string(text.substr(begin, text.find_last_not_of(space) - begin + 1));
}

}  // namespace

FirmwareDevice::~FirmwareDevice() = default;

FirmwareDevice::Model FirmwareDevice::model() const {
  constexpr std::pair<const char*, DeviceSource> places[] = {
      {"/sys/class/dmi/id/product_name", DeviceSource::dmi},
      {"/sys/firmware/devicetree/base/model", DeviceSource::deviceTree},
      {"/proc/device-tree/model", DeviceSource::deviceTree}};
  for (const auto& [path, source] : places) {
    if (std::string text = textOf(rootFolder_ + path); !text.empty()) return {std::move(text), source};
  }
  return {};
}

std::int32_t FirmwareDevice::sysctlbyname(const char* name, void* buffer, std::size_t* size) {
  if (std::string_view(name) != "hw.model") return ENOENT;
  const Model found = model();
  if (found.source == DeviceSource::none) return ENOENT;
  const std::size_t needed = found.name.size() + 1;
  if (buffer != nullptr) {
    if (*size < needed) return ENOMEM;
    std::memcpy(buffer, found.name.c_str(), needed);
  }
  *size = needed;
  return 0;
}

DeviceSource FirmwareDevice::source() const { return model().source; }

DeviceBackend& DeviceBackend::system() {
  static auto& backend = *new FirmwareDevice;
  return backend;
}

}  // namespace Tessaly::inline v1
