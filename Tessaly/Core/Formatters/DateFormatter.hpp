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
#include "Tessaly/Core/Formatters/Parsing.hpp"
#include "Tessaly/Core/Formatters/TimeZone.hpp"
#include "Tessaly/Core/Foundation/Date.hpp"
#include "Tessaly/Core/Text/Locale.hpp"

namespace Tessaly::inline v1 {

/// Writes dates for people, in one of four lengths of a locale, optionally with words for the days around today.
///
/// For text that machines read, use `ISO8601DateFormatter`. The nearest standard facility is `std::put_time` with a
/// `std::locale`. That facility needs a locale that was generated on the machine, and has no words such as "today".
/// Preparing a combination of locale, time zone and styles takes about 100 µs. The formatter keeps the last 16
/// combinations.
///
/// `Date::now()` determines today's date. Tests control `Date::now()` with a `WallClock::Replacement`.
///
/// Thread contract: thread-compatible. Formatting changes the formatter, so two threads need two formatters.
///
///     DateFormatter formatter;
///     formatter.setLocale(Locale("en_GB"));
///     formatter.setTimeZone(TimeZone::gmt());
///     formatter.setDateStyle(DateFormatter::Style::medium);
///     std::cout << formatter.string(Date::since1970(0));  // 1 Jan 1970
class TESSALY_EXPORT DateFormatter : public Formatter {
 public:
  enum class Style : std::uint8_t { none = 0, short_ = 1, medium = 2, long_ = 3, full = 4 };
  /// The context of the text, which determines the text's capital letters.
  enum class FormattingContext : std::uint8_t {
    unknown = 0,
    standalone = 2,
    listItem = 3,
    beginningOfSentence = 4,
    middleOfSentence = 5,
  };

  DateFormatter();
  ~DateFormatter() override;

  /// A formatter with shared ownership.
  [[nodiscard]] static std::shared_ptr<DateFormatter> make() { return std::make_shared<DateFormatter>(); }

  /// "Tessaly.DateFormatter".
  [[nodiscard]] std::string_view className() const noexcept override;

  /// The locale. Absent by default, which means the current locale at every use.
  [[nodiscard]] const std::optional<Locale>& locale() const noexcept TESSALY_LIFETIMEBOUND { return locale_; }
  void setLocale(const std::optional<Locale>& locale) { locale_ = locale; }

  /// The time zone. Absent by default, which means the current time zone at every use.
  [[nodiscard]] const std::optional<TimeZone>& timeZone() const noexcept TESSALY_LIFETIMEBOUND { return timeZone_; }
  void setTimeZone(const std::optional<TimeZone>& zone) { timeZone_ = zone; }

  /// The style of the date in the texts, by default `none`.
  [[nodiscard]] Style dateStyle() const noexcept { return dateStyle_; }
  void setDateStyle(Style style) noexcept { dateStyle_ = style; }
  /// The style of the time of day in the texts, by default `none`. If both styles are `none`, every text is empty.
  [[nodiscard]] Style timeStyle() const noexcept { return timeStyle_; }
  void setTimeStyle(Style style) noexcept { timeStyle_ = style; }

  /// Whether the locale's words replace the dates of days such as today and yesterday. Without a date style, this
  /// property has no effect.
  [[nodiscard]] bool doesRelativeDateFormatting() const noexcept { return isRelative_; }
  void setDoesRelativeDateFormatting(bool isRelative) noexcept { isRelative_ = isRelative; }

  [[nodiscard]] FormattingContext formattingContext() const noexcept { return context_; }
  void setFormattingContext(FormattingContext context) noexcept { context_ = context; }

  /// The text of a date. The date is first rounded to milliseconds. Empty for NaN and infinite dates. A date beyond the
  /// calendar (about 5.8 million years before and after 1970) is written as the first or last date of the calendar.
  [[nodiscard]] std::string string(::Tessaly::Date date) const;
  /// The text of a `Date`. Absent for every other object.
  [[nodiscard]] std::optional<std::string> string(const std::any& object) const override;

  /// The date of a text in the time zone of the formatter. Absent if the text is not a date, or if both styles are
  /// `none`.
  ///
  /// If there is no time style, the result is the beginning of a day. If there is no date style, the result is a time
  /// of today. With `Parsing::lenient`, the date and the time may each have the locale's short, medium, long or full
  /// form. The date may also have the form "2023-01-31". The text's time may use the 24-hour clock. A year of two
  /// digits is at most 80 years ago and at most 20 years ahead. A year before 1000 is refused, unless the text has the
  /// form that this formatter writes. The order of day and month is that of the locale. Impossible dates, impossible
  /// times and wrong weekdays are refused. For parsing, the formatter prepares a combination of locale, time zone and
  /// styles in about 2 ms. Lenient parsing adds about 7 ms to this preparation. After the preparation, a text in the
  /// form that this formatter writes takes about 3 µs. The first text in another form takes about 3 ms, and each later
  /// such text about 0.1 ms.
  [[nodiscard]] std::optional<::Tessaly::Date> date(std::string_view text, Parsing parsing = Parsing::lenient) const;
  /// Whether both texts mean the same date. If so, text fields replace the first text by the second without a notice.
  [[nodiscard]] bool meansTheSame(std::string_view one, std::string_view other) const;
  /// Parses like `date`, and stores a `Date`.
  bool getObjectValue(std::any* object, std::string_view text,
                      std::optional<std::string>* errorDescription = nullptr) override;

 private:
  struct Key;
  class Engine;
  class Engines;

  [[nodiscard]] Engine& engine() const;

  std::optional<Locale> locale_;
  std::optional<TimeZone> timeZone_;
  Style dateStyle_ = Style::none;
  Style timeStyle_ = Style::none;
  bool isRelative_ = false;
  FormattingContext context_ = FormattingContext::unknown;
  std::unique_ptr<Engines> engines_;
};

}  // namespace Tessaly::inline v1
