// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <sstream>
#include <string>
#include <string_view>

namespace Tour {

/// Joins values to one text: `text("open: ", error)`.
template <typename... Values>
std::string text(const Values&... values) {
  std::ostringstream stream;
  (stream << ... << values);
  return std::move(stream).str();
}

/// 27104 is "27,104".
std::string grouped(std::uint64_t number);
/// 64012345 is "64.0 MB".
std::string megabytes(std::uint64_t bytes);
/// 25276500000 is "25.3 GB".
std::string gigabytes(std::uint64_t bytes);
/// "0.8 s".
std::string seconds(std::chrono::nanoseconds duration);

/// Writes the tour to standard output and counts the correct results. Use it on the main thread only.
class Narrator {
 public:
  Narrator();

  void chapter(std::string_view title);
  void say(std::string_view line);
  /// States a condition, and whether it holds.
  void check(bool isRight, std::string_view claim);
  /// The progress of a piece of work: one changing line on a terminal, a line for each quarter elsewhere.
  void progress(std::size_t done, std::size_t total, std::string_view of);

  /// Writes the summary and returns the exit status. It is 0 only if there were checks, all of them passed, and the
  /// output succeeded.
  int finish();

 private:
  void line(std::string_view mark, std::string_view colour, std::string_view text);
  void clearProgress();

  const bool isTerminal_;
  const bool hasColours_;
  const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
  int chapters_ = 0;
  int right_ = 0;
  int wrong_ = 0;
  bool showsProgress_ = false;
  std::size_t toldQuarters_ = 0;
};

}  // namespace Tour
