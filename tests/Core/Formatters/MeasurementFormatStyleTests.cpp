// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <unicode/measunit.h>
#include <unicode/numberformatter.h>

#include <algorithm>
#include <array>
#include <limits>
#include <sstream>
#include <string>

#include "Tessaly/Core/Formatters/FormatsLocale.hpp"
#include "Tessaly/Core/Formatters/MeasurementFormatStyle.hpp"
#include "tests/Core/Formatters/AllLocales.hpp"
#include "tests/Support/GoldenRows.hpp"

namespace Tessaly {
namespace {

using Unit = Quantity::Unit;
using Width = MeasurementFormatStyle::Width;
using UnitChoice = MeasurementFormatStyle::UnitChoice;

constexpr Width widths[] = {Width::wide, Width::abbreviated, Width::narrow};
constexpr std::array<const char*, 3> widthNames{"wide", "abbreviated", "narrow"};
constexpr std::array<const char*, 31> unitNames{"celsius",
                                                "fahrenheit",
                                                "kelvin",
                                                "millimeter",
                                                "centimeter",
                                                "meter",
                                                "kilometer",
                                                "inch",
                                                "foot",
                                                "yard",
                                                "mile",
                                                "meter-per-second",
                                                "kilometer-per-hour",
                                                "mile-per-hour",
                                                "knot",
                                                "gram",
                                                "kilogram",
                                                "ounce",
                                                "pound",
                                                "milliliter",
                                                "liter",
                                                "fluid-ounce",
                                                "gallon",
                                                "byte-per-second",
                                                "kilobyte-per-second",
                                                "megabyte-per-second",
                                                "gigabyte-per-second",
                                                "bit-per-second",
                                                "kilobit-per-second",
                                                "megabit-per-second",
                                                "gigabit-per-second"};

MeasurementFormatStyle measurements(const std::string& locale) {
  return MeasurementFormatStyle().locale(Locale(locale));
}

template <typename Names>
std::size_t indexOf(const Names& names, const std::string& name) {
  return static_cast<std::size_t>(std::ranges::find(names, name) - names.begin());
}

TEST(MeasurementFormatStyle, WritesTheGoldenTexts) {
  for (const auto& row : Tests::goldenRows("measurement", "texts")) {
    std::istringstream input(row.input);
    std::string width;
    std::string unit;
    double value = 0;
    input >> width >> unit >> value;
    const auto style = measurements(row.locale).width(widths[indexOf(widthNames, width)]).unit(UnitChoice::asGiven);
    EXPECT_EQ(style.format({value, static_cast<Unit>(indexOf(unitNames, unit))}), row.output)
        << row.locale << ' ' << row.input;
  }
}

TEST(MeasurementFormatStyle, WritesInEveryLocaleAsICUDoes) {
  constexpr std::array unitWidths{UNUM_UNIT_WIDTH_FULL_NAME, UNUM_UNIT_WIDTH_SHORT, UNUM_UNIT_WIDTH_NARROW};
  for (const std::string& name : Tests::comparedLocales()) {
    for (std::size_t unit = 0; unit < unitNames.size(); unit += 3) {
      for (std::size_t width = 0; width < unitWidths.size(); ++width) {
        UErrorCode status = U_ZERO_ERROR;
        const auto peer = icu::number::NumberFormatter::withLocale(icu::Locale(name.c_str()))
                              .unit(icu::MeasureUnit::forIdentifier(unitNames[unit], status))
                              .unitWidth(unitWidths[width])
                              .precision(icu::number::Precision::maxFraction(1));
        const auto style = measurements(name).width(widths[width]).unit(UnitChoice::asGiven);
        for (const double value : {0.0, 1.0, -1.0, 2.0, 3.0, 1.5, 5.0, 11.0, 21.5, 101.0, 1234.56, 12'345.0, 1e21}) {
          EXPECT_EQ(style.format({value, static_cast<Unit>(unit)}),
                    Tests::utf8(peer.formatDouble(value, status).toString(status)))
              << name << ' ' << value << unitNames[unit];
        }
      }
    }
  }
}

TEST(MeasurementFormatStyle, FollowsTheMeasurementSystem) {
  const auto text = [](const char* locale, double value, Unit unit) {
    return measurements(locale).format({value, unit});
  };
  EXPECT_EQ(text("en_US", 12, Unit::kilometer), "7.5 mi");
  EXPECT_EQ(text("en_GB", 100, Unit::meter), "109.4 yd");
  EXPECT_EQ(text("de_DE", 1, Unit::mile), "1,6 km");
  EXPECT_EQ(text("de_DE", 0.4, Unit::kilometer), "400 m");
  EXPECT_EQ(text("de_DE", 0, Unit::kilometer), "0 mm");
  EXPECT_EQ(text("en_US", 20, Unit::celsius), "68°F");
  EXPECT_EQ(text("en_GB", 68, Unit::fahrenheit), "20°C");
  EXPECT_EQ(text("en_US", -40, Unit::celsius), "-40°F");
  EXPECT_EQ(text("en_GB", 100, Unit::kilometerPerHour), "62.1 mph");
  EXPECT_EQ(text("en_US", 1, Unit::kilogram), "2.2 lb");
  EXPECT_EQ(text("en_GB", 0.25, Unit::kilogram), "250 g");
  EXPECT_EQ(text("en_US", 10, Unit::liter), "2.6 gal");
  EXPECT_EQ(text("en_US", 1'500'000, Unit::bytePerSecond), "1.5 MB/s");
  EXPECT_EQ(text("en_US", 0.5, Unit::megabitPerSecond), "500 kb/s");
}

TEST(MeasurementFormatStyle, SystemIsChosenApartFromTheLocale) {
  const auto style = measurements("en_US").system(MeasurementSystem::metric);
  EXPECT_EQ(style.format({1, Unit::mile}), "1.6 km");
}

TEST(MeasurementFormatStyle, WritesRangesInTheUnitOfTheFirst) {
  EXPECT_EQ(measurements("de_DE").formatRange({3, Unit::kilometer}, {5000, Unit::meter}), "3–5 km");
}

TEST(MeasurementFormatStyle, WritesExtremes) {
  constexpr double infinity = std::numeric_limits<double>::infinity();
  EXPECT_EQ(measurements("en_US").format({infinity, Unit::meter}), "∞ mi");
  EXPECT_FALSE(measurements("en_US").format({std::numeric_limits<double>::quiet_NaN(), Unit::meter}).empty());
  EXPECT_FALSE(measurements("\xFF\xFE").format({1, Unit::meter}).empty());
}

TEST(Quantity, ConvertsWithinAKind) {
  EXPECT_DOUBLE_EQ((Quantity{100, Unit::celsius}.converted(Unit::fahrenheit).value), 212);
  EXPECT_DOUBLE_EQ((Quantity{0, Unit::kelvin}.converted(Unit::celsius).value), -273.15);
  EXPECT_DOUBLE_EQ((Quantity{1, Unit::mile}.converted(Unit::foot).value), 5280);
  EXPECT_DOUBLE_EQ((Quantity{1, Unit::knot}.converted(Unit::kilometerPerHour).value), 1.852);
  EXPECT_DOUBLE_EQ((Quantity{16, Unit::ounce}.converted(Unit::pound).value), 1);
  EXPECT_DOUBLE_EQ((Quantity{128, Unit::fluidOunce}.converted(Unit::gallon).value), 1);
  EXPECT_DOUBLE_EQ((Quantity{1, Unit::megabytePerSecond}.converted(Unit::megabitPerSecond).value), 8);
}

TEST(MeasurementDeathTest, ConvertingToAnotherKindStopsTheProcess) {
  EXPECT_DEATH(static_cast<void>(Quantity{1, Unit::meter}.converted(Unit::gram)),
               "A measurement cannot be converted to a unit of another kind");
}

TEST(Quantity, SystemIsThatOfTheCountry) {
  EXPECT_EQ(measurementSystem(Locale("en")), MeasurementSystem::us);
  EXPECT_EQ(measurementSystem(Locale("en_GB")), MeasurementSystem::uk);
  EXPECT_EQ(measurementSystem(Locale("fr")), MeasurementSystem::metric);
  EXPECT_EQ(measurementSystem(Locale("\xFF")), MeasurementSystem::metric);
}

/// The variables of the locale, and no others, for a scope.
class Environment {
 public:
  Environment(std::initializer_list<std::pair<const char*, const char*>> variables) {
    clear();
    for (const auto& [name, value] : variables) ::setenv(name, value, 1);
  }
  Environment(const Environment&) = delete;
  Environment& operator=(const Environment&) = delete;
  ~Environment() { clear(); }

 private:
  static void clear() {
    for (const char* name :
         {"LC_ALL", "LANG", "LC_TIME", "LC_NUMERIC", "LC_MONETARY", "LC_MEASUREMENT", "LC_MESSAGES"}) {
      ::unsetenv(name);
    }
  }
};

TEST(FormatsLocale, EachCategoryHasItsVariable) {
  const Environment environment{{"LANG", "en_US.UTF-8"},
                                {"LC_TIME", "de_DE.UTF-8"},
                                {"LC_NUMERIC", "fr_FR@euro"},
                                {"LC_MONETARY", "sr_RS@latin"},
                                {"LC_MEASUREMENT", "en_GB"}};
  EXPECT_EQ(FormatsLocale::time(), Locale("de_DE"));
  EXPECT_EQ(FormatsLocale::numeric(), Locale("fr_FR"));
  EXPECT_EQ(FormatsLocale::monetary(), Locale("sr_Latn_RS"));
  EXPECT_EQ(FormatsLocale::measurement(), Locale("en_GB"));
}

TEST(FormatsLocale, AllComesBeforeTheCategoryAndLangBehindIt) {
  const Environment environment{{"LANG", "en_US.UTF-8"}, {"LC_TIME", ""}, {"LC_NUMERIC", "de_DE"}};
  EXPECT_EQ(FormatsLocale::time(), Locale("en_US"));
  EXPECT_EQ(FormatsLocale::numeric(), Locale("de_DE"));
  ::setenv("LC_ALL", "ja_JP.UTF-8", 1);
  EXPECT_EQ(FormatsLocale::time(), Locale("ja_JP"));
  EXPECT_EQ(FormatsLocale::numeric(), Locale("ja_JP"));
}

TEST(FormatsLocale, EmptyAllIsPassedOver) {
  const Environment environment{{"LC_ALL", ""}, {"LC_TIME", "de_DE"}};
  EXPECT_EQ(FormatsLocale::time(), Locale("de_DE"));
  EXPECT_EQ(FormatsLocale::numeric(), Locale("en_US_POSIX"));
}

TEST(FormatsLocale, LocalesOfTheCLibraryArePOSIX) {
  for (const char* name : {"C", "POSIX", "C.UTF-8", ".UTF-8", "@euro"}) {
    const Environment environment{{"LANG", name}};
    EXPECT_EQ(FormatsLocale::time(), Locale("en_US_POSIX")) << name;
  }
}

TEST(MeasurementFormatStyle, SystemIsThatOfTheFormats) {
  const Environment environment{{"LANG", "en_US.UTF-8"}, {"LC_MEASUREMENT", "de_DE.UTF-8"}};
  EXPECT_EQ(MeasurementFormatStyle().format({1, Unit::mile}), "1.6 km");
}

}  // namespace
}  // namespace Tessaly
