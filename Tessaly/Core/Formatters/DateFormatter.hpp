// SPDX-License-Identifier: MIT
// Component: Tessaly::Formatters
#pragma once

#include <any>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Formatters/Formatter.hpp"
#include "Tessaly/Core/Formatters/TimeZone.hpp"
#include "Tessaly/Core/Foundation/Date.hpp"
#include "Tessaly/Core/Text/Locale.hpp"

namespace Tessaly::inline v1 {

/// Writes dates for people: as a locale does, in one of four lengths, and if wanted with the words for the days around
/// today.
///
/// The nearest standard facility is `std::put_time` with a `std::locale`, which needs the locale to be generated on the
/// machine and has no words for days. For programs to read there is `ISO8601DateFormatter`. Preparing a combination of
/// locale, time zone and styles takes about 100 us; the last sixteen stay prepared.
///
/// What is today is asked of `Date::now()`, so a `WallClock::Replacement` decides it in tests.
///
/// Thread contract: thread-compatible. Using it prepares locales inside, so two threads need two formatters.
///
///     DateFormatter formatter;
///     formatter.setLocale(Locale("en_GB"));
///     formatter.setTimeZone(TimeZone::gmt());
///     formatter.setDateStyle(DateFormatter::Style::medium);
///     std::cout << formatter.string(Date::since1970(0));  // 1 Jan 1970
class TESSALY_EXPORT DateFormatter : public Formatter {
 public:
  enum class Style : std::uint8_t { none = 0, short_ = 1, medium = 2, long_ = 3, full = 4 };
  /// Where the text will stand, as far as that decides about capital letters.
  enum class FormattingContext : std::uint8_t {
    unknown = 0,
    standalone = 2,
    listItem = 3,
    beginningOfSentence = 4,
    middleOfSentence = 5,
  };

  DateFormatter();
  ~DateFormatter() override;

  /// A formatter for those who share it.
  [[nodiscard]] static std::shared_ptr<DateFormatter> make() { return std::make_shared<DateFormatter>(); }

  /// "Tessaly.DateFormatter".
  [[nodiscard]] std::string_view className() const noexcept override;

  /// Absent, as at first: the current locale at every use.
  [[nodiscard]] const std::optional<Locale>& locale() const noexcept { return locale_; }
  void setLocale(const std::optional<Locale>& locale) { locale_ = locale; }

  /// Absent, as at first: the current time zone at every use.
  [[nodiscard]] const std::optional<TimeZone>& timeZone() const noexcept { return timeZone_; }
  void setTimeZone(const std::optional<TimeZone>& zone) { timeZone_ = zone; }

  /// How long the date is; at first `none`.
  [[nodiscard]] Style dateStyle() const noexcept { return dateStyle_; }
  void setDateStyle(Style style) noexcept { dateStyle_ = style; }
  /// How long the time is; at first `none`. With both `none` every text is empty.
  [[nodiscard]] Style timeStyle() const noexcept { return timeStyle_; }
  void setTimeStyle(Style style) noexcept { timeStyle_ = style; }

  /// Whether days that the locale has words for, such as today and yesterday, are called by them. Without a date style
  /// it changes nothing.
  [[nodiscard]] bool doesRelativeDateFormatting() const noexcept { return isRelative_; }
  void setDoesRelativeDateFormatting(bool isRelative) noexcept { isRelative_ = isRelative; }

  [[nodiscard]] FormattingContext formattingContext() const noexcept { return context_; }
  void setFormattingContext(FormattingContext context) noexcept { context_ = context; }

  /// The text of a date, rounded to milliseconds first. Empty for what is no finite number. Dates that lie beyond the
  /// calendar (about 5.8 million years around 1970) are written as its first or last.
  [[nodiscard]] std::string string(::Tessaly::Date date) const;
  /// The text of a `Date`; absent for everything else.
  [[nodiscard]] std::optional<std::string> string(const std::any& object) const override;

 private:
  struct Key;
  class Engine;
  class Engines;

  std::optional<Locale> locale_;
  std::optional<TimeZone> timeZone_;
  Style dateStyle_ = Style::none;
  Style timeStyle_ = Style::none;
  bool isRelative_ = false;
  FormattingContext context_ = FormattingContext::unknown;
  std::unique_ptr<Engines> engines_;
};

}  // namespace Tessaly::inline v1
