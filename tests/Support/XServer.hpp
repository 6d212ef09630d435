// SPDX-License-Identifier: MIT
#pragma once

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <utility>

#include "tests/Support/ContentsOf.hpp"
#include "tests/Support/Process.hpp"
#include "tests/Support/TemporaryFolder.hpp"
#include "tests/Support/WaitUntil.hpp"

namespace Tessaly::Tests {

/// An X server of the test without a visible screen. The environment names it as the display.
class XServer {
 public:
  /// The size of its screen.
  explicit XServer(std::string size = "640x480") : size_(std::move(size)) {
    ::unsetenv("WAYLAND_DISPLAY");
    // GTK draws without OpenGL then, whose software library is slow to load and leaves memory behind.
    ::setenv("GDK_DEBUG", "gl-disable", 0);
    start();
  }

  /// The reason why it does not run. Empty if it runs.
  [[nodiscard]] const std::string& reason() const { return reason_; }
  [[nodiscard]] const std::string& folder() const { return folder_.path(); }
  Process& process() { return process_; }

  void start() {
    const std::string number = folder() + "/display";
    std::filesystem::remove(number);
    // The number of this process. Another number could be that of a server that has just ended.
    const std::string display = ":" + std::to_string(1'000 + ::getpid() % 25'000 * 2 + starts_++);
    process_ = Process(
        {"sh", "-c",
         "exec Xvfb " + display + " -displayfd 3 -nolisten tcp -noreset -screen 0 " + size_ + "x24 3>" + number},
        folder() + "/Xvfb.log");
    if (!waitUntil([&] { return contentsOf(number).ends_with('\n'); })) {
      reason_ = "no X server could be started: " + contentsOf(folder() + "/Xvfb.log");
      return;
    }
    ::setenv("DISPLAY", display.c_str(), 1);
    reason_ = "";
  }

 private:
  std::string size_;
  TemporaryFolder folder_;
  Process process_;
  std::string reason_;
  int starts_ = 0;
};

}  // namespace Tessaly::Tests
