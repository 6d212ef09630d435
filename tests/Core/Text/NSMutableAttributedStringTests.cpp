// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <algorithm>
#include <any>
#include <cstdint>
#include <map>
#include <new>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "Tessaly/Core/Base/detail/Sanitizers.hpp"
#include "Tessaly/Core/Text/NSMutableAttributedString.hpp"
#include "Tessaly/Core/Text/detail/ForwardEdit.hpp"
#include "tests/Support/Allocations.hpp"
#include "tests/Support/Repetitions.hpp"

namespace {

using namespace Tessaly;
using Attributes = NSMutableAttributedString::Attributes;

std::map<std::string, int> attributesAt(const NSMutableAttributedString& text, std::int64_t location) {
  std::map<std::string, int> values;
  for (const auto& [key, value] : text.attributes(location)) values.emplace(key, std::any_cast<int>(value));
  return values;
}

using Values = std::map<std::string, int>;

TEST(NSMutableAttributedString, BeginsWithOneRun) {
  const NSMutableAttributedString text("Hé😀", {{"a", 1}});
  EXPECT_EQ(text.string(), "Hé😀");
  EXPECT_EQ(text.length(), 4);
  EXPECT_EQ(text.utf16(), u"Hé😀");
  EXPECT_EQ(attributesAt(text, 3), (Values{{"a", 1}}));
  EXPECT_EQ(text.effectiveRange(2), (NSRange{0, 4}));
  EXPECT_EQ(NSMutableAttributedString("\xFF").string(), "\uFFFD");
}

TEST(NSMutableAttributedString, AddsAttributesToARange) {
  NSMutableAttributedString text("0123456789");
  text.addAttributes({{"a", 1}}, {2, 4});
  text.addAttributes({{"b", 2}, {"a", 3}}, {4, 4});
  EXPECT_EQ(attributesAt(text, 1), Values());
  EXPECT_EQ(attributesAt(text, 2), (Values{{"a", 1}}));
  EXPECT_EQ(attributesAt(text, 4), (Values{{"a", 3}, {"b", 2}}));
  EXPECT_EQ(attributesAt(text, 7), (Values{{"a", 3}, {"b", 2}}));
  EXPECT_EQ(attributesAt(text, 8), Values());
  EXPECT_EQ(text.effectiveRange(3), (NSRange{2, 2}));
  EXPECT_EQ(text.effectiveRange(9), (NSRange{8, 2}));
}

TEST(NSMutableAttributedString, ReplacementsGetTheReplacedAttributes) {
  NSMutableAttributedString text("abcd");
  text.addAttributes({{"left", 1}}, {0, 2});
  text.replaceCharacters({1, 2}, u"XYZ");
  EXPECT_EQ(text.string(), "aXYZd");
  EXPECT_EQ(attributesAt(text, 3), (Values{{"left", 1}}));
  EXPECT_EQ(attributesAt(text, 4), Values());
  text.replaceCharacters({0, 4}, u"");
  EXPECT_EQ(text.string(), "d");
  EXPECT_EQ(attributesAt(text, 0), Values());
}

TEST(NSMutableAttributedString, InsertionsGetTheAttributesBeforeOrAfterThem) {
  NSMutableAttributedString text("ab");
  text.addAttributes({{"a", 1}}, {0, 1});
  text.replaceCharacters({1, 0}, u"-");
  EXPECT_EQ(attributesAt(text, 1), (Values{{"a", 1}}));
  text.replaceCharacters({0, 0}, u"+");
  EXPECT_EQ(attributesAt(text, 0), (Values{{"a", 1}}));
  text.replaceCharacters({4, 0}, u"!");
  EXPECT_EQ(text.string(), "+a-b!");
  EXPECT_EQ(attributesAt(text, 4), Values());
  NSMutableAttributedString empty;
  empty.replaceCharacters({0, 0}, u"x");
  EXPECT_EQ(empty.string(), "x");
  EXPECT_EQ(attributesAt(empty, 0), Values());
}

TEST(NSMutableAttributedString, RangeOutsideTheTextThrows) {
  NSMutableAttributedString text("abc");
  constexpr auto most = std::numeric_limits<std::int64_t>::max();
  for (const NSRange range : {NSRange{-1, 1}, {0, -1}, {0, 4}, {3, 1}, {4, 0}, {1, most}, {most, most}}) {
    EXPECT_THROW(text.addAttributes({{"a", 1}}, range), std::out_of_range);
    EXPECT_THROW(text.replaceCharacters(range, u"x"), std::out_of_range);
  }
  EXPECT_THROW(static_cast<void>(text.attributes(3)), std::out_of_range);
  EXPECT_THROW(static_cast<void>(text.effectiveRange(-1)), std::out_of_range);
  EXPECT_NO_THROW(text.addAttributes({{"a", 1}}, {3, 0}));
  EXPECT_EQ(text.string(), "abc");
}

TEST(NSMutableAttributedString, BehavesLikeAListOfUnitsWithAttributes) {
  std::mt19937 random(12);
  for (int round = 0; round < 300; ++round) {
    NSMutableAttributedString text;
    std::vector<std::pair<char16_t, Values>> model;
    for (int step = 0; step < 60; ++step) {
      const auto location = static_cast<std::int64_t>(random() % (model.size() + 1));
      const auto length = static_cast<std::int64_t>(random() % (model.size() - static_cast<std::size_t>(location) + 1));
      const auto begin = model.begin() + location;
      if (random() % 2 == 0) {
        const std::string key(1, static_cast<char>('a' + random() % 3));
        text.addAttributes({{key, step}}, {location, length});
        for (auto unit = begin; unit != begin + length; ++unit) unit->second[key] = step;
      } else {
        const std::u16string more(random() % 4, static_cast<char16_t>(u'A' + step % 26));
        Values inherited;
        if (length > 0) {
          inherited = begin->second;
        } else if (location > 0) {
          inherited = (begin - 1)->second;
        } else if (!model.empty()) {
          inherited = begin->second;
        }
        text.replaceCharacters({location, length}, more);
        model.erase(begin, begin + length);
        for (const char16_t unit : more) model.insert(model.begin() + location, {unit, inherited});
      }
      ASSERT_EQ(text.length(), static_cast<std::int64_t>(model.size()));
      for (std::size_t at = 0; at < model.size(); ++at) {
        ASSERT_EQ(text.utf16()[at], model[at].first);
        ASSERT_EQ(attributesAt(text, static_cast<std::int64_t>(at)), model[at].second);
      }
    }
  }
}

/// The units, attributes and runs of a text.
std::string contentsOf(const NSMutableAttributedString& text) {
  std::string contents = text.string();
  for (std::int64_t at = 0; at < text.length(); at += text.effectiveRange(at).length) {
    contents += " " + std::to_string(text.effectiveRange(at).length) + ":";
    for (const auto& [key, value] : attributesAt(text, at)) contents += key + std::to_string(value);
  }
  return contents;
}

NSMutableAttributedString randomText(std::mt19937& random) {
  NSMutableAttributedString text("abcdefghijklmnopqrstuvwxyzabcdefghijklmnopqrstuvwxyz");
  for (int i = 0; i < 6; ++i) {
    const auto location = static_cast<std::int64_t>(random() % 48);
    text.addAttributes({{std::string(1, static_cast<char>('a' + i % 3)), i}}, {location, 4});
  }
  return text;
}

/// A value of an attribute whose copy throws on request.
struct Fragile {
  explicit Fragile(const bool& throws) : throws(&throws) {}
  Fragile(const Fragile& other) : throws(other.throws) {
    if (*throws) throw std::runtime_error("no copy");
  }
  const bool* throws;
};

TEST(ForwardEdit, FailedAttributesChangeNothing) {
  bool throws = false;
  NSMutableAttributedString text("abcdef", {{"first", 1}});
  text.addAttributes({{"value", Fragile(throws)}}, {2, 2});
  text.addAttributes({{"last", 3}}, {5, 1});
  {
    detail::ForwardEdit edit(text);
    edit.replaceCharacters({0, 1}, u"A");
    throws = true;
    EXPECT_THROW(edit.addAttributes({{"new", 4}}, {0, 6}), std::runtime_error);
  }
  EXPECT_EQ(text.string(), "Abcdef");
  std::vector<NSRange> ranges;
  for (std::int64_t at = 0; at < text.length(); at += text.effectiveRange(at).length) {
    ranges.push_back(text.effectiveRange(at));
    EXPECT_FALSE(text.attributes(at).contains("new"));
  }
  EXPECT_EQ(ranges, (std::vector<NSRange>{{0, 2}, {2, 2}, {4, 1}, {5, 1}}));
}

#if !TESSALY_IS_SANITIZED  // Under a sanitizer, a failed allocation stops the process.
/// Makes each allocation of an edit fail in turn, and expects that every unit of the text keeps a run.
template <typename Edit>
void expectWholeRunsAfterFailures(Edit edit) {
  std::mt19937 random(17);
  for (int round = 0; round < Tests::repetitions(20); ++round) {
    const NSMutableAttributedString original = randomText(random);
    bool hasFailed = true;
    for (long skipped = 0; hasFailed; ++skipped) {
      NSMutableAttributedString text = original;
      hasFailed = false;
      try {
        const Tests::FailingAllocations failing(1, skipped);
        edit(text);
      } catch (const std::bad_alloc&) {
        hasFailed = true;
      }
      const std::int64_t length = text.length();
      ASSERT_EQ(length, 52) << "after " << skipped << " allocations";
      std::int64_t covered = 0;
      while (covered < length) covered += text.effectiveRange(covered).length;
      ASSERT_EQ(covered, length) << "after " << skipped << " allocations";
    }
  }
}

TEST(NSMutableAttributedString, FailedAllocationKeepsEveryRun) {
  const NSMutableAttributedString::Attributes added{{"new", 1}};
  expectWholeRunsAfterFailures([&](NSMutableAttributedString& text) {
    text.addAttributes(added, {3, 20});
    text.replaceCharacters({25, 1}, u"X");
    text.replaceCharacters({30, 5}, u"12345");
  });
}

TEST(ForwardEdit, FailedAllocationKeepsEveryRun) {
  const NSMutableAttributedString::Attributes added{{"new", 1}};
  expectWholeRunsAfterFailures([&](NSMutableAttributedString& text) {
    detail::ForwardEdit edit(text);
    for (std::int64_t at = 0; at < 50; at += 5) {
      edit.replaceCharacters({at, 2}, u"XY");
      edit.addAttributes(added, {at, 3});
    }
  });
}
#endif

TEST(ForwardEdit, GivesTheResultOfTheSameCallsOnTheText) {
  std::mt19937 random(13);
  int thrown = 0;
  for (int round = 0; round < Tests::repetitions(500); ++round) {
    NSMutableAttributedString expected = randomText(random);
    NSMutableAttributedString edited = expected;
    bool hasThrown = false;
    {
      detail::ForwardEdit edit(edited);
      std::int64_t place = 0;
      while (!hasThrown && random() % 8 != 0) {
        const NSRange range{place + static_cast<std::int64_t>(random() % 7), static_cast<std::int64_t>(random() % 6)};
        const std::u16string text(random() % (static_cast<std::size_t>(range.length) + 1), u'X');
        const NSRange marked{range.location, static_cast<std::int64_t>(random() % 9)};
        place = std::max(range.location + range.length, marked.location + marked.length);
        const auto change = [&](auto& target) {
          try {
            target.replaceCharacters(range, text);
            target.addAttributes({{"new", round % 2}}, marked);
            return false;
          } catch (const std::out_of_range&) {
            return true;
          }
        };
        hasThrown = change(expected);
        ASSERT_EQ(change(edit), hasThrown);
      }
    }
    thrown += hasThrown ? 1 : 0;
    ASSERT_EQ(contentsOf(edited), contentsOf(expected)) << round;
  }
  EXPECT_GT(thrown, 20);
}

}  // namespace
