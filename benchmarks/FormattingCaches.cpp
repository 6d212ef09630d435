// SPDX-License-Identifier: MIT

// The cost of the first text of each kind, and the memory that it keeps. Each kind has a process of its own. Its first
// thread formats, then another thread, then that other thread in another language.

#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstddef>
#include <cstdio>
#include <string>
#include <thread>

#include "Tessaly/Core/Text/Locale.hpp"
#include "Tessaly/Formatting/FormattingService.hpp"

namespace {

using namespace Tessaly;

struct Kind {
  const char* name;
  std::string (*write)();
};

const Date someDate = Date::since1970(1'672'671'845);

constexpr Kind kinds[] = {
    {"bytes", [] { return FormattingService::Bytes::string(1'234'567'890); }},
    {"decimal", [] { return FormattingService::Number::limitedFractionDigit(1234.5678, 2); }},
    {"percent", [] { return FormattingService::Number::percent(0.575); }},
    {"beats per minute", [] { return FormattingService::Number::bpm(119.5); }},
    {"medium date and time", [] { return FormattingService::Date::mediumDate(someDate, true); }},
    {"relative date and time",
     [] { return FormattingService::Date::relative(Date::now(), DateFormatter::Style::medium, true, true); }},
    {"ISO 8601", [] { return FormattingService::Date::iso8601(someDate); }},
    {"positional duration", [] { return FormattingService::Duration::positional(543); }},
    {"full duration", [] { return FormattingService::Duration::full(4200); }},
};

struct Cost {
  double microseconds;
  double kibibytes;
};

Cost costOf(std::string (*write)()) {
  const std::size_t before = ::mallinfo2().uordblks;
  const auto start = std::chrono::steady_clock::now();
  const std::size_t length = write().size();
  const std::chrono::duration<double, std::micro> duration = std::chrono::steady_clock::now() - start;
  const std::size_t after = ::mallinfo2().uordblks;
  return {length > 0 ? duration.count() : 0, (static_cast<double>(after) - static_cast<double>(before)) / 1024};
}

void measure(const Kind& kind) {
  const Locale english("en_US");
  const Locale german("de_DE");
  const Locale::Replacement replacement(english);
  const Cost first = costOf(kind.write);
  Cost onThread{};
  Cost inLanguage{};
  std::thread([&] {
    onThread = costOf(kind.write);
    const Locale::Replacement other(german);
    kind.write();  // ICU has read the data of the language by then.
  }).join();
  const Locale::Replacement other(german);
  inLanguage = costOf(kind.write);
  std::printf("%-24s %10.0f us %8.1f KiB %10.0f us %8.1f KiB %10.0f us %8.1f KiB\n", kind.name, first.microseconds,
              first.kibibytes, onThread.microseconds, onThread.kibibytes, inLanguage.microseconds,
              inLanguage.kibibytes);
}

}  // namespace

int main() {
  std::printf("%-24s %26s %26s %26s\n", "", "first text of a process", "of another thread", "in another language");
  for (const Kind& kind : kinds) {
    std::fflush(stdout);
    const pid_t child = ::fork();
    if (child < 0) return 1;
    if (child == 0) {
      measure(kind);
      std::fflush(stdout);
      ::_exit(0);
    }
    int status = 1;
    if (::waitpid(child, &status, 0) != child || status != 0) return 1;
  }
}
