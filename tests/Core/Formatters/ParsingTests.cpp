// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <array>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "Tessaly/Core/Formatters/CurrencyFormatStyle.hpp"
#include "Tessaly/Core/Formatters/FieldEditing.hpp"
#include "Tessaly/Core/Formatters/NumberFormatStyle.hpp"
#include "Tessaly/Core/Formatters/PercentFormatStyle.hpp"
#include "Tessaly/Core/Formatters/ValueFormatter.hpp"
#include "tests/Core/Formatters/AllLocales.hpp"

namespace Tessaly {
namespace {

using Unit = Quantity::Unit;

/// A text in a language, and its value. Absent if it must be refused.
struct Row {
  const char* locale;
  const char* text;
  std::optional<double> value;
};

void expectRow(const Row& row, std::optional<double> value) {
  EXPECT_EQ(value, row.value) << row.locale << ": " << row.text;
}

TEST(Parsing, NumberFollowsTheTableOfLanguages) {
  constexpr std::array rows{
      Row{"en", "1,234.5", 1234.5},
      Row{"en", "1,234", 1234},
      Row{"en", "1.234", 1.234},
      Row{"en", "1 234,5", 1234.5},
      Row{"en", " 42 ", 42},
      Row{"en", "+42", 42},
      Row{"en", "-5", -5},
      Row{"en", "\u22125", -5},
      Row{"en", ".5", 0.5},
      Row{"en", "5.", 5},
      Row{"en", "", std::nullopt},
      Row{"en", "x", std::nullopt},
      Row{"en", "5 x", std::nullopt},
      Row{"en", "--5", std::nullopt},
      Row{"en", "1e5", std::nullopt},
      Row{"en", "1,23,456", 123'456},
      Row{"en", "1.2.3", std::nullopt},
      Row{"de", "1.234,5", 1234.5},
      Row{"de", "1.234", 1234},
      Row{"de", "1,234", 1.234},
      Row{"de", "2.5", 2.5},
      Row{"fr", "1\u202F234,5", 1234.5},
      Row{"fr", "1 234,5", 1234.5},
      Row{"es", "1.234,5", 1234.5},
      Row{"pt_BR", "1.234,5", 1234.5},
      Row{"ru", "1 234,5", 1234.5},
      Row{"sv", "\u22125", -5},
      Row{"sv", "-5", -5},
      Row{"de_CH", "1’234.5", 1234.5},
      Row{"hi", "12,34,567", 1'234'567},
      Row{"ar_EG", "١٬٢٣٤٫٥", 1234.5},
      Row{"ar_EG", "1234.5", 1234.5},
      Row{"fa", "۱٬۲۳۴٫۵", 1234.5},
      Row{"ja", "1,234.5", 1234.5},
      Row{"zh_Hans", "1,234.5", 1234.5},
  };
  for (const Row& row : rows) expectRow(row, NumberFormatStyle().locale(Locale(row.locale)).parse(row.text));
}

TEST(Parsing, AmountOfEurosFollowsTheTableOfLanguages) {
  constexpr std::array rows{
      Row{"en", "€1,234.50", 1234.5},
      Row{"en", "1,234.50 €", 1234.5},
      Row{"en", "EUR 5", 5},
      Row{"en", "5 eur", 5},
      Row{"en", "5 euros", 5},
      Row{"en", "1 Euro", 1},
      Row{"en", "-€5", -5},
      Row{"en", "€-5", -5},
      Row{"en", "(€5)", -5},
      Row{"en", "5", 5},
      Row{"en", "$5", std::nullopt},
      Row{"en", "5 USD", std::nullopt},
      Row{"en", "€5€", std::nullopt},
      Row{"en", "€", std::nullopt},
      Row{"de", "1.234,50 €", 1234.5},
      Row{"de", "9,5", 9.5},
      Row{"de", "2 Euro", 2},
      Row{"fr", "1 234,50 €", 1234.5},
      Row{"es", "1234,5 euros", 1234.5},
      Row{"pt_BR", "€ 5,5", 5.5},
      Row{"ru", "5 евро", 5},
      Row{"ar_EG", "٥ يورو", 5},
      Row{"hi", "€5", 5},
      Row{"ja", "5 ユーロ", 5},
      Row{"zh_Hans", "5欧元", 5},
      Row{"sv", "\u22125 €", -5},
  };
  for (const Row& row : rows) expectRow(row, CurrencyFormatStyle("EUR").locale(Locale(row.locale)).parse(row.text));
}

TEST(Parsing, PercentageFollowsTheTableOfLanguages) {
  constexpr std::array rows{
      Row{"en", "57%", 0.57},  Row{"en", "57.5 %", 0.575},     Row{"en", "57", 0.57},      Row{"en", "%57", 0.57},
      Row{"en", "-5%", -0.05}, Row{"en", "5 °", std::nullopt}, Row{"de", "57,5 %", 0.575}, Row{"fr", "57,5 %", 0.575},
      Row{"tr", "%57", 0.57},  Row{"ar_EG", "٥٧٪", 0.57},      Row{"fa", "۵۷٪", 0.57},     Row{"ja", "57％", 0.57},
  };
  for (const Row& row : rows) expectRow(row, PercentFormatStyle().locale(Locale(row.locale)).parse(row.text));
}

TEST(Parsing, MeasurementFollowsTheTableOfLanguages) {
  struct UnitRow {
    const char* locale;
    const char* text;
    Unit assumed;
    std::optional<Quantity> value;
  };
  const std::vector<UnitRow> rows{
      {"en", "5 km", Unit::meter, Quantity{5, Unit::kilometer}},
      {"en", "5km", Unit::meter, Quantity{5, Unit::kilometer}},
      {"en", "5 KILOMETERS", Unit::meter, Quantity{5, Unit::kilometer}},
      {"en", "1 kilometer", Unit::meter, Quantity{1, Unit::kilometer}},
      {"en", "5", Unit::mile, Quantity{5, Unit::mile}},
      {"en", "5 m", Unit::kilometer, Quantity{5, Unit::meter}},
      {"en", "5 mi", Unit::kilometer, Quantity{5, Unit::mile}},
      {"en", "5 kg", Unit::meter, std::nullopt},
      {"en", "5 parsecs", Unit::meter, std::nullopt},
      {"en", "-40 °F", Unit::celsius, Quantity{-40, Unit::fahrenheit}},
      {"en", "20°", Unit::celsius, Quantity{20, Unit::celsius}},
      {"si", "කෙල්. 5°", Unit::kelvin, Quantity{5, Unit::kelvin}},
      {"en", "20°", Unit::fahrenheit, Quantity{20, Unit::fahrenheit}},
      {"en", "8 Mb/s", Unit::bytePerSecond, Quantity{8, Unit::megabitPerSecond}},
      {"en", "8 MB/s", Unit::bytePerSecond, Quantity{8, Unit::megabytePerSecond}},
      {"de", "2,5 Kilometer", Unit::meter, Quantity{2.5, Unit::kilometer}},
      {"de", "90 km/h", Unit::meterPerSecond, Quantity{90, Unit::kilometerPerHour}},
      {"fr", "3 mètres", Unit::kilometer, Quantity{3, Unit::meter}},
      {"es", "3 metros", Unit::kilometer, Quantity{3, Unit::meter}},
      {"pt_BR", "3 litros", Unit::milliliter, Quantity{3, Unit::liter}},
      {"ru", "5 метров", Unit::kilometer, Quantity{5, Unit::meter}},
      {"ar_EG", "متر", Unit::kilometer, Quantity{1, Unit::meter}},
      {"ar_EG", "٢١ قدمًا", Unit::meter, Quantity{21, Unit::foot}},
      {"hi", "5 मीटर", Unit::kilometer, Quantity{5, Unit::meter}},
      {"ja", "5 メートル", Unit::kilometer, Quantity{5, Unit::meter}},
      {"zh_Hans", "5米", Unit::kilometer, Quantity{5, Unit::meter}},
  };
  for (const UnitRow& row : rows) {
    EXPECT_EQ(MeasurementFormatStyle().locale(Locale(row.locale)).parse(row.text, row.assumed), row.value)
        << row.locale << ": " << row.text;
  }
}

TEST(Parsing, StrictNumberIsOnlyTheTextThatTheStyleWrites) {
  const auto style = CurrencyFormatStyle("EUR").locale(Locale("de"));
  EXPECT_EQ(style.parse("1.234,50\u00A0€", Parsing::strict), 1234.5);
  EXPECT_EQ(style.parse("1.234,50 €", Parsing::strict), std::nullopt);
  EXPECT_EQ(style.parse("1234,50\u00A0€", Parsing::strict), std::nullopt);
  EXPECT_EQ(style.parse("1.234,5\u00A0€", Parsing::strict), std::nullopt);
  EXPECT_EQ(PercentFormatStyle().locale(Locale("en")).parse("57", Parsing::strict), std::nullopt);
  EXPECT_EQ(MeasurementFormatStyle().locale(Locale("de")).parse("5 mi", Unit::mile, Parsing::strict), std::nullopt);
}

TEST(Parsing, ReadsEveryAmountThatIsWrittenInAnyLocale) {
  using Width = CurrencyFormatStyle::Width;
  for (const std::string& locale : Tests::comparedLocales()) {
    if (locale.find('@') != std::string::npos) continue;  // Digits that are no digits: Roman and Chinese ones.
    const auto money = CurrencyFormatStyle("EUR").locale(Locale(locale));
    for (const Width width : {Width::symbol, Width::narrowSymbol, Width::code, Width::wide}) {
      for (const double amount : {-1234.5, 0.0, 1.0, 2.0, 5.0, 21.25, 1e6}) {
        const std::string text = money.width(width).format(amount);
        EXPECT_EQ(money.width(width).parse(text, Parsing::strict), amount) << locale << ": " << text;
        EXPECT_EQ(money.parse(text), amount) << locale << ": " << text;
      }
    }
    const auto percent = PercentFormatStyle().locale(Locale(locale));
    EXPECT_EQ(percent.parse(percent.format(-0.57), Parsing::strict), -0.57) << locale;
  }
}

TEST(Parsing, ReadsEveryMeasurementThatIsWritten) {
  using Width = MeasurementFormatStyle::Width;
  std::vector<std::string> locales(std::begin(Tests::goldenLocales), std::end(Tests::goldenLocales));
  if (Tests::repetitions(1) > 1) locales = Tests::comparedLocales();
  for (const std::string& locale : locales) {
    if (locale.find('@') != std::string::npos) continue;
    const auto style =
        MeasurementFormatStyle().locale(Locale(locale)).unit(MeasurementFormatStyle::UnitChoice::asGiven);
    for (int unit = 0; unit <= static_cast<int>(Unit::gigabitPerSecond); ++unit) {
      for (const Width width : {Width::wide, Width::abbreviated, Width::narrow}) {
        for (const double value : {1.0, 2.0, 5.0, 1.5, -21.0}) {
          const Quantity measurement{value, static_cast<Unit>(unit)};
          // Danish writes one kilometre per hour and one and a half by the same word.
          if (locale.starts_with("da") && measurement.unit == Unit::kilometerPerHour && value < 2) continue;
          const std::string text = style.width(width).format(measurement);
          EXPECT_EQ(style.width(width).parse(text, measurement.unit, Parsing::strict), measurement)
              << locale << ": " << text;
          EXPECT_EQ(style.parse(text, measurement.unit), measurement) << locale << ": " << text;
        }
      }
    }
  }
}

TEST(Parsing, FieldOfMoneyKeepsWhatWasTyped) {
  FieldEditing price(fieldFormatter(CurrencyFormatStyle("EUR").locale(Locale("de"))));
  EXPECT_EQ(price.show(std::any(9.5)), "9,50\u00A0€");
  EXPECT_EQ(price.state("12,5"), FieldState::acceptable);
  EXPECT_EQ(price.state("12 Dollar"), FieldState::incomplete);
  const FieldEditing::End end = price.end("12,5");
  EXPECT_TRUE(end.hasEnded);
  EXPECT_EQ(end.text, "12,50\u00A0€");
  EXPECT_EQ(std::any_cast<double>(price.object()), 12.5);
  EXPECT_TRUE(end.notice.isNone());
  EXPECT_FALSE(price.end("$5").hasEnded);
}

TEST(Parsing, FieldOfMoneyTellsWhenItRounds) {
  FieldEditing price(fieldFormatter(CurrencyFormatStyle("EUR").locale(Locale("de"))));
  EXPECT_EQ(price.state("12,555"), FieldState::invalid);
  const FieldEditing::End end = price.end("12,555");
  EXPECT_EQ(end.text, "12,56\u00A0€");
  EXPECT_EQ(end.notice.kind, FieldNotice::Kind::rewritten);
  EXPECT_EQ(std::any_cast<double>(price.object()), 12.56);
}

TEST(Parsing, FieldOfMeasurementsAssumesItsUnit) {
  FieldEditing distance(fieldFormatter(MeasurementFormatStyle().locale(Locale("de")), Unit::kilometer));
  EXPECT_EQ(distance.end("5").text, "5 km");
  EXPECT_EQ(distance.end("26,2 Meilen").text, "26,2 mi");
  EXPECT_EQ(std::any_cast<Quantity>(distance.object()), (Quantity{26.2, Unit::mile}));
}

TEST(Parsing, LongNumbersAreReadOrRefused) {
  const std::string digits(1'000'000, '7');
  EXPECT_EQ(NumberFormatStyle().locale(Locale("en")).parse(digits), std::nullopt);  // Beyond the largest double.
  EXPECT_EQ(NumberFormatStyle().locale(Locale("en")).parse(std::string(1'000'000, ' ') + "7"), 7);
}

TEST(Parsing, ManySignsAreRefused) {
  const std::string signs(1'000'000, '-');
  EXPECT_EQ(NumberFormatStyle().locale(Locale("en")).parse(signs + "5"), std::nullopt);
  EXPECT_EQ(NumberFormatStyle().locale(Locale("en")).parse("5" + signs), std::nullopt);
}

TEST(Parsing, ValueFormatterRefusesObjectsOfAnotherType) {
  ValueFormatter<double> formatter([](double) { return std::string("x"); },
                                   [](std::string_view) { return std::optional<double>(1); });
  EXPECT_EQ(formatter.string(std::any(1)), std::nullopt);
  EXPECT_EQ(formatter.string(std::any(1.0)), "x");
  EXPECT_TRUE(formatter.getObjectValue(nullptr, "x"));
}

TEST(Parsing, ThreadsReadAmountsAtTheSameTime) {
  std::vector<std::jthread> threads;
  for (int thread = 0; thread < 4; ++thread) {
    threads.emplace_back([] {
      const auto style = CurrencyFormatStyle("EUR");
      for (const char* locale : Tests::goldenLocales) {
        EXPECT_EQ(style.locale(Locale(locale)).parse("5 EUR"), 5) << locale;
      }
    });
  }
}

}  // namespace
}  // namespace Tessaly
