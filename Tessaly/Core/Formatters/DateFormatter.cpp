// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Formatters/DateFormatter.hpp"

#include <unicode/calendar.h>
#include <unicode/locid.h>
#include <unicode/simpleformatter.h>
#include <unicode/smpdtfmt.h>
#include <unicode/timezone.h>
#include <unicode/udisplaycontext.h>

#include <array>
#include <chrono>
#include <cmath>
#include <tuple>
#include <utility>
#include <vector>

#include "Tessaly/Core/Formatters/detail/DateReader.hpp"
#include "Tessaly/Core/Formatters/detail/DateWriter.hpp"
#include "Tessaly/Core/Formatters/detail/RelativeDay.hpp"
#include "Tessaly/Core/Text/detail/RecentlyUsed.hpp"
#include "Tessaly/Core/Text/detail/UTF16Output.hpp"

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

/// The prepared data of one combination of properties.
class DateFormatter::Engine {
 public:
  /// Writes with the library's writer if possible, else with ICU, whose formats are many times larger and slower.
  enum class Writing : std::uint8_t { byOurselves, byICU };

  explicit Engine(const Key& key, Writing writing = Writing::byOurselves) : key_(key) {
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
    zone_.reset(icu::TimeZone::createTimeZone(icu::UnicodeString::fromUTF8(key.zone)));
    whole_->setTimeZone(*zone_);
    calendar_.reset(whole_->getCalendar()->clone());
    isRelative_ = key.isRelative && key.dateStyle != Style::none;
    if (isRelative_) prepareWords(key, locale);
    whole_->setContext(contextOfICU(key.context), status);
    if (writing == Writing::byOurselves) prepareWriters(locale);
  }

  std::string string(UDate date, UDate now) {
    const bool isLeftToICU = !detail::DateWriter::writes(date) || (isRelative_ && !detail::DateWriter::writes(now));
    if (wholeWriter_ && isLeftToICU) {
      if (!exact_) exact_ = std::make_unique<Engine>(key_, Writing::byICU);
      return exact_->string(date, now);
    }
    if (isRelative_) {
      const std::int64_t days = dayNumber(date) - dayNumberOfNow(now);
      if (days >= -3 && days <= 3 && !words_[static_cast<std::size_t>(days + 3)].empty()) {
        const std::string& word = words_[static_cast<std::size_t>(days + 3)];
        if (key_.timeStyle == Style::none) return word;
        const std::string time = apply(time_.get(), timeWriter_, date);
        return isTimeFirst_ ? glue_[0] + time + glue_[1] + word + glue_[2]
                            : glue_[0] + word + glue_[1] + time + glue_[2];
      }
    }
    return apply(whole_.get(), wholeWriter_, date);
  }

  /// The date that this engine writes as the text. Absent if the library's writer finds no date. ICU may still find
  /// one.
  std::optional<UDate> read(std::string_view text, UDate now) {
    if (!wholeWriter_ || !detail::DateWriter::writes(now)) return std::nullopt;
    const std::chrono::sys_days today{std::chrono::days(dayNumberOfNow(now))};
    const std::optional<std::int64_t> local = wholeWriter_->read(text, today);
    if (!local) return std::nullopt;
    UErrorCode status = U_ZERO_ERROR;
    std::int32_t distance = 0;
    std::int32_t summer = 0;
    const auto byLocalClock = static_cast<UDate>(*local);
    zone_->getOffset(byLocalClock, true, distance, summer, status);
    const UDate date = byLocalClock - distance - summer;
    return U_SUCCESS(status) && string(date, now) == text ? std::optional(date) : std::nullopt;
  }

  detail::DateReader& reader() {
    if (!reader_) {
      reader_ = std::make_unique<detail::DateReader>(detail::DateReader::Shape{.locale = key_.locale,
                                                                               .zone = key_.zone,
                                                                               .dateStyle = styleOfICU(key_.dateStyle),
                                                                               .timeStyle = styleOfICU(key_.timeStyle),
                                                                               .isRelative = key_.isRelative});
    }
    return *reader_;
  }

 private:
  std::string apply(const icu::SimpleDateFormat* format, const std::optional<detail::DateWriter>& writer, UDate date) {
    if (writer) {
      std::string text;
      writer->append(text, localMilliseconds(date));
      return text;
    }
    UErrorCode status = U_ZERO_ERROR;
    // The calendar is our own, because ICU would clone the calendar of the format at every call.
    calendar_->setTime(date, status);
    units_.remove();
    icu::FieldPosition position(icu::FieldPosition::DONT_CARE);
    format->format(*calendar_, units_, position);
    return detail::fromUTF16(units_);
  }

  [[nodiscard]] std::int64_t localMilliseconds(UDate date) const {
    UErrorCode status = U_ZERO_ERROR;
    std::int32_t distance = 0;
    std::int32_t summer = 0;
    zone_->getOffset(date, false, distance, summer, status);
    return static_cast<std::int64_t>(std::floor(date)) + distance + summer;
  }

  /// The number of a date's day in the zone. Consecutive days have consecutive numbers.
  std::int64_t dayNumber(UDate date) {
    if (wholeWriter_) {
      return std::chrono::floor<std::chrono::days>(std::chrono::milliseconds(localMilliseconds(date))).count();
    }
    UErrorCode status = U_ZERO_ERROR;
    calendar_->setTime(date, status);
    return calendar_->get(UCAL_JULIAN_DAY, status);
  }

  /// The number of the present day. The zone is asked only for a new minute, because in every zone days begin with a
  /// full minute.
  std::int64_t dayNumberOfNow(UDate now) {
    const double minute = std::floor(now / 60'000);
    if (minute != minuteOfNow_) {
      dayOfNow_ = dayNumber(now);
      minuteOfNow_ = minute;
    }
    return dayOfNow_;
  }

  /// Prepares the library's writers. Releases ICU's formats if the writers can write everything.
  void prepareWriters(const icu::Locale& locale) {
    const bool isAtBeginning = key_.context == FormattingContext::beginningOfSentence;
    if (!isAtBeginning && key_.context != FormattingContext::unknown) return;
    wholeWriter_ = detail::dateWriterOf(*whole_, locale.getName(), isAtBeginning);
    if (wholeWriter_ && time_) {
      timeWriter_ = detail::dateWriterOf(*time_, locale.getName(), isAtBeginning && isTimeFirst_);
    }
    if (!wholeWriter_ || (time_ && !timeWriter_)) {
      wholeWriter_.reset();
      return;
    }
    whole_.reset();
    time_.reset();
    calendar_.reset();
  }

  void prepareWords(const Key& key, const icu::Locale& locale) {
    if (key.timeStyle != Style::none) prepareGlue(key, locale);
    words_ = detail::wordsForDays(locale.getBaseName());
    if (!isTimeFirst_ && isCapitalised(key.context, locale)) detail::capitalise(words_, locale.getName());
  }

  /// Joins the patterns of date and time by the glue, which is the locale's plain joining pattern. Finds the texts that
  /// the glue puts around date and time.
  void prepareGlue(const Key& key, const icu::Locale& locale) {
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
    const icu::UnicodeString glue(detail::glueOfDateAndTime(locale.getBaseName(), dateStyle).c_str());
    isTimeFirst_ = glue.indexOf(u"{0}") >= 0 && glue.indexOf(u"{0}") < glue.indexOf(u"{1}");
    const icu::SimpleFormatter joiner(glue, 2, 2, status);

    time_.reset(whole_->clone());
    time_->applyPattern(timePattern);
    if (isTimeFirst_) time_->setContext(contextOfICU(key.context), status);
    // The glue is a pattern of dates, too, with its own quotes. The format resolves it around two private letters.
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

  /// Whether words for days begin with a capital letter. On their own and in lists, the locale decides.
  static bool isCapitalised(FormattingContext context, const icu::Locale& locale) {
    using detail::WordPlace;
    if (context == FormattingContext::beginningOfSentence) return true;
    if (context == FormattingContext::standalone) {
      return detail::capitalisesWordsForDays(locale.getBaseName(), WordPlace::standalone);
    }
    return context == FormattingContext::listItem &&
           detail::capitalisesWordsForDays(locale.getBaseName(), WordPlace::list);
  }

  const Key key_;
  std::unique_ptr<icu::TimeZone> zone_;
  std::optional<detail::DateWriter> wholeWriter_;
  std::optional<detail::DateWriter> timeWriter_;
  /// ICU's formats. Null while the writers suffice.
  std::unique_ptr<icu::SimpleDateFormat> whole_;
  std::unique_ptr<icu::SimpleDateFormat> time_;
  std::unique_ptr<icu::Calendar> calendar_;
  /// An engine with ICU's formats, for dates that the writers cannot write.
  std::unique_ptr<Engine> exact_;
  std::unique_ptr<detail::DateReader> reader_;
  icu::UnicodeString units_;
  bool isRelative_ = false;
  bool isTimeFirst_ = false;
  std::array<std::string, 7> words_;
  std::array<std::string, 3> glue_{"", " ", ""};
  double minuteOfNow_ = std::nan("");
  std::int64_t dayOfNow_ = 0;
};

class DateFormatter::Engines : public detail::RecentlyUsed<Key, Engine, 16> {};

DateFormatter::DateFormatter() : engines_(std::make_unique<Engines>()) {}
DateFormatter::~DateFormatter() = default;

std::string_view DateFormatter::className() const noexcept { return "Tessaly.DateFormatter"; }

DateFormatter::Engine& DateFormatter::engine() const {
  const std::string& locale = (locale_ ? *locale_ : detail::currentLocale()).identifier();
  const std::string& zone = (timeZone_ ? *timeZone_ : detail::currentTimeZone()).identifier();
  return engines_->get(std::tuple<const std::string&, const std::string&, Style, Style, bool, FormattingContext>(
                           locale, zone, dateStyle_, timeStyle_, isRelative_, context_),
                       [](const Key& key) { return std::make_unique<Engine>(key); });
}

std::string DateFormatter::string(::Tessaly::Date date) const {
  if (dateStyle_ == Style::none && timeStyle_ == Style::none) return {};
  const double seconds = date.timeIntervalSince1970();
  if (!std::isfinite(seconds)) return {};
  const UDate now = isRelative_ ? Date::now().timeIntervalSince1970() * 1000 : 0;
  return engine().string(seconds * 1000 + 0.5, now);
}

std::optional<std::string> DateFormatter::string(const std::any& object) const {
  const auto* date = std::any_cast<::Tessaly::Date>(&object);
  if (date == nullptr) return std::nullopt;
  return string(*date);
}

std::optional<::Tessaly::Date> DateFormatter::date(std::string_view text, Parsing parsing) const {
  if (dateStyle_ == Style::none && timeStyle_ == Style::none) return std::nullopt;
  const UDate now = Date::now().timeIntervalSince1970() * 1000;
  Engine& engine = this->engine();
  if (const std::optional<UDate> time = engine.read(text, now)) return ::Tessaly::Date::since1970(*time / 1000);
  detail::DateReader& reader = engine.reader();
  for (const UDate time : reader.read(text, Parsing::strict, now)) {
    const auto date = ::Tessaly::Date::since1970(time / 1000);
    if (string(date) == text) return date;
  }
  if (parsing == Parsing::strict) return std::nullopt;
  const std::vector<double> typed = reader.read(text, Parsing::lenient, now);
  return typed.empty() ? std::nullopt : std::optional(::Tessaly::Date::since1970(typed.front() / 1000));
}

bool DateFormatter::meansTheSame(std::string_view one, std::string_view other) const {
  const auto first = date(one);
  return first && first == date(other);
}

bool DateFormatter::getObjectValue(std::any* object, std::string_view text,
                                   std::optional<std::string>* errorDescription) {
  const auto found = date(text);
  if (found && object != nullptr) *object = *found;
  if (!found && errorDescription != nullptr) *errorDescription = "“" + std::string(text) + "” is not a date.";
  return found.has_value();
}

}  // namespace Tessaly::inline v1
