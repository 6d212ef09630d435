// SPDX-License-Identifier: MIT
#include <algorithm>
#include <any>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>
#include <vector>

#include "Chapters.hpp"
#include "Tessaly/Core/Formatters/ByteCountFormatStyle.hpp"
#include "Tessaly/Core/Formatters/DateComponentsFormatter.hpp"
#include "Tessaly/Core/Formatters/TimeZone.hpp"
#include "Tessaly/Core/Text/Locale.hpp"
#include "Tessaly/Core/Text/UTF8.hpp"
#include "Tessaly/Formatting/Formatters+NoEmojis.hpp"
#include "Tessaly/Formatting/Formatters+RangeNumber.hpp"
#include "Tessaly/Formatting/FormattingService.hpp"

namespace Tour {
namespace {

using namespace Tessaly;

struct Language {
  const char* code;
  std::string_view today;
};

constexpr std::array<Language, 10> languages{{{"en", "Today"},
                                              {"de", "Heute"},
                                              {"fr", "Aujourd’hui"},
                                              {"es", "Hoy"},
                                              {"sv", "I dag"},
                                              {"ru", "Сегодня"},
                                              {"he", "היום"},
                                              {"ar", "اليوم"},
                                              {"hi", "आज"},
                                              {"ja", "今日"}}};

/// The numbers in a text, in ASCII digits. The caller removes the separators within a number.
std::vector<std::string> numbersIn(std::string_view text) {
  std::vector<std::string> numbers;
  bool continues = false;
  for (const char32_t scalar : Text::Scalars(text)) {
    int digit = -1;
    for (const char32_t zero : {U'0', U'\u0660', U'\u06F0', U'\u0966'}) {
      if (scalar >= zero && scalar < zero + 10) digit = static_cast<int>(scalar - zero);
    }
    if (digit >= 0) {
      if (!continues) numbers.emplace_back();
      numbers.back() += static_cast<char>('0' + digit);
    }
    continues = digit >= 0;
  }
  return numbers;
}

std::string joined(const std::vector<std::string>& texts) {
  std::string whole;
  for (const std::string& text : texts) whole += text;
  return whole;
}

template <typename Write>
std::string inEveryLanguage(Write write) {
  std::string line;
  for (const Language& language : languages) line += (line.empty() ? "" : " | ") + write(language);
  return line;
}

/// The digits of a size as people read it, computed with integers only.
std::string digitsOfSize(std::uint64_t bytes) {
  struct Unit {
    std::uint64_t limit;
    std::uint64_t lastPlace;
    int places;
  };
  constexpr std::array<Unit, 5> units{{{999, 1, 0},
                                       {999'499, 1'000, 0},
                                       {999'949'999, 100'000, 1},
                                       {999'994'999'999, 10'000'000, 2},
                                       {999'994'999'999'999, 10'000'000'000, 2}}};
  const Unit* unit = std::ranges::find_if(units, [&](const Unit& each) { return bytes < each.limit; });
  const Unit largest{0, 10'000'000'000'000, 2};
  if (unit == units.end()) unit = &largest;
  std::uint64_t places = bytes / unit->lastPlace;
  const std::uint64_t rest = bytes % unit->lastPlace * 2;
  if (rest > unit->lastPlace || (rest == unit->lastPlace && places % 2 == 1)) ++places;
  std::string digits = std::to_string(places);
  while (digits.size() <= static_cast<std::size_t>(unit->places)) digits.insert(0, "0");
  for (int place = 0; place < unit->places && digits.back() == '0'; ++place) digits.pop_back();
  return digits;
}

void tellOfTheDisk(Narrator& narrator) {
  std::error_code error;
  const auto space = std::filesystem::space("/", error);
  if (error || space.capacity == 0) {
    narrator.say("This machine does not tell how large its disk is");
    return;
  }
  const auto bytes = static_cast<std::int64_t>(space.capacity);
  bool areRight = true;
  const std::string line = inEveryLanguage([&](const Language& language) {
    ByteCountFormatStyle style;
    style.setLocale(Locale(language.code));
    const std::string text = style.format(bytes);
    areRight = areRight && joined(numbersIn(text)) == digitsOfSize(space.capacity);
    return text;
  });
  narrator.say(text("The disk holds ", line));
  narrator.check(areRight, text("All of that is ", grouped(space.capacity), " bytes, rounded by integers"));
}

void tellOfTheUptime(Narrator& narrator, std::int64_t uptime) {
  if (uptime == 0) {
    narrator.say("This machine does not tell how long it has run");
    return;
  }
  const auto padded = [](std::int64_t number) { return (number < 10 ? "0" : "") + std::to_string(number); };
  const std::string expected = uptime > 3600
                                   ? std::to_string(uptime / 3600) + padded(uptime / 60 % 60) + padded(uptime % 60)
                                   : std::to_string(uptime / 60) + padded(uptime % 60);
  bool areRight = true;
  const std::string line = inEveryLanguage([&](const Language& language) {
    DateComponentsFormatter positional;
    positional.setLocale(Locale(language.code));
    positional.setZeroFormattingBehavior(DateComponentsFormatter::ZeroFormattingBehavior::pad);
    if (uptime <= 3600) {
      positional.setAllowedUnits(DateComponentsFormatter::Units::minute | DateComponentsFormatter::Units::second);
    }
    areRight = areRight && joined(numbersIn(positional.string(static_cast<double>(uptime)).value_or(""))) == expected;
    DateComponentsFormatter full;
    full.setLocale(Locale(language.code));
    full.setUnitsStyle(DateComponentsFormatter::UnitsStyle::full);
    full.setAllowedUnits(DateComponentsFormatter::Units::hour | DateComponentsFormatter::Units::minute);
    return full.string(static_cast<double>(uptime)).value_or("");
  });
  narrator.say(text("It has run for ", line));
  narrator.check(areRight, text("As hours, minutes and seconds it has the digits of ",
                                grouped(static_cast<std::uint64_t>(uptime)), " s divided by 60 in every language"));
}

/// Dates in Greenwich, because this chapter does not depend on the zone of the machine.
void tellOfDates(Narrator& narrator, std::int64_t uptime) {
  const TimeZone greenwich = TimeZone::gmt();
  const TimeZone::Replacement replacement(greenwich);
  const std::time_t start = std::time(nullptr) - uptime;
  std::tm parts{};
  ::gmtime_r(&start, &parts);
  bool areRight = true;
  const std::string line = inEveryLanguage([&](const Language& language) {
    FormattingService::setLanguage(language.code);
    const std::string text = FormattingService::Date::mediumDate(Date::since1970(static_cast<double>(start)), true);
    std::vector<int> numbers;
    for (const std::string& number : numbersIn(text)) numbers.push_back(std::stoi(number));
    const auto has = [&](int number) { return std::ranges::find(numbers, number) != numbers.end(); };
    areRight = areRight && has(parts.tm_year + 1900) && has(parts.tm_mday) && has(parts.tm_min) &&
               (has(parts.tm_hour) || has((parts.tm_hour + 11) % 12 + 1));
    return text;
  });
  narrator.say(text("In Greenwich it was started at ", line));
  narrator.check(areRight, "The C library has the same year, day, hour and minute");

  std::string words;
  const auto today = [] { return std::time(nullptr) / 86'400; };
  std::time_t day = 0;
  do {
    day = today();
    areRight = true;
    words = inEveryLanguage([&](const Language& language) {
      FormattingService::setLanguage(language.code);
      const std::string text =
          FormattingService::Date::relative(Date::now(), DateFormatter::Style::medium, true, false);
      areRight = areRight && text == language.today;
      return text;
    });
  } while (today() != day);  // Midnight passed.
  narrator.check(areRight, words);
}

/// Threads write while this thread changes the language.
void tellOfChangingLanguages(Narrator& narrator) {
  constexpr int changing = -1;
  constexpr int finished = -2;
  const auto write = [] {
    return FormattingService::Number::limitedFractionDigit(-1234.5, 1) + FormattingService::Number::percent(-0.5);
  };
  std::array<std::string, languages.size()> expected;
  for (std::size_t index = 0; index < languages.size(); ++index) {
    FormattingService::setLanguage(languages[index].code);
    expected[index] = write();
  }
  std::atomic<int> chosen = changing;
  std::array<std::array<std::atomic<int>, 4>, languages.size()> written{};
  std::atomic<int> wrong = 0;
  {
    std::vector<std::jthread> threads;
    for (std::size_t thread = 0; thread < 4; ++thread) {
      threads.emplace_back([&, thread] {
        for (int before = chosen; before != finished; before = chosen) {
          const std::string text = write();
          if (before == changing || chosen != before) {
            std::this_thread::yield();
            continue;
          }
          const auto index = static_cast<std::size_t>(before);
          ++(text == expected[index] ? written[index][thread] : wrong);
        }
      });
    }
    for (std::size_t index = 0; index < languages.size(); ++index) {
      chosen = changing;
      FormattingService::setLanguage(languages[index].code);
      chosen = static_cast<int>(index);
      const auto haveAllWritten = [&] {
        return wrong > 0 || std::ranges::all_of(written[index], [](const auto& count) { return count >= 50; });
      };
      while (!haveAllWritten()) std::this_thread::sleep_for(std::chrono::microseconds(100));
    }
    chosen = finished;
  }
  int count = 0;
  for (const auto& counts : written) {
    for (const auto& each : counts) count += each;
  }
  narrator.say(text("The same numbers: ", inEveryLanguage([&](const Language& language) {
                      return expected[static_cast<std::size_t>(&language - languages.data())];
                    })));
  narrator.check(wrong == 0,
                 text("While the language was changed ten times, four threads wrote ",
                      grouped(static_cast<std::uint64_t>(count)), " texts, each in the one of that moment"));

  const std::string bytes = FormattingService::Bytes::string(1'500'000);
  FormattingService::setLanguage("ar");
  const bool staysTheSame = FormattingService::Bytes::string(1'500'000) == bytes;
  FormattingService::setLanguage(std::nullopt);
  narrator.check(staysTheSame, text("Sizes keep to the machine's own language: ", bytes));
}

void tellOfFields(Narrator& narrator) {
  const auto level = Formatters::RangeNumber<int>::make(ClosedRange(0, 100));
  std::optional<std::string> replacement;
  const bool isRefused = !level->isPartialStringValid("150", &replacement);
  narrator.check(isRefused && replacement == level->string(100),
                 text("A field for 0 to 100 replaces a typed 150 by ", replacement.value_or("nothing")));
  std::any object;
  Formatters::NoEmojis::make(std::nullopt)->getObjectValue(&object, "Mix #1 🎧 final 👍🏽");
  narrator.check(std::any_cast<std::string>(object) == "Mix #1  final ", "One for titles drops the emoji and keeps #1");
}

}  // namespace

void tellOfFormatting(Narrator& narrator) {
  double uptime = 0;
  std::ifstream("/proc/uptime") >> uptime;
  tellOfTheDisk(narrator);
  tellOfTheUptime(narrator, static_cast<std::int64_t>(uptime));
  tellOfDates(narrator, static_cast<std::int64_t>(uptime));
  tellOfChangingLanguages(narrator);
  tellOfFields(narrator);
}

}  // namespace Tour
