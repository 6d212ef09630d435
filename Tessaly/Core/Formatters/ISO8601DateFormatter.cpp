// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Formatters/ISO8601DateFormatter.hpp"

#include <unicode/calendar.h>
#include <unicode/locid.h>
#include <unicode/smpdtfmt.h>
#include <unicode/timezone.h>

#include <cmath>
#include <cstdint>

#include "Tessaly/Core/Base/detail/PerThread.hpp"
#include "Tessaly/Core/Formatters/detail/DateWriter.hpp"
#include "Tessaly/Core/Text/detail/UTF16Output.hpp"

namespace Tessaly::inline v1 {
namespace {

/// ICU's format, for dates that the writer cannot write.
struct Engine {
  Engine() {
    format.adoptTimeZone(icu::TimeZone::getGMT()->clone());
    calendar.reset(format.getCalendar()->clone());
  }

  UErrorCode status = U_ZERO_ERROR;
  icu::SimpleDateFormat format{u"yyyy-MM-dd'T'HH:mm:ssXXXXX", icu::Locale("en_US_POSIX"), status};
  std::unique_ptr<icu::Calendar> calendar;
  icu::UnicodeString units;
};

const detail::DateWriter& writer() {
  using Field = detail::DateWriter::Field;
  static const auto* const writer = new detail::DateWriter{.digits = {"0", "1", "2", "3", "4", "5", "6", "7", "8", "9"},
                                                           .parts = {{Field::year, 4, {}},
                                                                     {Field::literal, 0, {"-"}},
                                                                     {Field::month, 2, {}},
                                                                     {Field::literal, 0, {"-"}},
                                                                     {Field::day, 2, {}},
                                                                     {Field::literal, 0, {"T"}},
                                                                     {Field::hour, 2, {}},
                                                                     {Field::literal, 0, {":"}},
                                                                     {Field::minute, 2, {}},
                                                                     {Field::literal, 0, {":"}},
                                                                     {Field::second, 2, {}},
                                                                     {Field::literal, 0, {"Z"}}}};
  return *writer;
}

}  // namespace

ISO8601DateFormatter::~ISO8601DateFormatter() = default;

std::string_view ISO8601DateFormatter::className() const noexcept { return "Tessaly.ISO8601DateFormatter"; }

std::string ISO8601DateFormatter::string(::Tessaly::Date date) const {
  const double seconds = date.timeIntervalSince1970();
  if (!std::isfinite(seconds)) return {};
  const double milliseconds = seconds * 1000 + 0.5;
  if (detail::DateWriter::writes(milliseconds)) {
    std::string text;
    writer().append(text, static_cast<std::int64_t>(std::floor(milliseconds)));
    return text;
  }
  auto& engine = detail::PerThread<Engine>::current();
  UErrorCode status = U_ZERO_ERROR;
  engine.calendar->setTime(milliseconds, status);
  engine.units.remove();
  icu::FieldPosition position(icu::FieldPosition::DONT_CARE);
  engine.format.format(*engine.calendar, engine.units, position);
  return detail::fromUTF16(engine.units);
}

std::optional<std::string> ISO8601DateFormatter::string(const std::any& object) const {
  const auto* date = std::any_cast<::Tessaly::Date>(&object);
  if (date == nullptr) return std::nullopt;
  return string(*date);
}

}  // namespace Tessaly::inline v1
