// SPDX-License-Identifier: MIT
// Keys with a rule for their values.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Tessaly/Platform/Testing/InMemoryUserDefaults.hpp"
#include "Tessaly/Platform/Testing/RecordingLogBackend.hpp"
#include "Tessaly/SettingsAndObservation/Default.hpp"

enum class Season : std::uint8_t { spring, summer, autumn };
template <>
inline constexpr auto Tessaly::rawValues<Season> = Tessaly::textRawValues<Season>(
    {{Season::spring, "spring"}, {Season::summer, "summer"}, {Season::autumn, "autumn"}});

namespace Tessaly {
namespace {

using testing::ElementsAre;

constexpr auto nearestKey = Default<int>::Key("interval", 60).within(1, 3600);
constexpr auto defaultKey = Default<int>::Key("interval", 60).within(1, 3600, InvalidSetting::readsAsDefault);
constexpr auto evenKey = Default<int>::Key("interval", 60).where([](int number) { return number % 2 == 0; });

class SettingRule : public testing::Test {
 protected:
  const std::shared_ptr<InMemoryUserDefaults> store = InMemoryUserDefaults::make();
  const UserDefaultsInstallation installation{store};
};

TEST_F(SettingRule, StoredValueOutsideTheRangeReadsAsTheNearest) {
  store->set(0, "interval");
  EXPECT_EQ(Default<int>::value(nearestKey), 1);
  EXPECT_EQ(Default<int>(nearestKey).value(), 1);
  store->set(9999, "interval");
  EXPECT_EQ(Default<int>::value(nearestKey), 3600);
  EXPECT_EQ(store->value("interval"), 9999);
  for (const int allowed : {1, 2, 3600}) {
    store->set(allowed, "interval");
    EXPECT_EQ(Default<int>::value(nearestKey), allowed);
  }
}

TEST_F(SettingRule, KeyMayReadInvalidValuesAsTheDefault) {
  store->set(0, "interval");
  EXPECT_EQ(Default<int>::value(defaultKey), 60);
  store->set(7, "interval");
  EXPECT_EQ(Default<int>::value(defaultKey), 7);
  EXPECT_EQ(Default<int>::value(evenKey), 60);
}

TEST_F(SettingRule, WriteStoresTheNearestValue) {
  Default<int>::setValue(nearestKey, -5);
  EXPECT_EQ(store->value("interval"), 1);
  Default<int> interval(nearestKey);
  interval.setValue(10'000);
  EXPECT_EQ(store->value("interval"), 3600);
  interval.modifyValue([](int& value) { value = 0; });
  EXPECT_EQ(store->value("interval"), 1);
}

TEST_F(SettingRule, WriteWithoutANearestValueLeavesTheFormerOne) {
  const auto log = std::make_shared<RecordingLogBackend>();
  const LogBackendInstallation logs(log);
  Default<int>::setValue(defaultKey, 30);
  EXPECT_EQ(log->records().size(), 0u);
  Default<int>::setValue(defaultKey, 0);
  EXPECT_EQ(store->value("interval"), 30);
  Default<int>::setValue(evenKey, 31);
  EXPECT_EQ(store->value("interval"), 30);
  EXPECT_EQ(log->records().size(), 2u);
}

TEST_F(SettingRule, HandlerGetsWhatTheKeyReads) {
  std::vector<int> nearest;
  std::vector<int> byDefault;
  const auto first = Default<int>::observe(nearestKey, [&](int stored) { nearest.push_back(stored); });
  const auto second = Default<int>::observe(defaultKey, [&](int stored) { byDefault.push_back(stored); });
  store->setFromElsewhere(0, "interval");
  store->setFromElsewhere(5, "interval");
  store->setFromElsewhere(5000, "interval");
  EXPECT_THAT(nearest, ElementsAre(1, 5, 3600));
  EXPECT_THAT(byDefault, ElementsAre(60, 5, 60));
}

TEST_F(SettingRule, RangeAndPredicateBothApply) {
  constexpr auto key = Default<int>::Key("number", 4).within(2, 9).where([](int number) { return number % 2 == 0; });
  store->set(0, "number");
  EXPECT_EQ(Default<int>::value(key), 2);
  store->set(20, "number");
  EXPECT_EQ(Default<int>::value(key), 4);  // The nearest end is odd.
  store->set(5, "number");
  EXPECT_EQ(Default<int>::value(key), 4);
  store->set(8, "number");
  EXPECT_EQ(Default<int>::value(key), 8);
}

TEST_F(SettingRule, OptionalSettingMayBeAbsent) {
  constexpr auto key = Default<std::optional<int>>::Key("page").within(1, 10);
  EXPECT_EQ(Default<std::optional<int>>::value(key), std::nullopt);
  store->set(0, "page");
  EXPECT_EQ(Default<std::optional<int>>::value(key), 1);
  Default<std::optional<int>>::setValue(key, 11);
  EXPECT_EQ(store->value("page"), 10);
  Default<std::optional<int>>::setValue(key, std::nullopt);
  EXPECT_EQ(store->value("page"), std::nullopt);
}

TEST_F(SettingRule, AbsentValueIsAlwaysAllowed) {
  constexpr auto ranged = Default<std::optional<int>>::Key("page").within(1, 10);
  static_assert(ranged.allows(std::nullopt) && ranged.allows(10) && !ranged.allows(11));
  constexpr auto odd =
      Default<std::optional<int>>::Key("odd").where([](const std::optional<int>& page) { return *page % 2 == 1; });
  static_assert(odd.allows(std::nullopt) && odd.allows(3) && !odd.allows(4));
}

TEST_F(SettingRule, NaNReadsAsTheDefault) {
  constexpr auto key = Default<double>::Key("scale", 1.0).within(0.5, 2.0);
  store->set(std::numeric_limits<double>::quiet_NaN(), "scale");
  EXPECT_EQ(Default<double>::value(key), 1.0);
  store->set(std::numeric_limits<double>::infinity(), "scale");
  EXPECT_EQ(Default<double>::value(key), 2.0);
  Default<double>::setValue(key, std::nan(""));
  EXPECT_EQ(store->value("scale"), std::numeric_limits<double>::infinity());
}

TEST_F(SettingRule, TextsAndDatesHaveRangesToo) {
  const auto name = Default<std::string>::Key("name", "m").within("a", "z");
  store->set("A", "name");
  EXPECT_EQ(Default<std::string>::value(name), "a");
  const Date first = Date::sinceReferenceDate(0);
  const auto date = Default<Date>::Key("date", first).within(first, Date::sinceReferenceDate(10));
  store->set(Date::sinceReferenceDate(99), "date");
  EXPECT_EQ(Default<Date>::value(date), Date::sinceReferenceDate(10));
}

TEST_F(SettingRule, ValueOfAnotherKindReadsAsTheDefault) {
  store->set("text", "interval");
  EXPECT_EQ(Default<int>::value(nearestKey), 60);
}

TEST(SettingRuleDeathTest, RuleThatForbidsTheDefaultStopsTheProcess) {
  int lowest = 100;
  EXPECT_DEATH(static_cast<void>(Default<int>::Key("volume", 50).within(lowest, 200)),
               "The rule of the setting \"volume\" forbids its default value");
}

TEST(SettingRuleDeathTest, EmptyRangeStopsTheProcess) {
  int lowest = 100;
  constexpr auto message = "The range of the setting \"page\" contains no value; its lowest value is above its highest";
  EXPECT_DEATH(static_cast<void>(Default<std::optional<int>>::Key("page").within(lowest, 1)), message);
  EXPECT_DEATH(static_cast<void>(Default<int>::Key("page", 50).within(lowest, 1)), message);
}

// The description of a key.

TEST_F(SettingRule, DescriptionHasKindDefaultAndRange) {
  const SettingDescription interval = nearestKey.described("The time between two looks");
  EXPECT_EQ(interval.name, "interval");
  EXPECT_EQ(interval.kind, PropertyList::Kind::integer);
  EXPECT_EQ(interval.defaultValue, PropertyList(60));
  EXPECT_EQ(interval.minimum, PropertyList(1));
  EXPECT_EQ(interval.maximum, PropertyList(3600));
  EXPECT_FALSE(interval.hasPredicate);
  EXPECT_EQ(interval.documentation, "The time between two looks");
  EXPECT_EQ(interval.summary(), "integer from 1 to 3600, default 60");
  EXPECT_EQ(evenKey.described("").summary(), "integer, checked by the host, default 60");
}

TEST_F(SettingRule, DescriptionKnowsTheKindOfEachType) {
  using Kind = PropertyList::Kind;
  EXPECT_EQ(Default<bool>::Key("", true).described("").kind, Kind::boolean);
  EXPECT_EQ(Default<double>::Key("", 1).described("").kind, Kind::real);
  EXPECT_EQ(Default<URL>::Key("", *URL::from("/tmp")).described("").kind, Kind::text);
  EXPECT_EQ(Default<std::optional<Date>>::Key("").described("").kind, Kind::date);
  EXPECT_EQ(Default<Data>::Key("", Data()).described("").kind, Kind::data);
  EXPECT_EQ(Default<std::vector<int>>::Key("", {}).described("").kind, Kind::array);
  using Map = std::map<std::string, int>;
  EXPECT_EQ(Default<Map>::Key("", {}).described("").kind, Kind::dictionary);
  EXPECT_EQ(Default<std::optional<int>>::Key("").described("").summary(), "integer, absent by default");
  EXPECT_EQ(Default<unsigned char>::Key("", 7).described("").summary(), "integer from 0 to 255, default 7");
}

TEST_F(SettingRule, DescriptionNamesTheCasesOfAnEnumeration) {
  const Default<std::optional<Season>>::Key key("season");
  EXPECT_EQ(key.described("").summary(), R"(text, one of "spring", "summer", "autumn", absent by default)");
  EXPECT_TRUE(key.described("").allows("summer"));
  EXPECT_FALSE(key.described("").allows("winter"));
}

}  // namespace
}  // namespace Tessaly
