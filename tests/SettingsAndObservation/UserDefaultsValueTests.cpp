// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <map>
#include <optional>
#include <string>
#include <type_traits>
#include <unordered_map>
#include <vector>

#include "Tessaly/Core/Base/TypeName.hpp"
#include "Tessaly/Core/Foundation/URL.hpp"
#include "Tessaly/SettingsAndObservation/UserDefaultsValue.hpp"

namespace Tessaly {
namespace {

using Kind = PropertyList::Kind;

template <typename Value>
std::optional<Value> read(const PropertyList& object) {
  return UserDefaultsValueTraits<Value>::value(&object);
}
template <typename Value>
std::optional<PropertyList> stored(const Value& value) {
  return UserDefaultsValueTraits<Value>::object(value);
}

template <typename Value>
class EveryInteger : public testing::Test {};
using Integers = testing::Types<std::int64_t, std::int16_t, std::int32_t, std::uint64_t, std::uint8_t, std::uint16_t,
                                std::uint32_t, long long, unsigned long long>;
TYPED_TEST_SUITE(EveryInteger, Integers);

TYPED_TEST(EveryInteger, ExtremeValuesAreStoredAndReadBack) {
  using Limits = std::numeric_limits<TypeParam>;
  for (const TypeParam value : {Limits::min(), Limits::max(), TypeParam(0), TypeParam(1)}) {
    const auto object = stored(value);
    ASSERT_TRUE(object);
    EXPECT_EQ(object->kind(), Kind::integer);
    EXPECT_EQ(read<TypeParam>(*object), value);
  }
}

TYPED_TEST(EveryInteger, ReadsExactlyRepresentableNumbers) {
  EXPECT_EQ(read<TypeParam>(true), 1);
  EXPECT_EQ(read<TypeParam>(false), 0);
  EXPECT_EQ(read<TypeParam>(5.0), 5);
  EXPECT_EQ(read<TypeParam>(5.0F), 5);
  EXPECT_EQ(read<TypeParam>(-0.0), 0);
  EXPECT_EQ(read<TypeParam>(5.5), std::nullopt);
  EXPECT_EQ(read<TypeParam>(0.1), std::nullopt);
  EXPECT_EQ(read<TypeParam>(1e19),
            (std::is_same_v<TypeParam, unsigned long> || std::is_same_v<TypeParam, unsigned long long>
                 ? std::optional<TypeParam>(static_cast<TypeParam>(10'000'000'000'000'000'000U))
                 : std::nullopt));
  EXPECT_EQ(read<TypeParam>(std::nan("")), std::nullopt);
  EXPECT_EQ(read<TypeParam>(std::numeric_limits<double>::infinity()), std::nullopt);
}

TYPED_TEST(EveryInteger, RefusesEverythingElse) {
  EXPECT_EQ(read<TypeParam>("5"), std::nullopt);
  EXPECT_EQ(read<TypeParam>(Date::sinceReferenceDate(5)), std::nullopt);
  EXPECT_EQ(read<TypeParam>(Data("5")), std::nullopt);
  EXPECT_EQ(read<TypeParam>(PropertyList::Array{PropertyList(5)}), std::nullopt);
  EXPECT_EQ(read<TypeParam>(PropertyList::Dictionary{{"a", 5}}), std::nullopt);
  EXPECT_EQ(UserDefaultsValueTraits<TypeParam>::value(nullptr), std::nullopt);
}

/// A stored object and its value in each kind. `integer` is the value in every integer kind that can represent it. A
/// `long double` represents all of these exactly.
struct Bridging {
  PropertyList stored;
  std::optional<bool> boolean = std::nullopt;
  std::optional<long double> integer = std::nullopt;
  std::optional<double> real = std::nullopt;
  std::optional<float> single = std::nullopt;
  std::optional<std::string> text = std::nullopt;
  std::optional<Date> date = std::nullopt;
  std::optional<Data> data = std::nullopt;
};

const std::vector<Bridging>& bridgingTable() {
  constexpr double nan = std::numeric_limits<double>::quiet_NaN();
  constexpr double infinity = std::numeric_limits<double>::infinity();
  constexpr auto largest = std::numeric_limits<std::uint64_t>::max();
  constexpr auto least = std::numeric_limits<std::int64_t>::min();
  static const std::vector<Bridging> table{
      {.stored = true, .boolean = true, .integer = 1, .real = 1.0, .single = 1.0F},
      {.stored = false, .boolean = false, .integer = 0, .real = 0.0, .single = 0.0F},
      {.stored = 0, .boolean = false, .integer = 0, .real = 0.0, .single = 0.0F},
      {.stored = 1, .boolean = true, .integer = 1, .real = 1.0, .single = 1.0F},
      {.stored = 2, .integer = 2, .real = 2.0, .single = 2.0F},
      {.stored = -1, .integer = -1, .real = -1.0, .single = -1.0F},
      {.stored = 300, .integer = 300, .real = 300.0, .single = 300.0F},
      {.stored = 40'000, .integer = 40'000, .real = 40'000.0, .single = 40'000.0F},
      {.stored = (1 << 24) + 1, .integer = (1 << 24) + 1, .real = 0x1000001p0},
      {.stored = (std::int64_t{1} << 53) + 1, .integer = (std::int64_t{1} << 53) + 1},
      {.stored = least, .integer = least, .real = -0x1p63, .single = -0x1p63F},
      {.stored = largest, .integer = largest},
      {.stored = 0.0, .boolean = false, .integer = 0, .real = 0.0, .single = 0.0F},
      {.stored = -0.0, .boolean = false, .integer = 0, .real = -0.0, .single = -0.0F},
      {.stored = 1.0, .boolean = true, .integer = 1, .real = 1.0, .single = 1.0F},
      {.stored = 5.0, .integer = 5, .real = 5.0, .single = 5.0F},
      {.stored = 5.5, .real = 5.5, .single = 5.5F},
      {.stored = 0.1, .real = 0.1},
      {.stored = 0.1F, .real = 0.100000001490116119384765625, .single = 0.1F},
      {.stored = 2.25, .real = 2.25, .single = 2.25F},
      {.stored = 1e19, .integer = 1e19L, .real = 1e19},
      {.stored = 0x1p64, .real = 0x1p64, .single = 0x1p64F},
      {.stored = 1e300, .real = 1e300},
      {.stored = nan, .real = nan, .single = std::numeric_limits<float>::quiet_NaN()},
      {.stored = infinity, .real = infinity, .single = std::numeric_limits<float>::infinity()},
      {.stored = "1", .text = "1"},
      {.stored = "5", .text = "5"},
      {.stored = "YES", .text = "YES"},
      {.stored = "", .text = ""},
      {.stored = Date::sinceReferenceDate(1), .date = Date::sinceReferenceDate(1)},
      {.stored = Data("1"), .data = Data("1")},
      {.stored = PropertyList::Array{}},
      {.stored = PropertyList::Array{1}},
      {.stored = PropertyList::Dictionary{}},
      {.stored = PropertyList::Dictionary{{"a", 1}}},
  };
  return table;
}

template <typename Value>
bool isSame(const std::optional<Value>& left, const std::optional<Value>& right) {
  if constexpr (std::is_floating_point_v<Value>) {
    if (left && right && std::isnan(*left)) return std::isnan(*right);
    if (left && right && std::signbit(*left) != std::signbit(*right)) return false;
  }
  return left == right;
}

/// Reads the object as the kind, as an optional of the kind, and inside arrays and dictionaries.
template <typename Value>
void expectBridging(const PropertyList& object, const std::optional<Value>& expected) {
  SCOPED_TRACE(testing::Message() << object << " as " << typeName<Value>());
  EXPECT_TRUE(isSame(read<Value>(object), expected));
  const auto optional = read<std::optional<Value>>(object);
  EXPECT_EQ(optional.has_value(), expected.has_value());
  if (optional) EXPECT_TRUE(isSame(*optional, expected));

  const auto array = read<std::vector<Value>>(PropertyList::Array{object, object});
  EXPECT_EQ(array.has_value(), expected.has_value());
  if (array) EXPECT_TRUE(array->size() == 2 && isSame(std::optional<Value>((*array)[1]), expected));
  using Nested = std::map<std::string, std::vector<std::map<std::string, Value>>>;
  const PropertyList within = PropertyList::Dictionary{{"x", object}};
  const auto nested = read<Nested>(PropertyList::Dictionary{{"k", PropertyList::Array{within}}});
  EXPECT_EQ(nested.has_value(), expected.has_value());
  if (nested) EXPECT_TRUE(isSame(std::optional<Value>(nested->at("k")[0].at("x")), expected));
}

template <typename Integer>
void expectIntegerBridging(const Bridging& row) {
  using Limits = std::numeric_limits<Integer>;
  const bool fits = row.integer && *row.integer >= Limits::min() && *row.integer <= Limits::max();
  expectBridging<Integer>(row.stored, fits ? std::optional(static_cast<Integer>(*row.integer)) : std::nullopt);
}

TEST(UserDefaultsValue, EveryObjectReadsInEveryKindByTheTable) {
  for (const Bridging& row : bridgingTable()) {
    expectBridging(row.stored, row.boolean);
    expectIntegerBridging<std::int64_t>(row);
    expectIntegerBridging<std::int16_t>(row);
    expectIntegerBridging<std::int32_t>(row);
    expectIntegerBridging<std::uint64_t>(row);
    expectIntegerBridging<std::uint8_t>(row);
    expectIntegerBridging<std::uint16_t>(row);
    expectIntegerBridging<std::uint32_t>(row);
    expectIntegerBridging<long long>(row);
    expectIntegerBridging<unsigned long long>(row);
    expectBridging(row.stored, row.real);
    expectBridging(row.stored, row.single);
    expectBridging(row.stored, row.text);
    expectBridging(row.stored, row.date);
    expectBridging(row.stored, row.data);
  }
}

TEST(UserDefaultsValue, IntegersOutOfRangeAreNotRead) {
  EXPECT_EQ(read<std::int16_t>(40'000), std::nullopt);
  EXPECT_EQ(read<std::uint8_t>(300), std::nullopt);
  EXPECT_EQ(read<std::uint64_t>(-1), std::nullopt);
  EXPECT_EQ(read<std::uint8_t>(-1), std::nullopt);
  const auto largest = std::numeric_limits<std::uint64_t>::max();
  EXPECT_EQ(read<std::int64_t>(largest), std::nullopt);
  EXPECT_EQ(read<std::uint64_t>(largest), largest);
}

TEST(UserDefaultsValue, BooleanReadsOnlyZeroAndOne) {
  EXPECT_EQ(stored(true)->kind(), Kind::boolean);
  EXPECT_EQ(read<bool>(true), true);
  EXPECT_EQ(read<bool>(1), true);
  EXPECT_EQ(read<bool>(0), false);
  EXPECT_EQ(read<bool>(1.0), true);
  EXPECT_EQ(read<bool>(0.0), false);
  EXPECT_EQ(read<bool>(2), std::nullopt);
  EXPECT_EQ(read<bool>(-1), std::nullopt);
  EXPECT_EQ(read<bool>(5.0), std::nullopt);
  EXPECT_EQ(read<bool>(0.1), std::nullopt);
  EXPECT_EQ(read<bool>("YES"), std::nullopt);
  EXPECT_EQ(read<bool>("1"), std::nullopt);
}

TEST(UserDefaultsValue, DoublePrecisionReadsExactlyRepresentableNumbers) {
  EXPECT_EQ(stored(0.1)->kind(), Kind::real);
  EXPECT_EQ(read<double>(0.1), 0.1);
  EXPECT_EQ(read<double>(0.1F), static_cast<double>(0.1F));
  EXPECT_EQ(read<double>(5), 5.0);
  EXPECT_EQ(read<double>(true), 1.0);
  EXPECT_EQ(read<double>((std::int64_t{1} << 53) + 1), std::nullopt);
  EXPECT_EQ(read<double>(std::int64_t{1} << 53), 0x1p53);
  EXPECT_TRUE(std::isnan(read<double>(std::nan("")).value()));
  EXPECT_EQ(read<double>("0.1"), std::nullopt);
}

TEST(UserDefaultsValue, SinglePrecisionReadsExactlyRepresentableNumbers) {
  EXPECT_TRUE(stored(0.1F)->isIdentical(PropertyList(0.1F)));
  EXPECT_EQ(read<float>(0.1F), 0.1F);
  EXPECT_EQ(read<float>(0.1), std::nullopt);
  EXPECT_EQ(read<float>(0.5), 0.5F);
  EXPECT_EQ(read<float>(2.25), 2.25F);
  EXPECT_EQ(read<float>(3), 3.0F);
  EXPECT_EQ(read<float>(false), 0.0F);
  EXPECT_EQ(read<float>((1 << 24) + 1), std::nullopt);
  EXPECT_TRUE(std::isnan(read<float>(std::nan("")).value()));
}

TEST(UserDefaultsValue, TextsDatesAndDataReadOnlyTheirOwnKind) {
  EXPECT_EQ(stored(std::string("5"))->kind(), Kind::text);
  EXPECT_EQ(read<std::string>("5"), "5");
  EXPECT_EQ(read<std::string>(5), std::nullopt);
  EXPECT_EQ(read<std::string>(Data("5")), std::nullopt);

  const Date date = Date::sinceReferenceDate(1.5);
  EXPECT_EQ(stored(date)->kind(), Kind::date);
  EXPECT_EQ(read<Date>(date), date);
  EXPECT_EQ(read<Date>(1.5), std::nullopt);

  EXPECT_EQ(stored(Data("a\0b"))->kind(), Kind::data);
  EXPECT_EQ(read<Data>(Data("ab")), Data("ab"));
  EXPECT_EQ(read<Data>("ab"), std::nullopt);
}

TEST(UserDefaultsValue, AnArrayConvertsIfEveryElementDoes) {
  using Numbers = std::vector<std::int64_t>;
  EXPECT_EQ(stored(Numbers{1, 2}), PropertyList(PropertyList::Array{1, 2}));
  EXPECT_EQ(read<Numbers>(PropertyList::Array{1, 2.0, true}), (Numbers{1, 2, 1}));
  EXPECT_EQ(read<Numbers>(PropertyList::Array{1, "x", 2}), std::nullopt);
  EXPECT_EQ(read<Numbers>(PropertyList::Array{}), Numbers{});
  EXPECT_EQ(read<std::vector<Data>>(PropertyList::Array{}), std::vector<Data>{});
  EXPECT_EQ(read<Numbers>(1), std::nullopt);
  EXPECT_EQ(read<std::vector<bool>>(PropertyList::Array{true, 0}), (std::vector<bool>{true, false}));
}

TEST(UserDefaultsValue, ADictionaryConvertsIfEveryValueDoes) {
  using Sizes = std::map<std::string, double>;
  EXPECT_EQ(stored(Sizes{{"a", 1}, {"b", 2.5}}), PropertyList(PropertyList::Dictionary{{"a", 1.0}, {"b", 2.5}}));
  EXPECT_EQ(read<Sizes>(PropertyList::Dictionary{{"a", 1}}), (Sizes{{"a", 1.0}}));
  EXPECT_EQ(read<Sizes>(PropertyList::Dictionary{{"a", 1}, {"b", "x"}}), std::nullopt);
  EXPECT_EQ(read<Sizes>(PropertyList::Array{}), std::nullopt);
  using Hashed = std::unordered_map<std::string, double>;
  EXPECT_EQ(read<Hashed>(*stored(Hashed{{"a", 1}, {"b", 2.5}})), (Hashed{{"a", 1}, {"b", 2.5}}));
}

TEST(UserDefaultsValue, ContainersNest) {
  using Nested = std::map<std::string, std::vector<std::map<std::string, std::vector<bool>>>>;
  const Nested nested{{"a", {{{"b", {true, false}}}, {}}}, {"", {}}};
  EXPECT_EQ(read<Nested>(*stored(nested)), nested);
}

TEST(UserDefaultsValue, OptionalAcceptsAbsenceButNotAMismatch) {
  using Number = std::optional<std::int64_t>;
  EXPECT_EQ(UserDefaultsValueTraits<Number>::value(nullptr), std::optional<Number>(Number()));
  EXPECT_EQ(read<Number>(5), std::optional<Number>(5));
  EXPECT_EQ(read<Number>("x"), std::nullopt);
  EXPECT_EQ(stored(Number(5)), PropertyList(5));
  EXPECT_EQ(stored(Number()), std::nullopt);
}

TEST(UserDefaultsValue, AbsentElementsAreOmitted) {
  using Numbers = std::vector<std::optional<int>>;
  EXPECT_EQ(stored(Numbers{1, std::nullopt, 3}), PropertyList(PropertyList::Array{1, 3}));
  using Named = std::map<std::string, std::optional<int>>;
  EXPECT_EQ(stored(Named{{"a", std::nullopt}, {"b", 1}}), PropertyList(PropertyList::Dictionary{{"b", 1}}));
}

TEST(UserDefaultsValue, TheSetOfKindsIsClosed) {
  struct OfAHost {};
  static_assert(!UserDefaultsValue<OfAHost>);
  static_assert(!UserDefaultsValue<std::int8_t>);
  static_assert(!UserDefaultsValue<char>);
  static_assert(!UserDefaultsValue<long double>);
  static_assert(!UserDefaultsValue<const char*>);
  static_assert(!UserDefaultsValue<URL>);
  static_assert(!UserDefaultsValue<std::vector<OfAHost>>);
  static_assert(!UserDefaultsValue<std::map<int, int>>);
  static_assert(!UserDefaultsValue<std::optional<OfAHost>>);
  static_assert(!std::is_default_constructible_v<UserDefaultValueIdentification<OfAHost>>);
  static_assert(std::is_empty_v<UserDefaultValueIdentification<int>>);
  static_assert(std::is_same_v<decltype(UserDefaultsValueTraits<int>::identification),
                               const UserDefaultValueIdentification<int>>);
}

}  // namespace
}  // namespace Tessaly
