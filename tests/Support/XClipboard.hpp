// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "tests/Support/ContentsOf.hpp"
#include "tests/Support/Process.hpp"
#include "tests/Support/WaitUntil.hpp"
#include "tests/Support/XServer.hpp"

namespace Tessaly::Tests {

/// An X server, and another program that uses its clipboard.
class XClipboard {
 public:
  /// The reason why the clipboard is not available. Empty if it is.
  [[nodiscard]] std::string reason() const {
    if (!server_.reason().empty()) return server_.reason();
    return Process({"xclip", "-version"}).wait() == 0 ? "" : "xclip is not installed";
  }
  XServer& server() { return server_; }
  /// A directory for the files of the tests.
  [[nodiscard]] const std::string& folder() const { return server_.folder(); }

  /// The text that the other program pastes. "failed" if the clipboard does not offer the form.
  [[nodiscard]] std::string paste(const std::string& form = "UTF8_STRING") const {
    const std::string file = folder() + "/pasted";
    Process reader({"timeout", "8", "xclip", "-selection", "clipboard", "-o", "-t", form}, file);
    return reader.wait() == 0 ? contentsOf(file) : "failed";
  }
  /// The other program while it owns the clipboard.
  [[nodiscard]] Process copyElsewhere(const std::string& text) const {
    Process other({"sh", "-c", "printf %s '" + text + "' | exec xclip -quiet -selection clipboard"});
    waitUntil([&] { return paste() == text; });
    return other;
  }

 private:
  XServer server_;
};

}  // namespace Tessaly::Tests
