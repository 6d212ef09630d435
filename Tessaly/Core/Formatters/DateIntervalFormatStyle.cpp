// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Formatters/DateIntervalFormatStyle.hpp"

#include <unicode/calendar.h>
#include <unicode/dtitvfmt.h>
#include <unicode/locid.h>
#include <unicode/timezone.h>

#include <array>
#include <cmath>
#include <memory>
#include <tuple>

#include "Tessaly/Core/Base/detail/PerThread.hpp"
#include "Tessaly/Core/Text/detail/RecentlyUsed.hpp"
#include "Tessaly/Core/Text/detail/UTF16Output.hpp"

namespace Tessaly::inline v1 {
namespace {

using DateWidth = DateIntervalFormatStyle::DateWidth;
using TimeWidth = DateIntervalFormatStyle::TimeWidth;
using Sought = std::tuple<const std::string&, const std::string&, DateWidth, TimeWidth>;

struct Key {
  std::string locale;
  std::string zone;
  DateWidth date;
  TimeWidth time;
  explicit Key(const Sought& sought)
      : locale(std::get<0>(sought)), zone(std::get<1>(sought)), date(std::get<2>(sought)), time(std::get<3>(sought)) {}
  bool operator==(const Sought& sought) const noexcept { return std::tie(locale, zone, date, time) == sought; }
};

/// The prepared data of one locale, zone and style. The engine keeps two calendars, because ICU would copy calendars
/// for every interval.
class Engine {
 public:
  explicit Engine(const Key& key) {
    constexpr std::array dates{u"", u"yMd", u"yMMMd", u"yMMMMd", u"yMMMMEEEEd"};
    icu::Locale locale(key.locale.c_str());
    if (locale.isBogus()) locale = icu::Locale::getRoot();
    icu::UnicodeString skeleton(dates[static_cast<std::size_t>(key.date)]);
    if (key.time == TimeWidth::shortened) skeleton += u"jm";
    UErrorCode status = U_ZERO_ERROR;
    format_.reset(icu::DateIntervalFormat::createInstance(skeleton, locale, status));
    const std::unique_ptr<icu::TimeZone> zone(icu::TimeZone::createTimeZone(icu::UnicodeString::fromUTF8(key.zone)));
    from_.reset(icu::Calendar::createInstance(*zone, locale, status));
    to_.reset(icu::Calendar::createInstance(*zone, locale, status));
    if (U_SUCCESS(status)) format_->setTimeZone(*zone);
    isPrepared_ = U_SUCCESS(status) != 0;
  }

  std::string string(UDate start, UDate end) {
    if (!isPrepared_) return {};
    UErrorCode status = U_ZERO_ERROR;
    from_->setTime(start, status);
    to_->setTime(end, status);
    text_.remove();
    icu::FieldPosition position(icu::FieldPosition::DONT_CARE);
    format_->format(*from_, *to_, text_, position, status);
    return U_SUCCESS(status) ? detail::fromUTF16(text_) : std::string();
  }

 private:
  std::unique_ptr<icu::DateIntervalFormat> format_;
  std::unique_ptr<icu::Calendar> from_;
  std::unique_ptr<icu::Calendar> to_;
  icu::UnicodeString text_;
  bool isPrepared_ = false;
};

struct Engines : detail::RecentlyUsed<Key, Engine, 8> {};

}  // namespace

std::string DateIntervalFormatStyle::format(Date start, Date end) const {
  const double from = start.timeIntervalSince1970();
  const double to = end.timeIntervalSince1970();
  if (!std::isfinite(from) || !std::isfinite(to)) return {};
  if (date_ == DateWidth::omitted && time_ == TimeWidth::omitted) return {};
  const Locale& locale = locale_ ? *locale_ : detail::currentLocale();
  const TimeZone& zone = timeZone_ ? *timeZone_ : detail::currentTimeZone();
  return detail::PerThread<Engines>::current()
      .get(Sought(locale.identifier(), zone.identifier(), date_, time_),
           [](const Key& key) { return std::make_unique<Engine>(key); })
      .string(from * 1000, to * 1000);
}

}  // namespace Tessaly::inline v1
