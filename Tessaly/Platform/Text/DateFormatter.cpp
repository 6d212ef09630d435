// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Text/DateFormatter.hpp"

#include <unicode/brkiter.h>
#include <unicode/calendar.h>
#include <unicode/locid.h>
#include <unicode/reldatefmt.h>
#include <unicode/simpleformatter.h>
#include <unicode/smpdtfmt.h>
#include <unicode/timezone.h>
#include <unicode/uchar.h>
#include <unicode/udisplaycontext.h>
#include <unicode/ures.h>

#include <array>
#include <cmath>
#include <tuple>
#include <utility>

#include "Tessaly/Platform/Text/detail/RecentlyUsed.hpp"
#include "Tessaly/Platform/Text/detail/UTF16Output.hpp"

namespace Tessaly::inline v1 {
namespace {

icu::DateFormat::EStyle styleOfICU(DateFormatter::Style style) {
  switch (style) {
    case DateFormatter::Style::short_:
      return icu::DateFormat::kShort;
    case DateFormatter::Style::medium:
      return icu::DateFormat::kMedium;
    case DateFormatter::Style::long_:
      return icu::DateFormat::kLong;
    case DateFormatter::Style::full:
      return icu::DateFormat::kFull;
    case DateFormatter::Style::none:
      break;
  }
  return icu::DateFormat::kNone;
}

UDisplayContext contextOfICU(DateFormatter::FormattingContext context) {
  using enum DateFormatter::FormattingContext;
  switch (context) {
    case standalone:
      return UDISPCTX_CAPITALIZATION_FOR_STANDALONE;
    case listItem:
      return UDISPCTX_CAPITALIZATION_FOR_UI_LIST_OR_MENU;
    case beginningOfSentence:
      return UDISPCTX_CAPITALIZATION_FOR_BEGINNING_OF_SENTENCE;
    case middleOfSentence:
      return UDISPCTX_CAPITALIZATION_FOR_MIDDLE_OF_SENTENCE;
    case unknown:
      break;
  }
  return UDISPCTX_CAPITALIZATION_NONE;
}

/// Closes a resource at the end of its scope.
struct ResourceCloser {
  void operator()(UResourceBundle* resource) const noexcept { ures_close(resource); }
};
using Resource = std::unique_ptr<UResourceBundle, ResourceCloser>;

Resource child(const Resource& parent, const char* key) {
  UErrorCode status = U_ZERO_ERROR;
  Resource found(parent ? ures_getByKey(parent.get(), key, nullptr, &status) : nullptr);
  return U_SUCCESS(status) ? std::move(found) : Resource();
}

/// The pattern that joins a date {1} of this style and a time {0}: the plain one, without a word such as "at". A locale
/// that does not say inherits it.
icu::UnicodeString gluePattern(const icu::Locale& locale, icu::DateFormat::EStyle style) {
  constexpr std::int32_t firstGlue = 9;
  std::string name = locale.getBaseName();
  for (int depth = 0; depth < 8; ++depth) {
    UErrorCode status = U_ZERO_ERROR;
    const Resource bundle(ures_openDirect(nullptr, name.empty() ? "root" : name.c_str(), &status));
    if (U_SUCCESS(status)) {
      if (const Resource patterns = child(child(child(bundle, "calendar"), "gregorian"), "DateTimePatterns")) {
        std::int32_t length = 0;
        const char16_t* glue = ures_getStringByIndex(patterns.get(), firstGlue + style, &length, &status);
        if (U_SUCCESS(status)) return {glue, length};
        status = U_ZERO_ERROR;
      }
      if (const char* actual = ures_getLocaleByType(bundle.get(), ULOC_ACTUAL_LOCALE, &status); U_SUCCESS(status)) {
        name = actual;
      }
      std::int32_t length = 0;
      status = U_ZERO_ERROR;
      const char16_t* parent = ures_getStringByKey(bundle.get(), "%%Parent", &length, &status);
      if (U_SUCCESS(status)) {
        name = Text::fromUTF16(std::u16string_view(parent, static_cast<std::size_t>(length)));
        continue;
      }
    }
    if (name.empty() || name == "root") break;
    const std::size_t cut = name.rfind('_');
    name.resize(cut == std::string::npos ? 0 : cut);
  }
  return u"{1} {0}";
}

icu::UnicodeString quoted(icu::UnicodeString text) {
  text.findAndReplace(u"'", u"''");
  return u"'" + text + u"'";
}

}  // namespace

struct DateFormatter::Key {
  std::string locale;
  std::string zone;
  Style dateStyle;
  Style timeStyle;
  bool isRelative;
  FormattingContext context;

  explicit Key(const std::tuple<const std::string&, const std::string&, Style, Style, bool, FormattingContext>& parts)
      : locale(std::get<0>(parts)),
        zone(std::get<1>(parts)),
        dateStyle(std::get<2>(parts)),
        timeStyle(std::get<3>(parts)),
        isRelative(std::get<4>(parts)),
        context(std::get<5>(parts)) {}

  bool operator==(const std::tuple<const std::string&, const std::string&, Style, Style, bool, FormattingContext>&
                      parts) const noexcept {
    return std::tie(locale, zone, dateStyle, timeStyle, isRelative, context) == parts;
  }
};

/// What is prepared for one combination of properties.
class DateFormatter::Engine {
 public:
  explicit Engine(const Key& key) {
    const icu::Locale named(key.locale.c_str());
    const icu::Locale& locale = named.isBogus() ? icu::Locale::getRoot() : named;
    UErrorCode status = U_ZERO_ERROR;
    auto* format =
        icu::DateFormat::createDateTimeInstance(styleOfICU(key.dateStyle), styleOfICU(key.timeStyle), locale);
    whole_.reset(dynamic_cast<icu::SimpleDateFormat*>(format));
    if (!whole_) {
      delete format;
      whole_ =
          std::make_unique<icu::SimpleDateFormat>(icu::UnicodeString(u"y-MM-dd HH:mm"), icu::Locale::getRoot(), status);
    }
    whole_->adoptTimeZone(icu::TimeZone::createTimeZone(icu::UnicodeString::fromUTF8(key.zone)));
    calendar_.reset(whole_->getCalendar()->clone());
    isRelative_ = key.isRelative && key.dateStyle != Style::none;
    if (isRelative_) prepareWords(key, locale);
    whole_->setContext(contextOfICU(key.context), status);
  }

  std::string string(UDate date, UDate now) {
    std::string text;
    if (isRelative_) {
      const std::int64_t days = julianDay(date) - julianDayOfNow(now);
      if (days >= -2 && days <= 2 && !words_[static_cast<std::size_t>(days + 2)].empty()) {
        text = words_[static_cast<std::size_t>(days + 2)];
        if (!time_) return text;
        const std::string timeText = apply(*time_, date);
        return isTimeFirst_ ? glue_[0] + timeText + glue_[1] + text + glue_[2]
                            : glue_[0] + text + glue_[1] + timeText + glue_[2];
      }
    }
    return apply(*whole_, date);
  }

 private:
  std::string apply(const icu::SimpleDateFormat& format, UDate date) {
    UErrorCode status = U_ZERO_ERROR;
    // With a calendar of our own: given a date, ICU would clone the format's at every call.
    calendar_->setTime(date, status);
    units_.remove();
    icu::FieldPosition position(icu::FieldPosition::DONT_CARE);
    format.format(*calendar_, units_, position);
    return detail::fromUTF16(units_);
  }

  std::int64_t julianDay(UDate date) {
    UErrorCode status = U_ZERO_ERROR;
    calendar_->setTime(date, status);
    return calendar_->get(UCAL_JULIAN_DAY, status);
  }

  /// Asks the calendar only when another minute has come: days begin and end with a minute in every zone.
  std::int64_t julianDayOfNow(UDate now) {
    const double minute = std::floor(now / 60'000);
    if (minute != minuteOfNow_) {
      dayOfNow_ = julianDay(now);
      minuteOfNow_ = minute;
    }
    return dayOfNow_;
  }

  void prepareWords(const Key& key, const icu::Locale& locale) {
    UErrorCode status = U_ZERO_ERROR;
    constexpr std::array<UDateDirection, 5> directions{UDAT_DIRECTION_LAST_2, UDAT_DIRECTION_LAST, UDAT_DIRECTION_THIS,
                                                       UDAT_DIRECTION_NEXT, UDAT_DIRECTION_NEXT_2};
    icu::UnicodeString glue = u"{1}";
    if (key.timeStyle != Style::none) prepareGlue(key, locale, glue);
    const icu::RelativeDateTimeFormatter formatter(locale, status);
    for (std::size_t index = 0; index < directions.size(); ++index) {
      icu::UnicodeString word;
      UErrorCode wordStatus = status;
      formatter.format(directions[index], UDAT_ABSOLUTE_DAY, word, wordStatus);
      if (U_FAILURE(wordStatus)) continue;
      if (!isTimeFirst_ && isCapitalised(key.context, locale)) capitalise(word, locale);
      words_[index] = detail::fromUTF16(word);
    }
  }

  /// Joins the patterns of date and time by the plain glue, and finds out what that puts around the two texts.
  void prepareGlue(const Key& key, const icu::Locale& locale, icu::UnicodeString& glue) {
    UErrorCode status = U_ZERO_ERROR;
    const auto pattern = [&](icu::DateFormat* made) {
      const std::unique_ptr<icu::DateFormat> format(made);
      icu::UnicodeString text;
      if (const auto* simple = dynamic_cast<const icu::SimpleDateFormat*>(format.get())) simple->toPattern(text);
      return text;
    };
    const icu::DateFormat::EStyle dateStyle = styleOfICU(key.dateStyle);
    const icu::UnicodeString datePattern = pattern(icu::DateFormat::createDateInstance(dateStyle, locale));
    const icu::UnicodeString timePattern =
        pattern(icu::DateFormat::createTimeInstance(styleOfICU(key.timeStyle), locale));
    glue = gluePattern(locale, dateStyle);
    isTimeFirst_ = glue.indexOf(u"{0}") >= 0 && glue.indexOf(u"{0}") < glue.indexOf(u"{1}");
    const icu::SimpleFormatter joiner(glue, 2, 2, status);

    time_.reset(whole_->clone());
    time_->applyPattern(timePattern);
    if (isTimeFirst_) time_->setContext(contextOfICU(key.context), status);
    // The glue is a pattern of dates too, with quotes of its own: let the format resolve it around two private letters.
    icu::UnicodeString joined;
    joiner.format(quoted(u"\uE000"), quoted(u"\uE001"), joined, status);
    whole_->applyPattern(joined);
    icu::UnicodeString around;
    whole_->format(UDate{0}, around);
    const std::int32_t first = around.indexOf(isTimeFirst_ ? u'\uE000' : u'\uE001');
    const std::int32_t second = around.indexOf(isTimeFirst_ ? u'\uE001' : u'\uE000');
    if (first >= 0 && second > first) {
      glue_ = {detail::fromUTF16(around.tempSubStringBetween(0, first)),
               detail::fromUTF16(around.tempSubStringBetween(first + 1, second)),
               detail::fromUTF16(around.tempSubString(second + 1))};
    }

    icu::UnicodeString both;
    joiner.format(timePattern, datePattern, both, status);
    if (U_SUCCESS(status)) whole_->applyPattern(both);
  }

  /// Whether words for days get a capital letter. On their own and in lists, that is for the locale to say.
  static bool isCapitalised(FormattingContext context, const icu::Locale& locale) {
    if (context == FormattingContext::beginningOfSentence) return true;
    if (context != FormattingContext::standalone && context != FormattingContext::listItem) return false;
    UErrorCode status = U_ZERO_ERROR;
    const Resource bundle(ures_open(nullptr, locale.getBaseName(), &status));
    const Resource transforms = child(child(bundle, "contextTransforms"), "relative");
    if (!transforms) return false;
    std::int32_t count = 0;
    const std::int32_t* choices = ures_getIntVector(transforms.get(), &count, &status);
    const std::int32_t index = context == FormattingContext::standalone ? 1 : 0;
    return U_SUCCESS(status) && count > index && choices[index] != 0;
  }

  static void capitalise(icu::UnicodeString& word, const icu::Locale& locale) {
    if (word.isEmpty() || !u_islower(word.char32At(0))) return;
    UErrorCode status = U_ZERO_ERROR;
    const std::unique_ptr<icu::BreakIterator> sentences(icu::BreakIterator::createSentenceInstance(locale, status));
    if (U_SUCCESS(status)) {
      word.toTitle(sentences.get(), locale, U_TITLECASE_NO_LOWERCASE | U_TITLECASE_NO_BREAK_ADJUSTMENT);
    }
  }

  std::unique_ptr<icu::SimpleDateFormat> whole_;
  std::unique_ptr<icu::SimpleDateFormat> time_;
  std::unique_ptr<icu::Calendar> calendar_;
  icu::UnicodeString units_;
  bool isRelative_ = false;
  bool isTimeFirst_ = false;
  std::array<std::string, 5> words_;
  std::array<std::string, 3> glue_{"", " ", ""};
  double minuteOfNow_ = std::nan("");
  std::int64_t dayOfNow_ = 0;
};

class DateFormatter::Engines : public detail::RecentlyUsed<Key, Engine, 16> {};

DateFormatter::DateFormatter() : engines_(std::make_unique<Engines>()) {}
DateFormatter::~DateFormatter() = default;

std::string_view DateFormatter::className() const noexcept { return "Tessaly.DateFormatter"; }

std::string DateFormatter::string(::Tessaly::Date date) const {
  if (dateStyle_ == Style::none && timeStyle_ == Style::none) return {};
  const double seconds = date.timeIntervalSince1970();
  if (!std::isfinite(seconds)) return {};
  const std::string& locale = (locale_ ? *locale_ : detail::currentLocale()).identifier();
  const std::string& zone = (timeZone_ ? *timeZone_ : detail::currentTimeZone()).identifier();
  Engine& engine =
      engines_->get(std::tuple<const std::string&, const std::string&, Style, Style, bool, FormattingContext>(
                        locale, zone, dateStyle_, timeStyle_, isRelative_, context_),
                    [](const Key& key) { return std::make_unique<Engine>(key); });
  const UDate now = isRelative_ ? Date::now().timeIntervalSince1970() * 1000 : 0;
  return engine.string(seconds * 1000 + 0.5, now);
}

std::optional<std::string> DateFormatter::string(const std::any& object) const {
  const auto* date = std::any_cast<::Tessaly::Date>(&object);
  if (date == nullptr) return std::nullopt;
  return string(*date);
}

}  // namespace Tessaly::inline v1
