// SPDX-License-Identifier: MIT
#include "Narrator.hpp"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <iomanip>

namespace Tour {

std::string grouped(std::uint64_t number) {
  std::string digits = std::to_string(number);
  for (auto place = static_cast<std::ptrdiff_t>(digits.size()) - 3; place > 0; place -= 3) {
    digits.insert(static_cast<std::size_t>(place), ",");
  }
  return digits;
}

std::string megabytes(std::uint64_t bytes) {
  return text(std::fixed, std::setprecision(1), static_cast<double>(bytes) / 1e6, " MB");
}

std::string gigabytes(std::uint64_t bytes) {
  return text(std::fixed, std::setprecision(1), static_cast<double>(bytes) / 1e9, " GB");
}

std::string seconds(std::chrono::nanoseconds duration) {
  return text(std::fixed, std::setprecision(1), std::chrono::duration<double>(duration).count(), " s");
}

Narrator::Narrator()
    : isTerminal_(::isatty(STDOUT_FILENO) == 1), hasColours_(isTerminal_ && std::getenv("NO_COLOR") == nullptr) {}

void Narrator::chapter(std::string_view title) {
  toldQuarters_ = 0;
  line(text('\n', ++chapters_), "1", title);
}

void Narrator::say(std::string_view text) { line("  ", "", text); }

void Narrator::check(bool isRight, std::string_view claim) {
  ++(isRight ? right_ : wrong_);
  line(isRight ? "   ✓" : "   ✗ NOT SO:", isRight ? "32" : "31", claim);
}

void Narrator::progress(std::size_t done, std::size_t total, std::string_view of) {
  if (total == 0) return;
  constexpr std::size_t width = 40;
  if (isTerminal_) {
    std::string bar;
    for (std::size_t i = 0; i < width; ++i) bar += i * total < done * width ? "━" : " ";
    std::printf("\r   %s %s of %s %.*s\033[K", bar.c_str(), grouped(done).c_str(), grouped(total).c_str(),
                static_cast<int>(of.size()), of.data());
    std::fflush(stdout);
    showsProgress_ = true;
  } else if (const std::size_t quarters = done * 4 / total; quarters > toldQuarters_) {
    toldQuarters_ = quarters;
    say(text(grouped(done), " of ", grouped(total), ' ', of));
  }
}

int Narrator::finish() {
  clearProgress();
  const bool isRight = wrong_ == 0 && right_ > 0;
  const std::string claims = wrong_ == 0 ? text(right_, " claims were checked, and all were right.")
                                         : text(right_, " claims were right, but NOT ", wrong_, '.');
  line("\n", isRight ? "32" : "31", text(claims, " It took ", seconds(std::chrono::steady_clock::now() - start_), '.'));
  const bool isTold = std::fflush(stdout) == 0 && std::ferror(stdout) == 0;
  return isRight && isTold ? EXIT_SUCCESS : EXIT_FAILURE;
}

void Narrator::line(std::string_view mark, std::string_view colour, std::string_view text) {
  clearProgress();
  std::string whole(mark);
  if (!whole.empty() && whole.back() != '\n') whole += ' ';
  if (hasColours_ && !colour.empty()) {
    whole = Tour::text("\033[", colour, 'm', whole, colour == "1" ? "" : "\033[0m", text, "\033[0m");
  } else {
    whole += text;
  }
  std::puts(whole.c_str());
}

void Narrator::clearProgress() {
  if (showsProgress_) std::fputs("\r\033[K", stdout);
  showsProgress_ = false;
}

}  // namespace Tour
