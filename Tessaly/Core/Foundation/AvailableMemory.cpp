// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Foundation/detail/AvailableMemory.hpp"

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <fstream>
#include <limits>
#include <optional>
#include <string_view>

namespace Tessaly::inline v1::detail {
namespace {

constexpr std::int64_t unlimited = std::numeric_limits<std::int64_t>::max();

std::optional<std::int64_t> number(std::string_view text) noexcept {
  std::int64_t value = 0;
  if (std::from_chars(text.data(), text.data() + text.size(), value).ec != std::errc()) return std::nullopt;
  return value;
}

std::optional<std::int64_t> numberIn(const std::string& path) {
  std::ifstream file(path);
  std::string line;
  if (!std::getline(file, line)) return std::nullopt;
  return number(line);
}

/// The text after a label, in the first line that begins with the label.
std::optional<std::string> entry(const std::string& path, std::string_view label) {
  std::ifstream file(path);
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with(label)) return line.substr(label.size());
  }
  return std::nullopt;
}

std::int64_t ofMachine(const std::string& root) {
  const std::string text = entry(root + "/proc/meminfo", "MemAvailable:").value_or("");
  const auto kibibytes = number(std::string_view(text).substr(std::min(text.find_first_not_of(' '), text.size())));
  return kibibytes ? *kibibytes * 1024 : unlimited;
}

/// The memory left by the process's control group of the unified hierarchy and by its parent groups.
std::int64_t ofControlGroups(const std::string& root) {
  std::int64_t least = unlimited;
  auto group = entry(root + "/proc/self/cgroup", "0::");
  while (group && group->starts_with('/') && *group != "/") {
    const std::string folder = root + "/sys/fs/cgroup" + *group;
    const auto limit = numberIn(folder + "/memory.max");  // "max" without a limit.
    const auto used = numberIn(folder + "/memory.current");
    if (limit && used) least = std::min(least, std::max<std::int64_t>(0, *limit - *used));
    group->erase(group->rfind('/'));
  }
  return least;
}

std::int64_t ofAddressSpace() {
  rlimit limit{};
  if (::getrlimit(RLIMIT_AS, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY) return unlimited;
  const std::int64_t used = numberIn("/proc/self/statm").value_or(0) * ::sysconf(_SC_PAGESIZE);
  return std::max<std::int64_t>(0, static_cast<std::int64_t>(limit.rlim_cur) - used);
}

}  // namespace

std::int64_t availableMemory(const std::string& rootFolder) {
  return std::min({ofMachine(rootFolder), ofControlGroups(rootFolder), ofAddressSpace()});
}

}  // namespace Tessaly::inline v1::detail
