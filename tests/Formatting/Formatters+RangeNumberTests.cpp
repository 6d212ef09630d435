// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "Tessaly/Core/Text/Locale.hpp"
#include "Tessaly/Formatting/Formatters+RangeNumber.hpp"

namespace Tessaly {
namespace {

using Formatters::RangeNumber;

/// The outcome of an edit: "ok", "no", or the replacement.
template <typename Value>
std::string edit(RangeNumber<Value>& formatter, std::string_view text) {
  std::optional<std::string> replacement;
  std::optional<std::string> description;
  const bool isValid = formatter.isPartialStringValid(text, &replacement, &description);
  EXPECT_EQ(description, std::nullopt);
  EXPECT_FALSE(isValid && replacement);
  EXPECT_EQ(formatter.isPartialStringValid(text), isValid);
  return isValid ? "ok" : replacement.value_or("no");
}

/// The locale of the system.
class RangeNumberTest : public ::testing::Test {
 protected:
  explicit RangeNumberTest(const char* locale = "en") : locale_(locale), replacement_(locale_) {}

 private:
  const Locale locale_;
  const Locale::Replacement replacement_;
};

TEST_F(RangeNumberTest, ReplacesNumbersBeyondTheRangeByTheBound) {
  RangeNumber<int> formatter(ClosedRange(0, 100));
  EXPECT_EQ(edit(formatter, "150"), "100");
  EXPECT_EQ(edit(formatter, "-5"), "0");
  for (const char* accepted : {"0", "5", "50", "100", "-", "007", "-0", "99.9", "1e2"}) {
    EXPECT_EQ(edit(formatter, accepted), "ok") << accepted;
  }
  for (const char* refused : {"", "a", "+5", "5a", "5 ", "1,0", ".", "--5", "\xFF", "😀"}) {
    EXPECT_EQ(edit(formatter, refused), "no") << refused;
  }
}

TEST_F(RangeNumberTest, AcceptsTheEmptyTextAsZeroOnRequest) {
  RangeNumber<int> around(ClosedRange(0, 100));
  EXPECT_FALSE(around.acceptsEmptyString());
  EXPECT_EQ(edit(around, ""), "no");
  around.setAcceptsEmptyString(true);
  EXPECT_EQ(edit(around, ""), "ok");
  RangeNumber<int> above(ClosedRange(5, 10));
  above.setAcceptsEmptyString(true);
  EXPECT_EQ(edit(above, ""), "5");
  RangeNumber<int> below(ClosedRange(-10, -5));
  below.setAcceptsEmptyString(true);
  EXPECT_EQ(edit(below, ""), "-5");
}

TEST_F(RangeNumberTest, ShowsAPlusSignInRangesWithNegativeValues) {
  RangeNumber<int> formatter(ClosedRange(-10, 10));
  formatter.setSuffix(" dB");
  EXPECT_EQ(formatter.suffix(), " dB");
  EXPECT_EQ(formatter.string(5), "+5 dB");
  EXPECT_EQ(formatter.string(-5), "-5 dB");
  EXPECT_EQ(formatter.string(0), "0 dB");
  EXPECT_EQ(formatter.zeroSymbol(), "0 dB");
  EXPECT_EQ(edit(formatter, "+"), "ok");
  EXPECT_EQ(formatter.numberFromAnyString("+"), 0);
  EXPECT_EQ(formatter.numberFromAnyString("-"), 0);
  EXPECT_EQ(formatter.numberFromAnyString("+ dB"), 0);
  EXPECT_EQ(formatter.numberFromAnyString(" dB"), 0);
  EXPECT_EQ(formatter.numberFromAnyString("5"), 5);
  EXPECT_EQ(formatter.numberFromAnyString("-5 dB"), -5);
  EXPECT_EQ(formatter.numberFromAnyString("5dB"), std::nullopt);
  EXPECT_EQ(edit(formatter, "11"), "+10 dB");
  EXPECT_EQ(edit(formatter, "-11"), "-10 dB");
}

TEST_F(RangeNumberTest, WritesZeroWithFractionDigitsOnRequest) {
  RangeNumber<double> formatter(ClosedRange(-1.0, 1.0));
  EXPECT_EQ(formatter.zeroSymbol(), "0");
  formatter.setShowFractionDigitsInZeroSymbol(true);
  EXPECT_TRUE(formatter.showFractionDigitsInZeroSymbol());
  EXPECT_EQ(formatter.zeroSymbol(), "0.0");
  formatter.setSuffix(" dB");
  EXPECT_EQ(formatter.zeroSymbol(), "0.0 dB");
  formatter.setSuffix(std::nullopt);
  formatter.setShowFractionDigitsInZeroSymbol(false);
  EXPECT_EQ(formatter.zeroSymbol(), "0");
  EXPECT_EQ(formatter.positiveSuffix(), "");
}

TEST_F(RangeNumberTest, TruncatesFractionsForIntegersOnly) {
  EXPECT_EQ(RangeNumber<int>(ClosedRange(-9, 9)).numberFromAnyString("5.9"), 5);
  EXPECT_EQ(RangeNumber<int>(ClosedRange(-9, 9)).numberFromAnyString("-5.9"), -5);
  EXPECT_EQ(RangeNumber<double>(ClosedRange(0.0, 9.0)).numberFromAnyString("5.9"), 5.9);
  EXPECT_EQ(RangeNumber<float>(ClosedRange(0.0F, 9.0F)).numberFromAnyString("5.9"), 5.9F);
}

TEST_F(RangeNumberTest, WritesBoundsWithTheChosenDigits) {
  RangeNumber<double> formatter(ClosedRange(0.25, 0.5));
  EXPECT_EQ(edit(formatter, "0.6"), "0");
  formatter.setMaximumFractionDigits(2);
  EXPECT_EQ(edit(formatter, "0.6"), "0.5");
  EXPECT_EQ(edit(formatter, "0.1"), "0.25");
}

TEST_F(RangeNumberTest, NumberBeyondTheTypeCountsAsItsEnd) {
  RangeNumber<std::int8_t> small(ClosedRange<std::int8_t>(0, 100));
  EXPECT_EQ(small.numberFromAnyString("300"), 127);
  EXPECT_EQ(edit(small, "300"), "100");
  EXPECT_EQ(edit(small, "-300"), "0");
  RangeNumber<std::uint8_t> natural(ClosedRange<std::uint8_t>(1, 255));
  EXPECT_EQ(edit(natural, "256"), "ok");
  EXPECT_EQ(edit(natural, "-1"), "1");
  RangeNumber<std::int64_t> large(ClosedRange<std::int64_t>(0, std::numeric_limits<std::int64_t>::max() - 1));
  EXPECT_EQ(edit(large, "99999999999999999999999"), "9223372036854775806");
  EXPECT_EQ(edit(large, "9223372036854775806"), "ok");
  EXPECT_EQ(RangeNumber<int>(ClosedRange(0, 1)).numberFromAnyString("NaN"), std::nullopt);
  constexpr std::uint64_t largest = std::numeric_limits<std::uint64_t>::max();
  RangeNumber<std::uint64_t> whole(ClosedRange<std::uint64_t>(0, largest));
  EXPECT_EQ(whole.numberFromAnyString("18446744073709551615"), largest);
  EXPECT_EQ(whole.numberFromAnyString("10000000000000000000"), 10'000'000'000'000'000'000ULL);
  EXPECT_EQ(whole.numberFromAnyString("1e300"), largest);
  EXPECT_EQ(whole.numberFromAnyString("-1e300"), 0U);
  EXPECT_EQ(whole.numberFromAnyString("∞"), largest);
}

TEST_F(RangeNumberTest, ReplacesNonfiniteNumbersByTheUpperBound) {
  RangeNumber<double> formatter(ClosedRange(-1.0, 1.0));
  EXPECT_EQ(edit(formatter, "∞"), "+1");
  EXPECT_EQ(edit(formatter, "-∞"), "-1");
  EXPECT_EQ(edit(formatter, "NaN"), "+1");
  RangeNumber<double> everything(ClosedRange(-std::numeric_limits<double>::max(), std::numeric_limits<double>::max()));
  EXPECT_EQ(edit(everything, "1e308"), "ok");
  EXPECT_EQ(edit(everything, "5e-324"), "ok");
  EXPECT_EQ(edit(everything, "-0"), "ok");
}

TEST_F(RangeNumberTest, AcceptsTheOnlyValueOfEqualBounds) {
  RangeNumber<int> formatter(ClosedRange(7, 7));
  EXPECT_EQ(edit(formatter, "7"), "ok");
  EXPECT_EQ(edit(formatter, "6"), "7");
  EXPECT_EQ(edit(formatter, "8"), "7");
}

TEST_F(RangeNumberTest, HandlesNegativeAndFractionalRanges) {
  RangeNumber<int> below(ClosedRange(-20, -10));
  EXPECT_EQ(edit(below, "-15"), "ok");
  EXPECT_EQ(edit(below, "-1"), "-10");  // So "-15" has to be pasted.
  EXPECT_EQ(edit(below, "-"), "-10");
  EXPECT_EQ(edit(below, "5"), "-10");
  EXPECT_EQ(edit(below, "-21"), "-20");
  RangeNumber<double> fractions(ClosedRange(0.25, 0.75));
  fractions.setMaximumFractionDigits(3);
  EXPECT_EQ(edit(fractions, "0"), "0.25");
  EXPECT_EQ(edit(fractions, "0.5"), "ok");
  EXPECT_EQ(edit(fractions, ".5"), "ok");
  EXPECT_EQ(edit(fractions, "0.7500001"), "0.75");
  RangeNumber<float> equal(ClosedRange(-0.5F, -0.5F));
  equal.setMaximumFractionDigits(1);
  EXPECT_EQ(edit(equal, "-0.5"), "ok");
  EXPECT_EQ(edit(equal, "0.5"), "-0.5");
  EXPECT_EQ(edit(equal, "-0.50000001"), "ok");  // The same number as a float.
}

TEST_F(RangeNumberTest, GivesTheNumberOfAText) {
  RangeNumber<int> formatter(ClosedRange(-9, 9));
  std::any object;
  EXPECT_TRUE(formatter.getObjectValue(&object, "+5"));
  EXPECT_EQ(std::any_cast<NSNumber>(object), NSNumber(5));
  EXPECT_FALSE(formatter.getObjectValue(&object, "x"));
}

TEST_F(RangeNumberTest, AcceptsItsOwnOutput) {
  for (const char* locale : {"en", "de", "fr", "ar", "sv", "hi", "fa", "he", "ja"}) {
    const Locale current(locale);
    const Locale::Replacement replacement(current);
    RangeNumber<int> formatter(ClosedRange(-1000, 1000));
    formatter.setSuffix(" dB");
    for (const int value : {-1000, -7, -1, 0, 1, 42, 1000}) {
      const std::string text = formatter.string(value).value_or("");
      EXPECT_EQ(formatter.numberFromAnyString(text), value) << locale << ' ' << text;
      EXPECT_EQ(edit(formatter, text), "ok") << locale << ' ' << text;
    }
  }
}

TEST_F(RangeNumberTest, AcceptsTypingCharacterByCharacter) {
  struct Typing {
    const char* locale;
    std::vector<std::string> texts;
    double value;
  };
  for (const auto& [locale, texts, value] :
       {Typing{"en", {"-", "-1", "-12", "-12.", "-12.5"}, -12.5}, Typing{"de", {"-", "-1", "-1,", "-1,5"}, -1.5},
        Typing{"fr", {"+", "+3", "+3,", "+3,2"}, 3.2}, Typing{"ar_EG", {"٣", "٣٫", "٣٫٥"}, 3.5},
        Typing{"ar_EG", {"\u061C-", "\u061C-٣"}, -3},
        Typing{"sv", {"\u2212", "\u22124", "\u22124,", "\u22124,5"}, -4.5}, Typing{"hi", {"१", "१२", "12"}, 12},
        Typing{"hi", {"-", "-५"}, -5}}) {
    const Locale current(locale);
    const Locale::Replacement replacement(current);
    RangeNumber<double> formatter(ClosedRange(-100.0, 100.0));
    for (const std::string& text : texts) EXPECT_EQ(edit(formatter, text), "ok") << locale << ' ' << text;
    EXPECT_EQ(formatter.numberFromAnyString(texts.back()), value) << locale;
  }
}

TEST_F(RangeNumberTest, AcceptsEveryKeystrokeInManyLanguages) {
  struct Stroke {
    const char* text;
    const char* result;
  };
  struct Typing {
    const char* locale;
    double lower;
    double upper;
    const char* suffix;
    std::vector<Stroke> strokes;
  };
  const Typing typings[] = {
      {"en",
       -10,
       10,
       " dB",
       {{"+", "ok"},
        {"-", "ok"},
        {"-5", "ok"},
        {"-5.", "ok"},
        {"-5.5", "ok"},
        {"5,", "no"},
        {"11", "+10 dB"},
        {"-11", "-10 dB"},
        {"5 dB", "ok"},
        {"5 d", "no"},
        {"\u22125", "no"},
        {"٥", "ok"}}},
      {"en",
       0,
       100,
       "%",
       {{"%", "ok"}, {"1", "ok"}, {"150", "100%"}, {"150%", "100%"}, {"-5", "0%"}, {"\u22125", "0%"}, {"+5", "no"}}},
      {"de",
       0,
       100,
       " %",
       {{"1,", "ok"}, {"1,5", "ok"}, {"1.", "no"}, {"1.000", "no"}, {"100,5", "100 %"}, {"-5", "0 %"}}},
      {"fr",
       -10,
       10,
       nullptr,
       {{"-", "ok"}, {"-3,", "ok"}, {"-3,5", "ok"}, {"3.", "no"}, {"1\u202F000", "no"}, {"11", "+10"}, {"-11", "-10"}}},
      {"ar_EG",
       -10,
       10,
       " dB",
       {{"٥", "ok"},
        {"٥٫", "ok"},
        {"٥٫٥", "ok"},
        {"5", "ok"},
        {"١١", "\u061C+١٠ dB"},
        {"\u061C-", "ok"},
        {"\u061C-٥", "ok"},
        {"\u061C-١١", "\u061C-١٠ dB"},
        {"-٥", "no"}}},
      {"ar_EG", 0, 100, nullptr, {{"١٥٠", "١٠٠"}, {"\u061C-٥", "0"}, {"-٥", "0"}, {"٪", "no"}}},
      {"sv",
       -10,
       10,
       " dB",
       {{"\u2212", "ok"},
        {"\u22125", "ok"},
        {"\u22125,5", "ok"},
        {"\u221211", "\u221210 dB"},
        {"-5", "no"},
        {"-", "no"},
        {"+", "ok"},
        {"11", "+10 dB"}}},
      {"sv", 0, 100, nullptr, {{"\u2212", "ok"}, {"\u22125", "0"}, {"-5", "0"}, {"-", "no"}, {"150", "100"}}},
      {"hi",
       -10,
       10,
       " dB",
       {{"-", "ok"}, {"-५", "ok"}, {"-५.५", "ok"}, {"१", "ok"}, {"११", "+10 dB"}, {"-११", "-10 dB"}, {"५,", "no"}}},
      {"hi", 0, 100, nullptr, {{"१५०", "100"}, {"-५", "0"}, {"५ ", "no"}}},
      {"he", -10, 10, nullptr, {{"\u200E-", "ok"}, {"\u200E-5", "ok"}, {"-5", "no"}, {"11", "\u200E+10"}}},
      {"fa", -10, 10, nullptr, {{"۵٫۵", "ok"}, {"\u200E\u2212", "ok"}, {"\u200E\u2212۵", "ok"}, {"۱۱", "\u200E+۱۰"}}}};
  for (const auto& [locale, lower, upper, suffix, strokes] : typings) {
    const Locale current(locale);
    const Locale::Replacement replacement(current);
    RangeNumber<double> formatter(ClosedRange(lower, upper));
    if (suffix != nullptr) formatter.setSuffix(suffix);
    for (const auto& [text, result] : strokes) {
      EXPECT_EQ(edit(formatter, text), result) << locale << ' ' << lower << ' ' << text;
    }
  }
}

TEST_F(RangeNumberTest, PastedTextIsParsedWholeOrNotAtAll) {
  RangeNumber<double> formatter(ClosedRange(0.0, 100.0));
  for (const char* read : {" 5", "\t5", "\u00A05", "\uFF15", "५", "007", "5.0", "5.", "1e1", "0.1e2"}) {
    EXPECT_EQ(edit(formatter, read), "ok") << read;
  }
  for (const char* refused : {"5 ",
                              "5\n",
                              "5\u00A0",
                              "1,0",
                              "1 0",
                              "5%",
                              "½",
                              "Ⅴ",
                              "0x10",
                              "5️⃣",
                              "5\u0301",
                              "\u03015",
                              "e5",
                              "5e",
                              "5-5",
                              "(5)",
                              "--5",
                              "-+5",
                              "\xEF\xBC",
                              "5\xFF",
                              "\xFF"
                              "5"}) {
    EXPECT_EQ(edit(formatter, refused), "no") << refused;
  }
}

TEST_F(RangeNumberTest, RefusesPastedTextWithoutANumber) {
  RangeNumber<int> formatter(ClosedRange(-100, 100));
  for (const std::string& text : {std::string(1'000'000, 'x'), std::string(100'000, '-'), std::string("\u0301\u0301"),
                                  std::string("12\n34"), std::string("1\0002", 3), std::string("\xC3\x28")}) {
    EXPECT_EQ(edit(formatter, text), "no");
  }
  EXPECT_EQ(edit(formatter, std::string(400, '9')), "+100");
  EXPECT_EQ(edit(formatter, std::string(1'000'000, '9')), "+100");
  EXPECT_EQ(edit(formatter, "-" + std::string(1'000'000, '9')), "-100");
  EXPECT_EQ(edit(formatter, "1." + std::string(1'000'000, '9')), "ok");
}

TEST_F(RangeNumberTest, IsKnownByItsName) {
  EXPECT_EQ(RangeNumber<int>::make(ClosedRange(0, 1))->className(), "Tessaly.RangeNumber");
}

TEST(RangeNumberDeathTest, MadeFromAnArchiveStopsTheProcess) {
  EXPECT_DEATH(RangeNumber<int>::from(Data()),
               "Tessaly/Formatters\\+RangeNumber:[0-9]+: Fatal error: init\\(coder:\\) has not been implemented");
}

TEST(RangeNumberDeathTest, MadeWithoutArgumentsStopsTheProcess) {
  EXPECT_DEATH(
      static_cast<void>(Object::make("Tessaly.RangeNumber")),
      "Tessaly/Formatters\\+RangeNumber:[0-9]+: Fatal error: Use of unimplemented initializer 'init\\(\\)' for class "
      "'Tessaly.RangeNumber'");
}

}  // namespace
}  // namespace Tessaly
