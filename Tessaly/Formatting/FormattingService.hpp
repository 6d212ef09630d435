// SPDX-License-Identifier: MIT
// Component: Tessaly::Formatting
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Formatters/DateFormatter.hpp"
#include "Tessaly/Core/Formatters/ISO8601DateFormatter.hpp"
#include "Tessaly/Core/Foundation/Date.hpp"

/// Sizes, dates, durations and numbers as texts for people, in the language that the application chooses.
///
/// Nothing here throws. Every function returns a text, which is empty where there is none to write (a date that is not
/// a number). The formatters behind it are made at the first use on each thread and stay prepared for the languages
/// used last, so threads that format at once wait for nothing. The nearest standard facility is `std::format` with a
/// `std::locale`, which needs the locale to be generated on the machine.
///
/// Byte counts, durations and ISO 8601 texts do not follow `setLanguage` but the current locale.
///
/// Thread contract: thread-safe.
namespace Tessaly::inline v1::FormattingService {

/// Chooses the language of dates and numbers: an identifier such as "fr" or "pt_BR", for every later call on any
/// thread. Without one it is that of the current locale as it is now, by its language alone: under "en_GB" that is
/// "en", which writes dates as the United States do. Until the first call the current locale counts, whole and at every
/// use.
TESSALY_EXPORT void setLanguage(std::optional<std::string_view> code);

namespace Bytes {

/// "1.5 MB": see `ByteCountFormatStyle`. None at all are a word where the language does so: "Zero kB".
[[nodiscard]] TESSALY_EXPORT std::string string(std::int64_t fromByteCount);

/// A number of decimal gigabytes, as `string`. Stops the process when the bytes do not fit in 64 bits.
[[nodiscard]] TESSALY_EXPORT std::string gigaBytes(std::int64_t fromByteCount);

}  // namespace Bytes

namespace Date {

/// "Yesterday, 3:04 PM": the days around today by their words, others in the style; the time in its short style.
[[nodiscard]] TESSALY_EXPORT std::string relative(::Tessaly::Date from, DateFormatter::Style dateStyle,
                                                  bool includeDate, bool includeTime);

/// "Jan 2, 2023" or "Jan 2, 2023, 3:04 PM".
[[nodiscard]] TESSALY_EXPORT std::string mediumDate(::Tessaly::Date from, bool includingTime);

/// A new formatter for texts such as "2023-01-02T15:04:05Z".
[[nodiscard]] TESSALY_EXPORT std::shared_ptr<ISO8601DateFormatter> iso8601();

/// The text that a new formatter writes.
[[nodiscard]] TESSALY_EXPORT std::string iso8601(::Tessaly::Date from);

}  // namespace Date

namespace Duration {

/// "9:03" up to an hour (which is "60:00"), "1:00:01" above. In seconds, cut to whole ones.
[[nodiscard]] TESSALY_EXPORT std::string positional(double from);

/// "1 hour, 10 minutes", in seconds. What is zero is left out.
[[nodiscard]] TESSALY_EXPORT std::string full(std::int64_t from);

/// "1h 10m", in seconds. What is zero is left out.
[[nodiscard]] TESSALY_EXPORT std::string abbreviated(std::int64_t from);

/// "9 minutes, 3 seconds", in seconds. What is zero is left out.
[[nodiscard]] TESSALY_EXPORT std::string fullSecondsAndMinutes(double from);

/// "12.5s": the number in the chosen language, with up to two fraction digits, put in place of every "0" in the text of
/// no seconds in the current locale. Where that text has no such digit ("٠ ث") it stays as it is.
[[nodiscard]] TESSALY_EXPORT std::string seconds(double from);

}  // namespace Duration

namespace Number {

/// "1234.57": ungrouped, with no more fraction digits than this.
[[nodiscard]] TESSALY_EXPORT std::string limitedFractionDigit(double value, std::int64_t maximumFractionDigits);

/// "1235": ungrouped, rounded half to even.
[[nodiscard]] TESSALY_EXPORT std::string noFractionDigit(double value);

/// "120 bpm": rounded half up. Negative values stand behind the language's sign of approximation, "~120 bpm".
[[nodiscard]] TESSALY_EXPORT std::string bpm(double value);

/// "50%" for 0.5.
[[nodiscard]] TESSALY_EXPORT std::string percent(double value);

/// "+5%": a change in per cent, signed if it is not zero.
[[nodiscard]] TESSALY_EXPORT std::string tempo(std::int64_t value);

/// "+2": signed if it is not zero, in ASCII digits.
[[nodiscard]] TESSALY_EXPORT std::string pitch(std::int64_t value);

/// "+0.5" or " -3.0": one fraction digit; what is not positive stands behind a space.
[[nodiscard]] TESSALY_EXPORT std::string decibel(float value);

}  // namespace Number

}  // namespace Tessaly::inline v1::FormattingService
