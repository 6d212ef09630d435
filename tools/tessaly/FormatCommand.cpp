// SPDX-License-Identifier: MIT
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>
#include <iostream>
#include <iterator>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Command.hpp"
#include "Options.hpp"
#include "Tessaly/Core/Foundation/Date.hpp"
#include "Tessaly/Core/Text/Locale.hpp"
#include "Tessaly/Formatting/FormattingService.hpp"
#include "Values.hpp"

namespace TessalyTool {
namespace {

namespace Service = Tessaly::FormattingService;
using Style = Tessaly::DateFormatter::Style;
using Writer = std::function<std::string(std::string_view value)>;

constexpr std::string_view help = R"(Usage: tessaly format <kind> [option...] [value...]

Writes values for people, one line each. Without values it reads them from standard input, one in each line.

  bytes                  sizes, "1.5 MB"; --unit is the unit of the values that you give, B (the default) or GB for
                         decimal gigabytes; they are integers
  duration               seconds; --style is positional (the default, "9:03"), full ("1 hour, 10 minutes"),
                         abbreviated ("1h 10m"), minutes ("9 minutes, 3 seconds") or seconds ("12.5s")
  date                   YYYY-MM-DDTHH:MM:SSZ, seconds since 1970 behind an @, or now; --style is medium (the default),
                         relative ("Yesterday") or iso8601; --length of relative dates is short, medium, long or full;
                         --time adds the time, --time-only omits the date
  number                 --style is limited (the default: at most two fraction digits, or as many as --digits says),
                         whole, percent (0.5 is 50%), tempo, pitch, decibel or bpm

  --language <code>      the language, such as fr or pt_BR; without it, that of LC_ALL, LC_MESSAGES or LANG

Dates are in the time zone of TZ. Options may also be written --name=value. All arguments after -- are values.

Exit codes: 0 done, 1 failed (a line of the input is no value, for example), 2 wrong usage.
)";

/// The arguments after the kind.
struct Line {
  std::string_view kind;
  std::optional<std::string_view> language;
  std::optional<std::string_view> style;
  std::optional<std::string_view> length;
  std::optional<std::string_view> digits;
  std::optional<std::string_view> unit;
  bool includesTime = false;
  bool includesDate = true;
  std::vector<std::string_view> values;
};

UsageError refusal(std::string_view text, std::string_view wanted) {
  return UsageError("\"" + std::string(text) + "\" is no " + std::string(wanted));
}

Line parsed(Arguments arguments) {
  Line line;
  line.kind = arguments[0];
  struct Option {
    std::string_view name;
    std::string_view kind;
    std::optional<std::string_view> Line::* value;
  };
  static constexpr Option options[] = {{"--language", "", &Line::language},
                                       {"--style", "", &Line::style},
                                       {"--length", "date", &Line::length},
                                       {"--digits", "number", &Line::digits},
                                       {"--unit", "bytes", &Line::unit}};
  for (std::size_t index = 1; index < arguments.size(); ++index) {
    const std::string_view word = arguments[index];
    if (word == "--") {
      line.values.insert(line.values.end(), arguments.begin() + static_cast<std::ptrdiff_t>(index) + 1,
                         arguments.end());
      break;
    }
    if (!word.starts_with("--")) {
      line.values.push_back(word);
      continue;
    }
    const std::size_t equals = word.find('=');
    const std::string_view name = word.substr(0, equals);
    if (line.kind == "date" && (word == "--time" || word == "--time-only")) {
      line.includesTime = true;
      line.includesDate = word == "--time";
      continue;
    }
    const auto* const option = std::ranges::find(options, name, &Option::name);
    if (option == std::end(options)) throw unknownOption(name);
    if (!option->kind.empty() && option->kind != line.kind) {
      throw UsageError("There is no option " + std::string(name) + " of " + std::string(line.kind));
    }
    if (equals != std::string_view::npos) {
      line.*option->value = word.substr(equals + 1);
    } else if (++index < arguments.size()) {
      line.*option->value = arguments[index];
    } else {
      throw UsageError(std::string(name) + " wants a value");
    }
  }
  return line;
}

template <typename Number>
Number numberOf(std::string_view text, std::string_view wanted) {
  if (const auto number = parsedNumber<Number>(text)) return *number;
  throw refusal(text, wanted);
}

std::int64_t integer(std::string_view text) { return numberOf<std::int64_t>(text, "integer of 64 bits"); }
double real(std::string_view text) { return numberOf<double>(text, "number"); }

Writer bytesWriter(const Line& line) {
  if (line.style) throw UsageError("Sizes have one style");
  if (!line.unit || *line.unit == "B")
    return [](std::string_view text) { return Service::Bytes::string(integer(text)); };
  if (*line.unit != "GB") throw refusal(*line.unit, "unit: B or GB");
  return [](std::string_view text) {
    constexpr std::int64_t most = std::numeric_limits<std::int64_t>::max() / 1'000'000'000;
    const std::int64_t count = integer(text);
    if (count > most || count < -most) throw refusal(text, "number of gigabytes whose bytes fit in 64 bits");
    return Service::Bytes::gigaBytes(count);
  };
}

Writer durationWriter(const Line& line) {
  const std::string_view style = line.style.value_or("positional");
  if (style == "positional") return [](std::string_view text) { return Service::Duration::positional(real(text)); };
  if (style == "full") return [](std::string_view text) { return Service::Duration::full(integer(text)); };
  if (style == "abbreviated") {
    return [](std::string_view text) { return Service::Duration::abbreviated(integer(text)); };
  }
  if (style == "minutes") {
    return [](std::string_view text) { return Service::Duration::fullSecondsAndMinutes(real(text)); };
  }
  if (style == "seconds") return [](std::string_view text) { return Service::Duration::seconds(real(text)); };
  throw refusal(style, "style of durations");
}

Tessaly::Date date(std::string_view text) {
  if (text == "now") return Tessaly::Date::now();
  if (text.starts_with('@')) return Tessaly::Date::since1970(real(text.substr(1)));
  return *parsedDate(text).date();
}

Writer dateWriter(const Line& line) {
  const std::string_view style = line.style.value_or("medium");
  if (line.length && style != "relative") throw UsageError("Only relative dates have a length");
  if (style == "iso8601") {
    if (line.includesTime) throw UsageError("ISO 8601 dates always have their time");
    return [](std::string_view text) { return Service::Date::iso8601(date(text)); };
  }
  if (style != "medium" && style != "relative") throw refusal(style, "style of dates");
  const std::string_view length = line.length.value_or("medium");
  const bool includesDate = line.includesDate;
  const bool includesTime = line.includesTime;
  if (style == "medium" && includesDate) {
    return [includesTime](std::string_view text) { return Service::Date::mediumDate(date(text), includesTime); };
  }
  struct Length {
    std::string_view name;
    Style style;
  };
  static constexpr Length lengths[] = {
      {"short", Style::short_}, {"medium", Style::medium}, {"long", Style::long_}, {"full", Style::full}};
  const auto* const found = std::ranges::find(lengths, length, &Length::name);
  if (found == std::end(lengths)) throw refusal(length, "length of dates");
  return [=](std::string_view text) {
    return Service::Date::relative(date(text), found->style, includesDate, includesTime);
  };
}

Writer numberWriter(const Line& line) {
  namespace Number = Service::Number;
  const std::string_view style = line.style.value_or("limited");
  if (line.digits && style != "limited") throw UsageError("Only limited numbers have --digits");
  if (style == "limited") {
    const std::int64_t digits = line.digits ? integer(*line.digits) : 2;
    return [digits](std::string_view text) { return Number::limitedFractionDigit(real(text), digits); };
  }
  if (style == "whole") return [](std::string_view text) { return Number::noFractionDigit(real(text)); };
  if (style == "percent") return [](std::string_view text) { return Number::percent(real(text)); };
  if (style == "tempo") return [](std::string_view text) { return Number::tempo(integer(text)); };
  if (style == "pitch") return [](std::string_view text) { return Number::pitch(integer(text)); };
  if (style == "decibel") {
    return [](std::string_view text) { return Number::decibel(static_cast<float>(real(text))); };
  }
  if (style == "bpm") return [](std::string_view text) { return Number::bpm(real(text)); };
  throw refusal(style, "style of numbers");
}

Writer writer(const Line& line) {
  if (line.kind == "bytes") return bytesWriter(line);
  if (line.kind == "duration") return durationWriter(line);
  if (line.kind == "date") return dateWriter(line);
  if (line.kind == "number") return numberWriter(line);
  throw UsageError("There is no kind \"" + std::string(line.kind) + "\"");
}

ExitCode run(Arguments arguments) {
  if (arguments.empty()) throw UsageError("A kind is missing: bytes, duration, date or number");
  const Line line = parsed(arguments);
  const Writer write = writer(line);
  const Tessaly::Locale locale = line.language ? Tessaly::Locale(*line.language) : Tessaly::Locale::current();
  // Sizes and durations use the current locale instead of the chosen language. The replacement makes both equal.
  const Tessaly::Locale::Replacement replacement(locale);
  for (const std::string_view value : line.values) std::cout << write(value) << '\n';
  if (!line.values.empty()) return success;
  std::int64_t number = 0;
  for (std::string value; std::getline(std::cin, value);) {
    ++number;
    try {
      std::cout << write(value) << '\n';
    } catch (const UsageError& error) {
      throw CommandError("Line " + std::to_string(number) + ": " + error.what());
    }
  }
  return success;
}

}  // namespace

const Command formatCommand{
    .name = "format", .summary = "write sizes, durations, dates and numbers", .help = help, .run = run};

}  // namespace TessalyTool
