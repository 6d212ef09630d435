// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Formatters/FormatStyle.hpp"

#include <unicode/calendar.h>
#include <unicode/dtptngen.h>
#include <unicode/locid.h>
#include <unicode/smpdtfmt.h>
#include <unicode/timezone.h>

#include <cmath>
#include <memory>
#include <string_view>

#include "Tessaly/Core/Base/detail/PerThread.hpp"
#include "Tessaly/Core/Text/detail/RecentlyUsed.hpp"
#include "Tessaly/Core/Text/detail/UTF16Output.hpp"

namespace Tessaly::inline v1 {
namespace {

struct Key {
  std::string locale;
  std::string zone;
  std::string skeleton;
  bool operator==(const Key&) const noexcept = default;
};

/// The prepared data of one combination of locale, zone and fields.
class Engine {
 public:
  explicit Engine(const Key& key) {
    const icu::Locale named(key.locale.c_str());
    const icu::Locale& locale = named.isBogus() ? icu::Locale::getRoot() : named;
    UErrorCode status = U_ZERO_ERROR;
    const std::unique_ptr<icu::DateTimePatternGenerator> generator(
        icu::DateTimePatternGenerator::createInstance(locale, status));
    icu::UnicodeString skeleton = icu::UnicodeString::fromUTF8(key.skeleton);
    const bool isTaiwan =
        std::string_view(locale.getLanguage()) == "zh" && std::string_view(locale.getCountry()) == "TW";
    if (isTaiwan) skeleton.findAndReplace(u"j", u"C");  // Hours have the part of the day.
    // The widths of the style take precedence over those of the locale.
    const icu::UnicodeString pattern = generator->getBestPattern(skeleton, UDATPG_MATCH_ALL_FIELDS_LENGTH, status);
    format_ = std::make_unique<icu::SimpleDateFormat>(pattern, locale, status);
    format_->adoptTimeZone(icu::TimeZone::createTimeZone(icu::UnicodeString::fromUTF8(key.zone)));
    calendar_.reset(format_->getCalendar()->clone());
  }

  std::string string(UDate date) {
    UErrorCode status = U_ZERO_ERROR;
    calendar_->setTime(date, status);
    units_.remove();
    icu::FieldPosition position(icu::FieldPosition::DONT_CARE);
    format_->format(*calendar_, units_, position);
    return detail::fromUTF16(units_);
  }

 private:
  std::unique_ptr<icu::SimpleDateFormat> format_;
  std::unique_ptr<icu::Calendar> calendar_;
  icu::UnicodeString units_;
};

struct Engines : detail::RecentlyUsed<Key, Engine, 16> {};

template <typename Width>
void append(std::string& skeleton, Width width, char letter) {
  skeleton.append(static_cast<std::size_t>(width), letter);
}

}  // namespace

std::string Date::FormatStyle::format(Date date) const {
  const double seconds = date.timeIntervalSince1970();
  if (!std::isfinite(seconds)) return {};
  Key key{(locale_ ? *locale_ : detail::currentLocale()).identifier(),
          (timeZone_ ? *timeZone_ : detail::currentTimeZone()).identifier(),
          {}};
  append(key.skeleton, year_, 'y');
  append(key.skeleton, month_, 'M');
  append(key.skeleton, day_, 'd');
  append(key.skeleton, hour_, 'j');
  append(key.skeleton, minute_, 'm');
  append(key.skeleton, second_, 's');
  if (key.skeleton.empty()) return {};
  Engine& engine = detail::PerThread<Engines>::current().get(
      key, [](const Key& prepared) { return std::make_unique<Engine>(prepared); });
  return engine.string(seconds * 1000);
}

}  // namespace Tessaly::inline v1
