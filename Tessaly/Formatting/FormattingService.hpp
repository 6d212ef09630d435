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
#include "Tessaly/Core/Text/Locale.hpp"

/// Functions that write sizes, dates, durations and numbers for people, in the language that the application chooses.
///
/// A function throws only `std::bad_alloc`. The result is empty for a value without a text, such as a date that is NaN.
/// Each thread makes its formatters at the first use, and keeps the formatters of recent languages. After that, threads
/// share only the lock that protects the chosen language. A thread takes the lock at its first use after a choice of
/// language. Once a language is chosen, each call of `language()` and `format` takes the lock too. The nearest standard
/// facility is `std::format` with a `std::locale`, which needs a locale that was generated on the machine.
///
/// Byte counts and durations follow the current locale instead of `setLanguage`, except the number in
/// `Duration::seconds`. ISO 8601 texts and the texts of `Number::pitch` follow neither.
///
/// Thread contract: thread-safe.
///
/// For short names write `namespace Format = Tessaly::FormattingService;`. Together with `using namespace Tessaly;`, a
/// `using namespace` of this namespace would make `Date` ambiguous.
namespace Tessaly::inline v1::FormattingService {

/// Chooses the language of dates and numbers for every later call on any thread. `code` is an identifier such as "fr"
/// or "pt_BR". Without an identifier, the function takes the language of the current locale, without the country. Under
/// "en_GB" that is "en", so dates are written as in the United States. Until the first call of this function, dates and
/// numbers follow the whole current locale.
TESSALY_EXPORT void setLanguage(std::optional<std::string_view> code);

/// The locale of the chosen language. A format style accepts the result as its locale. Absent until a language is
/// chosen.
[[nodiscard]] TESSALY_EXPORT std::optional<Locale> language();

namespace Bytes {

/// "1.5 MB": see `ByteCountFormatStyle`. Follows the current locale, not `setLanguage`. In some languages, the text of
/// zero bytes contains a word for zero: "Zero kB".
[[nodiscard]] TESSALY_EXPORT std::string string(std::int64_t fromByteCount);

/// A number of decimal gigabytes, formatted as by the function `string`. Despite its name, the parameter counts
/// gigabytes. Stops the process if the number of bytes does not fit in 64 bits.
[[nodiscard]] TESSALY_EXPORT std::string gigaBytes(std::int64_t fromByteCount);

}  // namespace Bytes

namespace Date {

/// "Yesterday, 3:04 PM": words for the days around today, the given style for other days, and the short form of the
/// time.
[[nodiscard]] TESSALY_EXPORT std::string relative(::Tessaly::Date from, DateFormatter::Style dateStyle,
                                                  bool includeDate, bool includeTime);

/// "Jan 2, 2023" or "Jan 2, 2023, 3:04 PM".
[[nodiscard]] TESSALY_EXPORT std::string mediumDate(::Tessaly::Date from, bool includingTime);

/// A new formatter for texts such as "2023-01-02T15:04:05Z".
[[nodiscard]] TESSALY_EXPORT std::shared_ptr<ISO8601DateFormatter> iso8601();

/// The text that a new `ISO8601DateFormatter` writes.
[[nodiscard]] TESSALY_EXPORT std::string iso8601(::Tessaly::Date from);

}  // namespace Date

namespace Duration {

/// "9:03" for a value in seconds, truncated to whole seconds. Follows the current locale, not `setLanguage`. One hour
/// is "60:00". Longer durations have hours: "1:00:01". Negative durations never have hours: -7200 gives "-120:00". The
/// sign is lost if the minutes are zero: -30 gives "0:30".
[[nodiscard]] TESSALY_EXPORT std::string positional(double from);

/// "1 hour, 10 minutes" for a value in seconds, truncated to whole minutes. Follows the current locale, not
/// `setLanguage`. Units with the value zero are omitted, but a duration below one minute is "0 minutes".
[[nodiscard]] TESSALY_EXPORT std::string full(std::int64_t from);

/// "1h 10m" for a value in seconds, truncated to whole minutes. Follows the current locale, not `setLanguage`. Units
/// with the value zero are omitted, but a duration below one minute is "0m".
[[nodiscard]] TESSALY_EXPORT std::string abbreviated(std::int64_t from);

/// "9 minutes, 3 seconds" for a value in seconds, truncated to whole seconds. Follows the current locale, not
/// `setLanguage`. Units with the value zero are omitted, but a duration below one second is "0 seconds".
[[nodiscard]] TESSALY_EXPORT std::string fullSecondsAndMinutes(double from);

/// "12.5s": the number in the chosen language, with up to two fraction digits. The number replaces every "0" in the
/// current locale's text for zero seconds. If that text has no "0", the function returns it unchanged, without the
/// number: "٠ ث".
[[nodiscard]] TESSALY_EXPORT std::string seconds(double from);

}  // namespace Duration

namespace Number {

/// "1234.57": without grouping, with at most `maximumFractionDigits` fraction digits. If the value has more than 42
/// integer digits, only the last 42 are written.
[[nodiscard]] TESSALY_EXPORT std::string limitedFractionDigit(double value, std::int64_t maximumFractionDigits);

/// "1235": without grouping, rounded half to even. If the value has more than 42 integer digits, only the last 42 are
/// written.
[[nodiscard]] TESSALY_EXPORT std::string noFractionDigit(double value);

/// "120 bpm": rounded half up. A negative value such as -120 has the language's sign of approximation instead of a
/// minus sign: "~120 bpm".
[[nodiscard]] TESSALY_EXPORT std::string bpm(double value);

/// "50%" for 0.5.
[[nodiscard]] TESSALY_EXPORT std::string percent(double value);

/// "+5%": a change in percent, with a sign unless the change is zero.
[[nodiscard]] TESSALY_EXPORT std::string tempo(std::int64_t value);

/// "+2": a number in ASCII digits, with a sign unless the number is zero.
[[nodiscard]] TESSALY_EXPORT std::string pitch(std::int64_t value);

/// "+0.5" or " -3.0": one fraction digit. A space precedes zero and negative values.
[[nodiscard]] TESSALY_EXPORT std::string decibel(float value);

}  // namespace Number

}  // namespace Tessaly::inline v1::FormattingService
