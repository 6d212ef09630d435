// SPDX-License-Identifier: MIT
#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "tests/Platform/Foundation/TemporaryFolder.hpp"
#include "tests/system/services/Process.hpp"

namespace Tessaly::Tests {

/// An X server of the test's own, which the environment names as the display, and another program as its user.
class XServer {
 public:
  XServer() {
    ::unsetenv("WAYLAND_DISPLAY");
    start();
  }

  /// Why it, or its user, does not run; empty if both do.
  [[nodiscard]] const std::string& reason() const { return reason_; }
  [[nodiscard]] const std::string& folder() const { return folder_.path(); }
  Process& process() { return process_; }

  void start() {
    const std::string number = folder() + "/display";
    std::filesystem::remove(number);
    process_ = Process({"sh", "-c", "exec Xvfb -displayfd 3 -nolisten tcp -screen 0 640x480x24 3>" + number},
                       folder() + "/Xvfb.log");
    comesTrue([&] { return contentsOf(number).ends_with('\n'); });
    std::string display = contentsOf(number);
    if (display.empty()) {
      reason_ = "no X server could be started: " + contentsOf(folder() + "/Xvfb.log");
      return;
    }
    display.pop_back();
    ::setenv("DISPLAY", (':' + display).c_str(), 1);
    reason_ = Process({"xclip", "-version"}).wait() == 0 ? "" : "xclip is not installed";
  }

  /// What another program pastes; "failed" if that does not offer the form.
  [[nodiscard]] std::string paste(const std::string& form = "UTF8_STRING") const {
    const std::string file = folder() + "/pasted";
    Process reader({"timeout", "8", "xclip", "-selection", "clipboard", "-o", "-t", form}, file);
    return reader.wait() == 0 ? contentsOf(file) : "failed";
  }
  /// Another program that owns the pasteboard.
  [[nodiscard]] Process copyElsewhere(const std::string& text) const {
    Process other({"sh", "-c", "printf %s '" + text + "' | exec xclip -quiet -selection clipboard"});
    comesTrue([&] { return paste() == text; });
    return other;
  }

 private:
  TessalyTests::TemporaryFolder folder_;
  Process process_;
  std::string reason_;
};

}  // namespace Tessaly::Tests
