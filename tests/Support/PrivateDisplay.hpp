// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "tests/Support/XServer.hpp"

namespace Tessaly::Tests {

/// An X server of a test, and a user at its keyboard and its mouse.
class PrivateDisplay {
 public:
  /// The keyboard has the keys of a US keyboard, and keys for `furtherLetters`.
  PrivateDisplay(std::string_view furtherLetters, int width, int height);
  PrivateDisplay(const PrivateDisplay&) = delete;
  PrivateDisplay& operator=(const PrivateDisplay&) = delete;
  ~PrivateDisplay();

  /// The reason why the display does not run. Empty if it runs.
  [[nodiscard]] const std::string& reason() const { return server_.reason(); }

  /// Gives the keyboard to the window with this title. Returns false while no such window is visible.
  bool focus(const std::string& title);
  /// Whether the window with this title shows more than one colour. The toolkit has then placed its widgets.
  bool isDrawn(const std::string& title);

  /// Presses and releases the keys of these letters. Returns at once.
  void type(std::string_view letters);
  /// Presses the keys in order and releases them in reverse, by their names: {"Control_L", "v"}.
  void press(const std::vector<std::string>& names);
  /// Clicks at a place of the screen.
  void click(int x, int y);
  /// The number of released keys so far.
  [[nodiscard]] int releases() const { return releases_; }

 private:
  struct Connection;

  void stroke(unsigned keycode, bool isShifted);

  XServer server_;
  std::unique_ptr<Connection> connection_;
  int releases_ = 0;
};

}  // namespace Tessaly::Tests
