// SPDX-License-Identifier: MIT
#include "Tessaly/Formatting/FormattingService.hpp"

#include <atomic>

#include "Tessaly/Concurrency/Mutex.hpp"
#include "Tessaly/Core/Base/FatalError.hpp"
#include "Tessaly/Core/Base/detail/PerThread.hpp"
#include "Tessaly/Core/Formatters/ByteCountFormatStyle.hpp"
#include "Tessaly/Core/Formatters/DateComponentsFormatter.hpp"
#include "Tessaly/Core/Formatters/NumberFormatter.hpp"
#include "Tessaly/Core/Foundation/NSNumber.hpp"
#include "Tessaly/Core/Text/Locale.hpp"

namespace Tessaly::inline v1::FormattingService {
namespace {

/// The locale of the chosen language. Absent before the first choice.
class LocaleProvider {
 public:
  static LocaleProvider& shared() {
    static auto* const provider = new LocaleProvider;
    return *provider;
  }

  void set(const std::optional<Locale>& locale) {
    localeMutex_.withLock([&](std::optional<Locale>& stored) {
      stored = locale;
      changes.fetch_add(1, std::memory_order_release);
    });
  }
  /// The locale and the number of the change that set it.
  std::pair<std::optional<Locale>, std::uint64_t> get() {
    return localeMutex_.withLock(
        [](std::optional<Locale>& stored) { return std::pair(stored, changes.load(std::memory_order_relaxed)); });
  }

  /// The number of choices. It stays 0 in a process that never chooses. Such a process never takes the lock.
  static constinit std::atomic<std::uint64_t> changes;

 private:
  Mutex<std::optional<Locale>> localeMutex_{std::nullopt};
};

constinit std::atomic<std::uint64_t> LocaleProvider::changes = 0;

using Units = DateComponentsFormatter::Units;
using UnitsStyle = DateComponentsFormatter::UnitsStyle;
using ZeroFormattingBehavior = DateComponentsFormatter::ZeroFormattingBehavior;

struct DurationFormatter : DateComponentsFormatter {
  DurationFormatter(UnitsStyle style, Units units, ZeroFormattingBehavior behavior) {
    setUnitsStyle(style);
    setAllowedUnits(units);
    setZeroFormattingBehavior(behavior);
  }
};

/// The formatters of a thread, made at the thread's first use. After a choice of language, the next use sets the
/// locales of the date and number formatters. That has the same effect as setting the locale before each use.
class ThreadFormatters {
 public:
  ThreadFormatters() {
    relativeDate.setDoesRelativeDateFormatting(true);
    relativeDate.setFormattingContext(DateFormatter::FormattingContext::beginningOfSentence);
    mediumDate.setDateStyle(DateFormatter::Style::medium);
    seconds.setAllowedUnits(Units::second);
    seconds.setAllowsFractionalUnits(true);
    seconds.setUnitsStyle(UnitsStyle::abbreviated);
    percent.setNumberStyle(NumberFormatter::Style::percent);
    decibel.setMaximumFractionDigits(1);
    decibel.setMinimumFractionDigits(1);
    bpm.setNegativeFormat("~");
    bpm.setPositiveSuffix(" bpm");
    bpm.setNegativeSuffix(" bpm");
    bpm.setMaximumFractionDigits(0);
    bpm.setRoundingMode(NumberFormatter::RoundingMode::halfUp);
    noFraction.setMaximumFractionDigits(0);
  }

  static ThreadFormatters& current() {
    auto& formatters = detail::PerThread<ThreadFormatters>::current();
    if (LocaleProvider::changes.load(std::memory_order_acquire) != formatters.seenChanges_) [[unlikely]] {
      formatters.takeLocale();
    }
    return formatters;
  }

  DateFormatter relativeDate;
  DateFormatter mediumDate;
  DurationFormatter longPositional{UnitsStyle::positional, Units::hour | Units::minute | Units::second,
                                   ZeroFormattingBehavior::pad};
  DurationFormatter shortPositional{UnitsStyle::positional, Units::minute | Units::second, ZeroFormattingBehavior::pad};
  DurationFormatter full{UnitsStyle::full, Units::hour | Units::minute, ZeroFormattingBehavior::dropAll};
  DurationFormatter abbreviated{UnitsStyle::abbreviated, Units::hour | Units::minute, ZeroFormattingBehavior::dropAll};
  DurationFormatter fullSecondsAndMinutes{UnitsStyle::full, Units::minute | Units::second,
                                          ZeroFormattingBehavior::dropAll};
  DateComponentsFormatter seconds;
  NumberFormatter limited;
  NumberFormatter percent;
  NumberFormatter decibel;
  NumberFormatter bpm;
  NumberFormatter noFraction;

 private:
  void takeLocale() {
    const auto [locale, change] = LocaleProvider::shared().get();
    for (DateFormatter* formatter : {&relativeDate, &mediumDate}) formatter->setLocale(locale);
    for (NumberFormatter* formatter : {&limited, &percent, &decibel, &bpm, &noFraction}) formatter->setLocale(locale);
    seenChanges_ = change;
  }

  std::uint64_t seenChanges_ = 0;
};

std::string signOf(std::int64_t value) { return value > 0 ? "+" : ""; }

}  // namespace

void setLanguage(std::optional<std::string_view> code) {
  std::optional<Locale> locale;
  if (code) {
    locale.emplace(*code);
  } else if (const auto language = Locale::current().language().languageCode()) {
    locale.emplace(language->identifier());
  }
  LocaleProvider::shared().set(locale);
}

std::optional<Locale> language() {
  if (LocaleProvider::changes.load(std::memory_order_acquire) == 0) return std::nullopt;
  return LocaleProvider::shared().get().first;
}

std::string Bytes::string(std::int64_t fromByteCount) { return ByteCountFormatStyle().format(fromByteCount); }

std::string Bytes::gigaBytes(std::int64_t fromByteCount) {
  std::int64_t bytes = 0;
  if (__builtin_mul_overflow(fromByteCount, std::int64_t{1'000'000'000}, &bytes)) {
    fatalError("The number of bytes does not fit in 64 bits", "Tessaly/FormattingService", __LINE__);
  }
  return string(bytes);
}

std::string Date::relative(::Tessaly::Date from, DateFormatter::Style dateStyle, bool includeDate, bool includeTime) {
  DateFormatter& formatter = ThreadFormatters::current().relativeDate;
  formatter.setTimeStyle(includeTime ? DateFormatter::Style::short_ : DateFormatter::Style::none);
  formatter.setDateStyle(includeDate ? dateStyle : DateFormatter::Style::none);
  return formatter.string(from);
}

std::string Date::mediumDate(::Tessaly::Date from, bool includingTime) {
  DateFormatter& formatter = ThreadFormatters::current().mediumDate;
  formatter.setTimeStyle(includingTime ? DateFormatter::Style::short_ : DateFormatter::Style::none);
  return formatter.string(from);
}

std::shared_ptr<ISO8601DateFormatter> Date::iso8601() { return ISO8601DateFormatter::make(); }

std::string Date::iso8601(::Tessaly::Date from) { return ISO8601DateFormatter().string(from); }

std::string Duration::positional(double from) {
  ThreadFormatters& formatters = ThreadFormatters::current();
  return (from > 3600 ? formatters.longPositional : formatters.shortPositional).string(from).value_or("");
}

std::string Duration::full(std::int64_t from) {
  return ThreadFormatters::current().full.string(static_cast<double>(from)).value_or("");
}

std::string Duration::abbreviated(std::int64_t from) {
  return ThreadFormatters::current().abbreviated.string(static_cast<double>(from)).value_or("");
}

std::string Duration::fullSecondsAndMinutes(double from) {
  return ThreadFormatters::current().fullSecondsAndMinutes.string(from).value_or("");
}

std::string Duration::seconds(double from) {
  const std::optional<std::string> label = ThreadFormatters::current().seconds.string(0.0);
  if (!label) return {};
  const std::string number = Number::limitedFractionDigit(from, 2);
  std::string text;
  for (const char character : *label) {
    if (character == '0') {
      text += number;
    } else {
      text += character;
    }
  }
  return text;
}

std::string Number::limitedFractionDigit(double value, std::int64_t maximumFractionDigits) {
  NumberFormatter& formatter = ThreadFormatters::current().limited;
  formatter.setMaximumFractionDigits(maximumFractionDigits);
  return formatter.string(value).value_or("");
}

std::string Number::noFractionDigit(double value) {
  return ThreadFormatters::current().noFraction.string(value).value_or("");
}

std::string Number::bpm(double value) { return ThreadFormatters::current().bpm.string(value).value_or(""); }

std::string Number::percent(double value) {
  if (auto text = ThreadFormatters::current().percent.string(value)) return *std::move(text);
  return NSNumber(value * 100).description() + "%";
}

std::string Number::tempo(std::int64_t value) { return signOf(value) + percent(static_cast<double>(value) / 100.0); }

std::string Number::pitch(std::int64_t value) { return signOf(value) + std::to_string(value); }

std::string Number::decibel(float value) {
  return (value > 0 ? "+" : " ") + ThreadFormatters::current().decibel.string(static_cast<double>(value)).value_or("");
}

}  // namespace Tessaly::inline v1::FormattingService
