// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "tests/system/services/Process.hpp"

namespace Tessaly::Tests {

/// An X server of a test's own, without a screen that anybody sees, and somebody at its keyboard. It becomes the
/// display of the process, and ends with this.
class PrivateDisplay {
 public:
  /// The keyboard has the letters of the United States, and these.
  PrivateDisplay(std::string_view furtherLetters, int width, int height);
  PrivateDisplay(const PrivateDisplay&) = delete;
  PrivateDisplay& operator=(const PrivateDisplay&) = delete;
  ~PrivateDisplay();

  /// Empty if the server runs, and otherwise what it said.
  [[nodiscard]] const std::string& problem() const { return problem_; }

  /// Gives the keyboard to the window with this title. False as long as there is none to be seen.
  bool focus(const std::string& title);

  /// Presses and releases the keys of these letters. Returns at once.
  void type(std::string_view letters);
  /// Presses the keys one after the other and releases them in reverse, by their names: {"Control_L", "v"}.
  void press(const std::vector<std::string>& names);
  /// How many keys have been released until now.
  [[nodiscard]] int releases() const { return releases_; }

 private:
  struct Connection;

  void stroke(unsigned keycode, bool isShifted);

  Process server_;
  std::unique_ptr<Connection> connection_;
  std::string problem_;
  int releases_ = 0;
};

}  // namespace Tessaly::Tests
