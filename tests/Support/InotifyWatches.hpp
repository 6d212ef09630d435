// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>
#include <vector>

namespace Tessaly::Tests {

/// The numbers of the process's inotify descriptors.
inline std::vector<std::string> inotifyDescriptors() {
  std::vector<std::string> numbers;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    std::error_code ignored;
    if (std::filesystem::read_symlink(entry.path(), ignored) == "anon_inode:inotify") {
      numbers.push_back(entry.path().filename());
    }
  }
  return numbers;
}

/// The number of directories and files that the process watches.
inline std::ptrdiff_t watchCount() {
  std::ptrdiff_t count = 0;
  for (const std::string& number : inotifyDescriptors()) {
    std::ifstream description("/proc/self/fdinfo/" + number);
    for (std::string line; std::getline(description, line);) count += line.starts_with("inotify ") ? 1 : 0;
  }
  return count;
}

}  // namespace Tessaly::Tests
