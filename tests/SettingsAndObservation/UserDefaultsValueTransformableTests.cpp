// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <type_traits>
#include <unordered_map>
#include <utility>
#include <vector>

#include "Tessaly/SettingsAndObservation/UserDefaultsValueTransformable.hpp"

namespace {

enum class Theme { light, dark };
enum class Unstored { one };
enum class Side : bool { left, right };

struct Answer {
  using StoredValue = bool;
  static std::optional<Answer> from(bool stored) { return Answer{stored}; }
  StoredValue transformToUserDefaultValue() const { return isYes; }
  friend bool operator==(const Answer&, const Answer&) = default;

  bool isYes;
};

struct Size {
  using StoredValue = std::vector<double>;
  static std::optional<Size> from(StoredValue stored) {
    if (stored.size() != 2) return std::nullopt;
    return Size{stored[0], stored[1]};
  }
  StoredValue transformToUserDefaultValue() const { return {width, height}; }
  friend bool operator==(const Size&, const Size&) = default;

  double width;
  double height;
};

}  // namespace

template <>
inline constexpr auto Tessaly::rawValues<Theme> =
    Tessaly::textRawValues<Theme>({{Theme::light, "light"}, {Theme::dark, "dark"}});
template <>
inline constexpr auto Tessaly::rawValues<Side> = Tessaly::integerRawValues(Side::right);

namespace Tessaly {
namespace {

template <typename Value>
std::optional<Value> from(StoredValue<Value> stored) {
  return UserDefaultsValueTransformableTraits<Value>::from(std::move(stored));
}

template <typename Value>
void isItsOwnStoredValue(const Value& value) {
  static_assert(std::is_same_v<StoredValue<Value>, Value>);
  EXPECT_EQ(transformToUserDefaultValue(value), value);
  EXPECT_EQ(from<Value>(value), value);
}

TEST(UserDefaultsValueTransformable, EveryKindOfTheStoreIsItsOwnStoredValue) {
  isItsOwnStoredValue(std::string("text"));
  isItsOwnStoredValue(true);
  isItsOwnStoredValue(std::int64_t{-1});
  isItsOwnStoredValue(std::int16_t{-2});
  isItsOwnStoredValue(std::int32_t{-3});
  isItsOwnStoredValue(std::uint64_t{4});
  isItsOwnStoredValue(std::uint8_t{5});
  isItsOwnStoredValue(std::uint16_t{6});
  isItsOwnStoredValue(std::uint32_t{7});
  isItsOwnStoredValue(1.5);
  isItsOwnStoredValue(2.5F);
  isItsOwnStoredValue(Date::sinceReferenceDate(3));
  isItsOwnStoredValue(Data("data"));
  isItsOwnStoredValue(std::vector<bool>{true, false});
  isItsOwnStoredValue(std::map<std::string, int>{{"a", 1}});
}

TEST(UserDefaultsValueTransformable, ArrayOmitsUnconvertibleElements) {
  static_assert(std::is_same_v<StoredValue<std::vector<Theme>>, std::vector<std::string>>);
  EXPECT_EQ(from<std::vector<Theme>>({"dark", "zz", "light"}), (std::vector{Theme::dark, Theme::light}));
  EXPECT_EQ(from<std::vector<Theme>>({"zz"}), std::vector<Theme>());
  EXPECT_EQ(transformToUserDefaultValue(std::vector{Theme::dark, Theme::light}),
            (std::vector<std::string>{"dark", "light"}));
}

TEST(UserDefaultsValueTransformable, DictionaryOmitsUnconvertibleEntries) {
  using Themes = std::map<std::string, Theme>;
  static_assert(std::is_same_v<StoredValue<Themes>, std::map<std::string, std::string>>);
  EXPECT_EQ(from<Themes>({{"a", "dark"}, {"b", "zz"}, {"c", "light"}}),
            (Themes{{"a", Theme::dark}, {"c", Theme::light}}));
  EXPECT_EQ(transformToUserDefaultValue(Themes{{"a", Theme::dark}}),
            (std::map<std::string, std::string>{{"a", "dark"}}));
  using Hashed = std::unordered_map<std::string, Theme>;
  EXPECT_EQ(from<Hashed>({{"a", "dark"}, {"b", "zz"}}), (Hashed{{"a", Theme::dark}}));
}

TEST(UserDefaultsValueTransformable, OptionalRefusesAbsentAndInvalidStoredValues) {
  using Choice = std::optional<Theme>;
  static_assert(std::is_same_v<StoredValue<Choice>, std::optional<std::string>>);
  EXPECT_EQ(from<Choice>(std::nullopt), std::nullopt);
  EXPECT_EQ(from<Choice>("zz"), std::nullopt);
  EXPECT_EQ(from<Choice>("dark"), std::optional<Choice>(Theme::dark));
  EXPECT_EQ(transformToUserDefaultValue(Choice()), std::nullopt);
  EXPECT_EQ(transformToUserDefaultValue(Choice(Theme::light)), "light");
}

TEST(UserDefaultsValueTransformable, ClassProvidesItsTwoConversions) {
  static_assert(std::is_same_v<StoredValue<Size>, std::vector<double>>);
  EXPECT_EQ(transformToUserDefaultValue(Size{1, 2}), (std::vector<double>{1, 2}));
  EXPECT_EQ(from<Size>({1, 2}), (Size{1, 2}));
  EXPECT_EQ(from<Size>({1}), std::nullopt);
  EXPECT_EQ(from<std::vector<Size>>({{1, 2}, {3}, {4, 5}}), (std::vector{Size{1, 2}, Size{4, 5}}));
}

TEST(UserDefaultsValueTransformable, ArrayOfTypesStoredAsBooleansIsStorable) {
  static_assert(std::is_same_v<StoredValue<std::vector<Side>>, std::vector<bool>>);
  EXPECT_EQ(from<std::vector<Side>>({true, false, true}), (std::vector{Side::right, Side::right}));
  EXPECT_EQ(transformToUserDefaultValue(std::vector{Side::right, Side::right}), (std::vector<bool>{true, true}));
  EXPECT_EQ(from<std::vector<Answer>>({true, false}), (std::vector{Answer{true}, Answer{false}}));
  EXPECT_EQ(transformToUserDefaultValue(std::vector{Answer{true}, Answer{false}}), (std::vector<bool>{true, false}));
}

TEST(UserDefaultsValueTransformable, AURLIsStoredAsItsPathOnly) {
  EXPECT_EQ(transformToUserDefaultValue(*URL::from("file:///tmp/a%20b.txt")), "/tmp/a b.txt");
  EXPECT_EQ(transformToUserDefaultValue(*URL::from("https://example.com/a/b?q=1#top")), "/a/b");
  EXPECT_EQ(transformToUserDefaultValue(*URL::from("https://example.com")), "");
}

TEST(UserDefaultsValueTransformable, URLIsReadAsARelativeURL) {
  const auto read = from<URL>("/tmp/a b.txt");
  ASSERT_TRUE(read);
  EXPECT_EQ(read->path(), "/tmp/a b.txt");
  EXPECT_EQ(read->absoluteString(), "/tmp/a%20b.txt");
  EXPECT_EQ(from<URL>("/tmp/a?b")->path(), "/tmp/a");
  EXPECT_EQ(from<URL>("1:2"), std::nullopt);
  EXPECT_EQ(from<URL>(""), std::nullopt);
}

TEST(UserDefaultsValueTransformable, NothingElseIsStorable) {
  static_assert(!UserDefaultsValueTransformable<Unstored>);
  static_assert(!UserDefaultsValueTransformable<std::int8_t>);
  static_assert(!UserDefaultsValueTransformable<std::vector<Unstored>>);
  static_assert(!UserDefaultsValueTransformable<std::map<int, int>>);
  static_assert(!UserDefaultsValueTransformable<void*>);
}

}  // namespace
}  // namespace Tessaly
