// SPDX-License-Identifier: MIT
#pragma once

#include <sys/types.h>

#include <fstream>
#include <string>
#include <string_view>
#include <thread>

namespace Tessaly::Tests {

/// Waits until the kernel reports that a thread of this process sleeps. The states are those of /proc: "S", and "D" for
/// a wait that no signal may interrupt.
inline void waitUntilAsleep(pid_t thread, std::string_view states = "S") {
  const std::string path = "/proc/self/task/" + std::to_string(thread) + "/stat";
  for (;;) {
    std::ifstream file(path);
    const std::string text((std::istreambuf_iterator<char>(file)), {});
    const std::size_t end = text.rfind(") ");
    if (end != std::string::npos && states.contains(text[end + 2])) return;
    std::this_thread::yield();
  }
}

}  // namespace Tessaly::Tests
