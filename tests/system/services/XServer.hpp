// SPDX-License-Identifier: MIT
#pragma once

#include <unistd.h>

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
    // A number of this process, or another test's server could take that of one that has ended.
    const std::string display = std::to_string(1'000 + ::getpid() % 25'000 * 2 + starts_++);
    process_ =
        Process({"sh", "-c", "exec Xvfb :" + display + " -displayfd 3 -nolisten tcp -screen 0 640x480x24 3>" + number},
                folder() + "/Xvfb.log");
    if (!comesTrue([&] { return contentsOf(number).ends_with('\n'); })) {
      reason_ = "no X server could be started: " + contentsOf(folder() + "/Xvfb.log");
      return;
    }
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
  int starts_ = 0;
};

}  // namespace Tessaly::Tests
