// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "Tessaly/Core/Foundation/PropertyList.hpp"

namespace Tessaly::inline v1 {
namespace {

using namespace std::string_literals;
using Array = PropertyList::Array;
using Dictionary = PropertyList::Dictionary;
using Kind = PropertyList::Kind;

PropertyList nested(std::uint32_t depth) {
  PropertyList value = 1;
  for (std::uint32_t i = 0; i < depth; ++i) {
    if (i % 2 == 0) {
      Array array;
      array.push_back(std::move(value));
      value = std::move(array);
    } else {
      Dictionary dictionary;
      dictionary.emplace("k", std::move(value));
      value = std::move(dictionary);
    }
  }
  return value;
}

TEST(PropertyList, KnowsItsKindAndGivesOnlyThatValue) {
  EXPECT_EQ(PropertyList(true).kind(), Kind::boolean);
  EXPECT_EQ(PropertyList(std::uint8_t{3}).kind(), Kind::integer);
  EXPECT_EQ(PropertyList(std::numeric_limits<std::uint64_t>::max()).kind(), Kind::integer);
  EXPECT_EQ(PropertyList(0.5f).kind(), Kind::real);
  EXPECT_EQ(PropertyList("text").kind(), Kind::text);
  EXPECT_EQ(PropertyList(Date::since1970(0)).kind(), Kind::date);
  EXPECT_EQ(PropertyList(Data("ab")).kind(), Kind::data);
  EXPECT_EQ(PropertyList(Array{1, "x"}).kind(), Kind::array);
  EXPECT_EQ(PropertyList(Dictionary{}).kind(), Kind::dictionary);

  EXPECT_EQ(PropertyList(5).number(), NSNumber(5));
  EXPECT_EQ(PropertyList("5").number(), std::nullopt);
  EXPECT_EQ(PropertyList(Date::since1970(1)).number(), std::nullopt);
  EXPECT_EQ(PropertyList(Date::since1970(1)).date(), Date::since1970(1));
  EXPECT_EQ(PropertyList(5).date(), std::nullopt);
  EXPECT_EQ(PropertyList(5).text(), nullptr);
  EXPECT_EQ(*PropertyList("5").text(), "5");
  EXPECT_EQ(PropertyList("5").data(), nullptr);
  EXPECT_EQ(*PropertyList(Data("5")).data(), Data("5"));
  EXPECT_EQ(PropertyList(Data("5")).array(), nullptr);
  EXPECT_EQ(PropertyList(Array{}).dictionary(), nullptr);
}

TEST(PropertyList, NumberKeepsThePrecisionOfAReal) {
  EXPECT_EQ(PropertyList(0.1f).number()->kind(), NSNumber::Kind::single);
  EXPECT_EQ(PropertyList(0.1f).number()->floatValue(), 0.1f);
  EXPECT_EQ(PropertyList(0.1).number()->kind(), NSNumber::Kind::double_);
}

TEST(PropertyList, FindsEntriesOfDictionariesOnly) {
  const PropertyList list(Dictionary{{"", 1}, {"a.b", 2}, {"n\0l"s, 3}});
  EXPECT_EQ(*list.find(""), 1);
  EXPECT_EQ(*list.find("a.b"), 2);
  EXPECT_EQ(*list.find("n\0l"s), 3);
  EXPECT_EQ(list.find("a"), nullptr);
  EXPECT_EQ(PropertyList(1).find("a"), nullptr);
}

TEST(PropertyList, EqualsByValueAndIsIdenticalByKind) {
  const PropertyList integers(Dictionary{{"a", Array{1, 5}}});
  const PropertyList mixed(Dictionary{{"a", Array{true, 5.0}}});
  EXPECT_EQ(integers, mixed);
  EXPECT_FALSE(integers.isIdentical(mixed));
  EXPECT_TRUE(integers.isIdentical(PropertyList(Dictionary{{"a", Array{1, 5}}})));
  EXPECT_NE(PropertyList("1"), PropertyList(1));
  EXPECT_NE(PropertyList(Array{1}), PropertyList(Array{1, 2}));
  EXPECT_NE(PropertyList(Dictionary{{"a", 1}}), PropertyList(Dictionary{{"b", 1}}));
  EXPECT_NE(PropertyList(Dictionary{{"a", 1}}), PropertyList(Dictionary{{"a", 1}, {"b", 1}}));
  EXPECT_NE(PropertyList(Date::since1970(0)), PropertyList(Date::since1970(1)));
  EXPECT_NE(PropertyList(Data("a")), PropertyList(Data("b")));
  EXPECT_NE(PropertyList(Array{}), PropertyList(Dictionary{}));
}

TEST(PropertyList, ReplacesIllFormedTextWhenItIsMade) {
  EXPECT_EQ(*PropertyList("a\xFF"s).text(), "a\uFFFD");
  const PropertyList list(Dictionary{{"\xC3"s, 1}, {"b", "\xED\xA0\x80"s}});
  EXPECT_EQ(*list.find("\uFFFD"), 1);
  EXPECT_EQ(*list.find("b")->text(), "\uFFFD\uFFFD\uFFFD");
}

TEST(PropertyList, CopiesShareAndOutliveTheirOrigin) {
  std::optional<PropertyList> original(
      PropertyList(Array{"a long text that stands on the heap, for certain", Data("x")}));
  const PropertyList copy = *original;
  EXPECT_EQ(copy.array(), original->array());
  original.reset();
  EXPECT_EQ(copy, PropertyList(Array{"a long text that stands on the heap, for certain", Data("x")}));
}

TEST(PropertyList, MovedFromIsFalse) {
  PropertyList list("text");
  const PropertyList taken = std::move(list);
  EXPECT_TRUE(list.isIdentical(false));  // NOLINT(bugprone-use-after-move)
  const PropertyList& alias = list;
  list = taken;
  list = alias;
  EXPECT_EQ(list, "text");
}

TEST(PropertyList, CountsItsDepth) {
  EXPECT_EQ(PropertyList("text").depth(), 0u);
  EXPECT_EQ(PropertyList(Array{}).depth(), 1u);
  EXPECT_EQ(PropertyList(Array{1, Dictionary{{"a", Array{}}}}).depth(), 3u);
  EXPECT_EQ(nested(1000).depth(), 1000u);
}

TEST(PropertyList, MillionLevelsAreComparedAndDestroyedWithoutRecursion) {
  const PropertyList deep = nested(1'000'000);
  const PropertyList same = nested(1'000'000);
  EXPECT_EQ(deep, same);
  EXPECT_FALSE(deep.isIdentical(nested(999'998)));
  EXPECT_EQ(deep.description(), "...");
}

TEST(PropertyList, SharedInnerValueOutlivesItsContainer) {
  const PropertyList inner = nested(200);
  {
    const PropertyList outer(Array{inner, Array{Array{inner}}});
  }
  EXPECT_EQ(inner, nested(200));
}

TEST(PropertyList, ManyThreadsMayDestroyCopies) {
  for (int round = 0; round < 200; ++round) {
    std::vector<std::thread> threads;
    {
      const PropertyList list = nested(80);
      for (int i = 0; i < 3; ++i) threads.emplace_back([copy = list] { EXPECT_EQ(copy.depth(), 80u); });
    }
    for (std::thread& thread : threads) thread.join();
  }
}

TEST(PropertyList, DescribesItself) {
  const PropertyList list(Dictionary{{"a\"", Array{1, 2.5, true, "b\\\n"}},
                                     {"data", Data("\x0a\x1b")},
                                     {"date", Date::since1970(0)},
                                     {"none", Array{}},
                                     {"nothing", Dictionary{}}});
  EXPECT_EQ((std::ostringstream() << list).str(),
            R"({"a\"": [1, 2.5, true, "b\\\u000a"], "data": <0a1b>, "date": 1970-01-01 00:00:00 +0000, )"
            R"("none": [], "nothing": {}})");
}

}  // namespace
}  // namespace Tessaly::inline v1
