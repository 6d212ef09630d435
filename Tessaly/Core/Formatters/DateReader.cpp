// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Formatters/detail/DateReader.hpp"

#include <unicode/calendar.h>
#include <unicode/datefmt.h>
#include <unicode/dtfmtsym.h>
#include <unicode/gregocal.h>
#include <unicode/locid.h>
#include <unicode/simpleformatter.h>
#include <unicode/smpdtfmt.h>
#include <unicode/timezone.h>
#include <unicode/uchar.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>

#include "Tessaly/Core/Formatters/detail/RelativeDay.hpp"
#include "Tessaly/Core/Text/detail/UTF16Output.hpp"

namespace Tessaly::inline v1::detail {
namespace {

using icu::DateFormat;
using icu::UnicodeString;
using Style = DateFormat::EStyle;

/// The maximum length of a date in bytes. Longer texts are refused.
constexpr std::size_t maximumLength = 1'000;
constexpr std::array<Style, 4> lengths{DateFormat::kShort, DateFormat::kMedium, DateFormat::kLong, DateFormat::kFull};

/// The text without direction marks, and with one ASCII space for each run of white space.
UnicodeString plain(const UnicodeString& text) {
  UnicodeString result;
  for (std::int32_t at = 0; at < text.length(); at = text.moveIndex32(at, 1)) {
    const UChar32 scalar = text.char32At(at);
    if (scalar >= 0x80 && u_hasBinaryProperty(scalar, UCHAR_BIDI_CONTROL) != 0) continue;
    if (u_isUWhiteSpace(scalar) == 0) {
      result.append(scalar);
    } else if (!result.endsWith(UnicodeString(u' '))) {
      result.append(u' ');
    }
  }
  return result.trim();
}

/// The plain text, in which commas count as white space.
UnicodeString withoutCommas(UnicodeString text) {
  for (const char16_t comma : {u',', u'\u060C', u'\u3001'}) {
    text.findAndReplace(UnicodeString(comma), UnicodeString(u' '));
  }
  return plain(text);
}

/// The pattern of a format. Empty if it has none.
UnicodeString patternOf(DateFormat* made) {
  const std::unique_ptr<DateFormat> format(made);
  UnicodeString pattern;
  if (const auto* simple = dynamic_cast<const icu::SimpleDateFormat*>(format.get())) simple->toPattern(pattern);
  return plain(pattern);
}

/// The runs of equal letters outside quotes. Every other character is a run of one.
std::vector<UnicodeString> runsOf(const UnicodeString& pattern) {
  std::vector<UnicodeString> runs;
  bool isQuoted = false;
  for (std::int32_t at = 0; at < pattern.length(); ++at) {
    const char16_t unit = pattern.charAt(at);
    if (unit == u'\'') isQuoted = !isQuoted;
    const bool isField = !isQuoted && unit < 0x80 && u_isalpha(unit) != 0;
    const bool continues = isField && !runs.empty() && runs.back().charAt(0) == unit;
    if (!continues) runs.emplace_back();
    runs.back().append(unit);
  }
  return runs;
}

/// Whether a pattern has one of the letters outside quotes.
bool hasField(const UnicodeString& pattern, std::u16string_view letters) {
  bool isQuoted = false;
  for (const UnicodeString& run : runsOf(pattern)) {
    if (run.charAt(0) == u'\'') isQuoted = !isQuoted;
    if (!isQuoted && letters.find(run.charAt(0)) != std::u16string_view::npos) return true;
  }
  return false;
}

/// The pattern for typed texts: without commas, with numbers that need no padding. With a short year in the pattern,
/// ICU moves years of two digits into the present century.
UnicodeString forTyping(const UnicodeString& pattern, bool hasShortYear) {
  constexpr std::u16string_view padded = u"dMLHhKk";
  UnicodeString result;
  bool isQuoted = false;
  for (const UnicodeString& run : runsOf(pattern)) {
    const char16_t letter = run.charAt(0);
    if (letter == u'\'') isQuoted = !isQuoted;
    if (!isQuoted && letter == u'y' && hasShortYear) {
      result.append(u"yy", 2);
    } else if (!isQuoted && run.length() == 2 && padded.find(letter) != std::u16string_view::npos) {
      result.append(letter);
    } else {
      result.append(run);
    }
  }
  return withoutCommas(result);
}

UnicodeString folded(UnicodeString text) { return text.foldCase(); }

/// Lets a format match the plain forms of its names for the halves of the day. Some of these names have no-break
/// spaces.
void simplifyDayPeriods(icu::SimpleDateFormat& format) {
  icu::DateFormatSymbols symbols(*format.getDateFormatSymbols());
  std::int32_t count = 0;
  const UnicodeString* names = symbols.getAmPmStrings(count);
  std::vector<UnicodeString> simple;
  for (const UnicodeString& name : std::span(names, static_cast<std::size_t>(count))) simple.push_back(plain(name));
  symbols.setAmPmStrings(simple.data(), count);
  format.setDateFormatSymbols(symbols);
}

}  // namespace

class DateReader::Forms {
 public:
  explicit Forms(Shape shape) : shape_(std::move(shape)), locale_(shape_.locale.c_str()) {
    if (locale_.isBogus()) locale_ = icu::Locale::getRoot();
    zone_.reset(icu::TimeZone::createTimeZone(UnicodeString::fromUTF8(shape_.zone)));
    hasDate_ = shape_.dateStyle != DateFormat::kNone;
    hasTime_ = shape_.timeStyle != DateFormat::kNone;
    UErrorCode status = U_ZERO_ERROR;
    calendar_.reset(icu::Calendar::createInstance(*zone_, locale_, status));
  }

  std::vector<double> read(std::string_view text, Parsing parsing, double now) {
    const bool isStrict = parsing == Parsing::strict;
    const auto units = UnicodeString::fromUTF8(icu::StringPiece(text.data(), static_cast<std::int32_t>(text.size())));
    const UnicodeString sought = isStrict ? plain(units) : withoutCommas(units);
    std::vector<double> found;
    if (sought.isEmpty()) return found;
    std::vector<Form>& forms = isStrict ? own_ : typed_;
    if (forms.empty()) isStrict ? addOwn() : addTyped();
    if (shape_.isRelative && hasDate_) readWords(sought, parsing, now, found);
    for (const Form& form : forms) {
      if (!isStrict && !found.empty()) break;
      readForm(form, sought, now, 0, found, isStrict ? 0 : 1000);
    }
    return found;
  }

 private:
  struct Form {
    std::unique_ptr<icu::SimpleDateFormat> format;
    std::unique_ptr<icu::Calendar> calendar;
    bool hasDate;
    bool hasShortYear;
    bool hasWeekday;
  };
  enum class Calendar : std::uint8_t { ofLocale, gregorian };

  void add(std::vector<Form>& forms, const UnicodeString& pattern, Calendar calendar = Calendar::ofLocale) const {
    UErrorCode status = U_ZERO_ERROR;
    if (pattern.isEmpty()) return;
    auto format = std::make_unique<icu::SimpleDateFormat>(pattern, locale_, status);
    if (U_FAILURE(status)) return;
    if (calendar == Calendar::gregorian) format->adoptCalendar(new icu::GregorianCalendar(*zone_, status));
    format->setLenient(false);
    for (const auto attribute : {UDAT_PARSE_PARTIAL_LITERAL_MATCH, UDAT_PARSE_ALLOW_NUMERIC}) {
      format->setBooleanAttribute(attribute, false, status);
    }
    format->setTimeZone(*zone_);
    if (hasField(pattern, u"a")) simplifyDayPeriods(*format);
    std::unique_ptr<icu::Calendar> own(format->getCalendar()->clone());
    own->setLenient(false);
    const std::vector<UnicodeString> runs = runsOf(pattern);
    forms.push_back({.format = std::move(format),
                     .calendar = std::move(own),
                     .hasDate = hasField(pattern, u"GyYuUrQqMLdD"),
                     .hasShortYear = std::ranges::find(runs, UnicodeString(u"yy")) != runs.end(),
                     .hasWeekday = hasField(pattern, u"Ec")});
  }

  /// Adds the form of a date and a time that the glue joins.
  void addJoined(std::vector<Form>& forms, const UnicodeString& date, const UnicodeString& time,
                 const UnicodeString& glue, Calendar calendar = Calendar::ofLocale) const {
    UErrorCode status = U_ZERO_ERROR;
    const icu::SimpleFormatter joiner(glue, 2, 2, status);
    UnicodeString pattern;
    joiner.format(time, date, pattern, status);
    if (U_SUCCESS(status) && !date.isEmpty() && !time.isEmpty()) add(forms, plain(pattern), calendar);
  }

  [[nodiscard]] UnicodeString glueOf(int dateStyle) const {
    return glueOfDateAndTime(locale_.getBaseName(), dateStyle).c_str();
  }

  /// Adds the typed forms of a date and a time: one with the locale's glue, and one with only a space.
  void addTypedJoined(std::vector<Form>& forms, const UnicodeString& date, const UnicodeString& time, int dateStyle,
                      Calendar calendar = Calendar::ofLocale) const {
    for (const UnicodeString& glue : {withoutCommas(glueOf(dateStyle)), UnicodeString(u"{1} {0}")}) {
      addJoined(forms, date, time, glue, calendar);
    }
  }

  /// The forms that the formatter writes.
  void addOwn() {
    const auto dateStyle = static_cast<Style>(shape_.dateStyle);
    const auto timeStyle = static_cast<Style>(shape_.timeStyle);
    add(own_, patternOf(DateFormat::createDateTimeInstance(dateStyle, timeStyle, locale_)));
    if (!hasDate_ || !hasTime_) return;
    const UnicodeString date = patternOf(DateFormat::createDateInstance(dateStyle, locale_));
    addJoined(own_, date, ownTime(), glueOf(shape_.dateStyle));
  }

  [[nodiscard]] UnicodeString ownTime() const {
    return patternOf(DateFormat::createTimeInstance(static_cast<Style>(shape_.timeStyle), locale_));
  }

  /// The forms that people type.
  void addTyped() {
    const std::vector<UnicodeString> timePatterns = times();
    const auto addDate = [&](const UnicodeString& date, int style, Calendar calendar) {
      if (!hasTime_) add(typed_, date, calendar);
      for (const UnicodeString& time : timePatterns) addTypedJoined(typed_, date, time, style, calendar);
    };
    if (!hasDate_) {
      for (const UnicodeString& time : timePatterns) add(typed_, time);
      return;
    }
    const bool isGregorian = std::string_view(calendar_->getType()) == "gregorian";
    for (const Style style : lengths) {
      const UnicodeString date = patternOf(DateFormat::createDateInstance(style, locale_));
      addDate(forTyping(date, isGregorian && !hasField(date, u"GEc")), style, Calendar::ofLocale);
    }
    addDate(u"y-M-d", DateFormat::kShort, Calendar::gregorian);
  }

  /// The patterns of times that people type, in this formatter's style first.
  [[nodiscard]] std::vector<UnicodeString> times() const {
    if (!hasTime_) return {};
    std::vector<UnicodeString> patterns;
    const auto addStyle = [&](Style style) {
      patterns.push_back(forTyping(patternOf(DateFormat::createTimeInstance(style, locale_)), false));
    };
    addStyle(static_cast<Style>(shape_.timeStyle));
    for (const Style style : lengths) addStyle(style);
    patterns.emplace_back(u"H:mm");
    patterns.emplace_back(u"H:mm:ss");
    return patterns;
  }

  /// A calendar at the beginning of the day that is `days` days after the day of a time.
  [[nodiscard]] static std::unique_ptr<icu::Calendar> dayOf(const icu::Calendar& kind, double time, int days) {
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<icu::Calendar> calendar(kind.clone());
    calendar->setLenient(true);
    calendar->setTime(time, status);
    calendar->add(UCAL_DATE, days, status);
    for (const UCalendarDateFields field : {UCAL_HOUR_OF_DAY, UCAL_MINUTE, UCAL_SECOND, UCAL_MILLISECOND}) {
      calendar->set(field, 0);
    }
    static_cast<void>(calendar->getTime(status));
    return calendar;
  }

  /// The beginning of the day 80 years before a time. ICU puts years of two digits into the century after it.
  [[nodiscard]] UDate centuryOf(double now) {
    constexpr double day = 86'400'000;
    if (const double today = std::floor(now / day); today != dayOfCentury_) {
      UErrorCode status = U_ZERO_ERROR;
      const std::unique_ptr<icu::Calendar> calendar = dayOf(*calendar_, now, 0);
      calendar->add(UCAL_YEAR, -80, status);
      century_ = calendar->getTime(status);
      dayOfCentury_ = today;
    }
    return century_;
  }

  static bool matches(const Form& form, const UnicodeString& text, icu::Calendar& calendar) {
    icu::ParsePosition position(0);
    form.format->parse(text, calendar, position);
    return position.getIndex() == text.length();
  }

  /// The first instant of a calendar's date. On some days the clock is put forward at midnight. These days begin later.
  static UDate beginningOfDay(icu::Calendar& calendar, UErrorCode& status) {
    status = U_ZERO_ERROR;
    calendar.set(UCAL_HOUR_OF_DAY, 12);
    const UDate noon = calendar.getTime(status);
    return U_SUCCESS(status) ? dayOf(calendar, noon, 0)->getTime(status) : 0;
  }

  void readForm(const Form& form, const UnicodeString& text, double now, int days, std::vector<double>& found,
                std::int32_t minimumYear) {
    UErrorCode status = U_ZERO_ERROR;
    icu::Calendar* calendar = form.calendar.get();
    calendar->clear();
    if (form.hasShortYear) form.format->set2DigitYearStart(centuryOf(now), status);
    if (!matches(form, text, *calendar)) return;
    std::unique_ptr<icu::Calendar> today;
    if (!form.hasDate) {
      today = dayOf(*calendar, now, days);
      calendar = today.get();
      calendar->setLenient(false);
      matches(form, text, *calendar);
    }
    UDate time = calendar->getTime(status);
    if (U_FAILURE(status) && !hasTime_) time = beginningOfDay(*calendar, status);
    if (U_FAILURE(status)) return;
    if (minimumYear > 0 && calendar->get(UCAL_EXTENDED_YEAR, status) < minimumYear) return;
    if (form.hasWeekday) {
      UnicodeString again;
      form.format->format(time, again);
      if (folded(plain(again)) != folded(text)) return;
    }
    found.push_back(time);
  }

  /// Understands the words for the days around today, alone or beside a time.
  void readWords(const UnicodeString& text, Parsing parsing, double now, std::vector<double>& found) {
    const std::array<std::string, 7> words = wordsForDays(locale_.getBaseName());
    for (std::size_t index = 0; index < words.size(); ++index) {
      const UnicodeString word = folded(plain(UnicodeString::fromUTF8(words[index])));
      const int days = static_cast<int>(index) - 3;
      const std::int32_t at = word.isEmpty() ? -1 : folded(text).indexOf(word);
      if (at < 0) continue;
      if (hasTime_) {
        for (const Form& form : formsBeside(UnicodeString(text, at, word.length()), parsing)) {
          readForm(form, text, now, days, found, 0);
        }
      } else if (word.length() == folded(text).length()) {
        UErrorCode status = U_ZERO_ERROR;
        found.push_back(dayOf(*calendar_, now, days)->getTime(status));
      }
    }
  }

  /// The forms of a word and a time.
  [[nodiscard]] std::vector<Form> formsBeside(UnicodeString word, Parsing parsing) const {
    word.findAndReplace(u"'", u"''");
    const UnicodeString quoted = UnicodeString(u"'") + word + u"'";
    std::vector<Form> forms;
    if (parsing == Parsing::strict) {
      addJoined(forms, quoted, ownTime(), glueOf(shape_.dateStyle));
    } else {
      for (const UnicodeString& time : times()) addTypedJoined(forms, quoted, time, shape_.dateStyle);
    }
    return forms;
  }

  Shape shape_;
  icu::Locale locale_;
  std::unique_ptr<icu::TimeZone> zone_;
  std::unique_ptr<icu::Calendar> calendar_;
  UDate century_ = 0;
  double dayOfCentury_ = std::nan("");
  std::vector<Form> own_;
  std::vector<Form> typed_;
  bool hasDate_ = false;
  bool hasTime_ = false;
};

DateReader::DateReader(Shape shape) : forms_(std::make_unique<Forms>(std::move(shape))) {}
DateReader::~DateReader() = default;

std::vector<double> DateReader::read(std::string_view text, Parsing parsing, double now) {
  if (text.size() > maximumLength) return {};
  return forms_->read(text, parsing, now);
}

}  // namespace Tessaly::inline v1::detail
