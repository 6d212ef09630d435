// SPDX-License-Identifier: MIT
#pragma once

#include <sys/types.h>

#include <fstream>
#include <string>
#include <string_view>
#include <thread>

namespace Tessaly::Tests {

/// Whether the kernel reports that a thread of this process sleeps. The states are those of /proc: "S", and "D" for a
/// wait that no signal may interrupt.
inline bool isAsleep(pid_t thread, std::string_view states = "S") {
  std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/stat");
  const std::string text((std::istreambuf_iterator<char>(file)), {});
  const std::size_t end = text.rfind(") ");
  return end != std::string::npos && states.contains(text[end + 2]);
}

/// Waits until a thread sleeps.
inline void waitUntilAsleep(pid_t thread, std::string_view states = "S") {
  while (!isAsleep(thread, states)) std::this_thread::yield();
}

}  // namespace Tessaly::Tests
