// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>
#include <thread>

namespace Tessaly::Tests {

/// The number of times that the library's threads in this process went to sleep. Each wake-up counts once.
inline std::int64_t sleepsOfLibrary() {
  std::int64_t sleeps = 0;
  std::error_code ignored;
  for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task", ignored)) {
    std::string name;
    std::getline(std::ifstream(thread.path() / "comm"), name);
    if (!name.starts_with("tessaly")) continue;
    std::ifstream status(thread.path() / "status");
    for (std::string line; std::getline(status, line);) {
      if (line.starts_with("voluntary_ctxt_switches:")) sleeps += std::stoll(line.substr(line.find(':') + 1));
    }
  }
  return sleeps;
}

/// Whether the library's threads sleep through a stretch of time, after they have finished their work. Waits at most 8
/// s for that.
inline bool libraryStaysAsleep(std::chrono::milliseconds stretch) {
  for (const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(8);;) {
    const std::int64_t before = sleepsOfLibrary();
    std::this_thread::sleep_for(stretch);
    if (sleepsOfLibrary() == before) return true;
    if (std::chrono::steady_clock::now() > limit) return false;
  }
}

}  // namespace Tessaly::Tests
