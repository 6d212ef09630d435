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

#include "Tessaly/Platform/Foundation/URL.hpp"
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

TYPED_TEST(EveryInteger, IsStoredAsAnIntegerAndReadsBackAtItsEnds) {
  using Limits = std::numeric_limits<TypeParam>;
  for (const TypeParam value : {Limits::min(), Limits::max(), TypeParam(0), TypeParam(1)}) {
    const auto object = stored(value);
    ASSERT_TRUE(object);
    EXPECT_EQ(object->kind(), Kind::integer);
    EXPECT_EQ(read<TypeParam>(*object), value);
  }
}

TYPED_TEST(EveryInteger, ReadsANumberThatItCanHoldExactly) {
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

TYPED_TEST(EveryInteger, ReadsNothingElse) {
  EXPECT_EQ(read<TypeParam>("5"), std::nullopt);
  EXPECT_EQ(read<TypeParam>(Date::sinceReferenceDate(5)), std::nullopt);
  EXPECT_EQ(read<TypeParam>(Data("5")), std::nullopt);
  EXPECT_EQ(read<TypeParam>(PropertyList::Array{PropertyList(5)}), std::nullopt);
  EXPECT_EQ(read<TypeParam>(PropertyList::Dictionary{{"a", 5}}), std::nullopt);
  EXPECT_EQ(UserDefaultsValueTraits<TypeParam>::value(nullptr), std::nullopt);
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

TEST(UserDefaultsValue, ABooleanIsOneOfTwoNumbers) {
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

TEST(UserDefaultsValue, ARealOfDoublePrecisionReadsWhatItCanHoldExactly) {
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

TEST(UserDefaultsValue, ARealOfSinglePrecisionReadsWhatItCanHoldExactly) {
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

TEST(UserDefaultsValue, AnOptionalTakesTheAbsenceForAValueAndAMismatchForNone) {
  using Number = std::optional<std::int64_t>;
  EXPECT_EQ(UserDefaultsValueTraits<Number>::value(nullptr), std::optional<Number>(Number()));
  EXPECT_EQ(read<Number>(5), std::optional<Number>(5));
  EXPECT_EQ(read<Number>("x"), std::nullopt);
  EXPECT_EQ(stored(Number(5)), PropertyList(5));
  EXPECT_EQ(stored(Number()), std::nullopt);
}

TEST(UserDefaultsValue, AbsentElementsAreLeftOut) {
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
