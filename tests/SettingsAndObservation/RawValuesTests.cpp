// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <csignal>
#include <cstdint>
#include <optional>

#include "Tessaly/SettingsAndObservation/RawValues.hpp"

namespace {

enum class Theme { light, dark };
enum class Quality : std::int16_t { draft = 3, best = 9 };
enum class Narrow : std::int8_t { one = 1 };
enum class WithoutRawValues { one };
enum WithoutAFixedType { low, high };

}  // namespace

template <>
inline constexpr auto Tessaly::rawValues<Theme> =
    Tessaly::textRawValues<Theme>({{Theme::light, "light"}, {Theme::dark, ""}});
template <>
inline constexpr auto Tessaly::rawValues<Quality> = Tessaly::integerRawValues(Quality::draft, Quality::best);
template <>
inline constexpr auto Tessaly::rawValues<WithoutAFixedType> = Tessaly::integerRawValues(low, high);
template <>
inline constexpr auto Tessaly::rawValues<Narrow> = Tessaly::integerRawValues(Narrow::one);

namespace Tessaly {
namespace {

TEST(RawValues, TextsNameTheCases) {
  EXPECT_EQ(rawValues<Theme>.value("light"), Theme::light);
  EXPECT_EQ(rawValues<Theme>.value(""), Theme::dark);
  EXPECT_EQ(rawValues<Theme>.value("Light"), std::nullopt);
  EXPECT_EQ(rawValues<Theme>.rawValue(Theme::light), "light");
}

TEST(RawValues, IntegersNameTheCases) {
  EXPECT_EQ(rawValues<Quality>.value(9), Quality::best);
  EXPECT_EQ(rawValues<Quality>.value(4), std::nullopt);
  EXPECT_EQ(rawValues<Quality>.rawValue(Quality::draft), 3);
}

TEST(RawValues, UnrepresentableRawValueNamesNoCase) {
  static_assert(rawValues<WithoutAFixedType>.value(7) == std::nullopt);
  EXPECT_EQ(rawValues<WithoutAFixedType>.value(1), high);
}

TEST(RawValues, OnlyDeclaredEnumerationsAreStorable) {
  static_assert(RawRepresentable<Theme>);
  static_assert(RawRepresentable<Quality>);
  static_assert(!RawRepresentable<Narrow>);
  static_assert(!RawRepresentable<WithoutRawValues>);
  static_assert(!RawRepresentable<int>);
}

TEST(RawValuesDeathTest, ValueThatIsNotACaseStopsTheProcess) {
  EXPECT_EXIT(static_cast<void>(rawValues<Theme>.rawValue(static_cast<Theme>(7))), testing::KilledBySignal(SIGABRT),
              "Tessaly/RawValues:[0-9]+: Fatal error: A value of .*Theme is not one of its cases\n");
  EXPECT_EXIT(static_cast<void>(rawValues<Quality>.rawValue(static_cast<Quality>(4))), testing::KilledBySignal(SIGABRT),
              "Tessaly/RawValues:[0-9]+: Fatal error: A value of .*Quality is not one of its cases\n");
}

}  // namespace
}  // namespace Tessaly
