// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <bit>
#include <string>
#include <string_view>

#include "Tessaly/Core/Foundation/detail/MIMEMagic.hpp"

namespace Tessaly::detail {
namespace {

using namespace std::string_literals;

const std::string head = "MIME-Magic\0\n"s;

/// A value with its length.
std::string value(const std::string& bytes) {
  return {static_cast<char>(bytes.size() >> 8), static_cast<char>(bytes.size() & 0xFF)};
}

std::string rule(const std::string& place, const std::string& bytes, const std::string& rest = "") {
  return place + "=" + value(bytes) + bytes + rest + "\n";
}

std::string typeOf(const std::string& rules, std::string_view contents) {
  MIMEMagic magic;
  magic.add(head + rules);
  return std::string(magic.typeOf(contents));
}

TEST(MIMEMagic, MatchesAValueAtItsOffset) {
  const std::string rules = "[50:a/b]\n" + rule(">2", "xy");
  EXPECT_EQ(typeOf(rules, "..xy"), "a/b");
  EXPECT_EQ(typeOf(rules, ".xy."), "");
  EXPECT_EQ(typeOf(rules, "..x"), "");
  EXPECT_EQ(typeOf(rules, ""), "");
}

TEST(MIMEMagic, MatchesAValueInARange) {
  const std::string rules = "[50:a/b]\n" + rule(">1", "xy", "+3");
  EXPECT_EQ(typeOf(rules, "xy"), "");
  EXPECT_EQ(typeOf(rules, ".xy"), "a/b");
  EXPECT_EQ(typeOf(rules, "...xy"), "a/b");
  EXPECT_EQ(typeOf(rules, "....xy"), "");
}

TEST(MIMEMagic, ComparesTheBitsOfAMask) {
  const std::string rules = "[50:a/b]\n" + rule(">0", "\x5F\x01"s, "&\xF0\xFF+2"s);
  EXPECT_EQ(typeOf(rules, "\x51\x01"), "a/b");
  EXPECT_EQ(typeOf(rules, ".\x5A\x01"), "a/b");
  EXPECT_EQ(typeOf(rules, "\x61\x01"), "");
}

TEST(MIMEMagic, ConvertsWordsToTheMachinesOrder) {
  const std::string rules = "[50:a/b]\n" + rule(">0", "\x01\x02\x03\x04", "&\xFF\xFF\xFF\xF0~2"s);
  constexpr bool isLittle = std::endian::native == std::endian::little;
  EXPECT_EQ(typeOf(rules, isLittle ? "\x02\x01\x04\x03" : "\x01\x02\x03\x04"), "a/b");
  EXPECT_EQ(typeOf(rules, isLittle ? "\x02\x01\x0A\x03" : "\x01\x02\x03\x0A"), "a/b");
  EXPECT_EQ(typeOf(rules, isLittle ? "\x02\x01\x1A\x03" : "\x01\x02\x03\x1A"), "");
}

TEST(MIMEMagic, OneRefinementMustMatch) {
  const std::string rules =
      "[50:a/b]\n" + rule(">0", "a") + rule("1>1", "b") + rule("2>2", "c") + rule("1>1", "d") + rule(">0", "z");
  EXPECT_EQ(typeOf(rules, "abc"), "a/b");
  EXPECT_EQ(typeOf(rules, "abd"), "");
  EXPECT_EQ(typeOf(rules, "ad"), "a/b");
  EXPECT_EQ(typeOf(rules, "a"), "");
  EXPECT_EQ(typeOf(rules, "z"), "a/b");
  EXPECT_EQ(typeOf(rules, "xbc"), "");
}

TEST(MIMEMagic, HighestPriorityThenHigherPrecedenceWins) {
  MIMEMagic magic;
  magic.add(head + "[80:first/x]\n" + rule(">0", "ab") + "[50:first/y]\n" + rule(">0", "a"));
  magic.add(head + "[50:second/y]\n" + rule(">0", "a") + "[90:second/z]\n" + rule(">0", "abc"));
  EXPECT_EQ(magic.typeOf("abc"), "second/z");
  EXPECT_EQ(magic.typeOf("ab"), "first/x");
  EXPECT_EQ(magic.typeOf("a"), "second/y");
}

TEST(MIMEMagic, TypeCanDiscardRulesOfLowerPrecedence) {
  for (const std::string& mark : {">0=__NOMAGIC__\n"s, rule(">0", "__NOMAGIC__")}) {
    MIMEMagic magic;
    magic.add(head + "[50:a/b]\n" + rule(">0", "a") + "[50:a/c]\n" + rule(">0", "c"));
    magic.add(head + "[50:a/b]\n" + mark + rule(">0", "b"));
    EXPECT_EQ(magic.typeOf("a"), "");
    EXPECT_EQ(magic.typeOf("b"), "a/b");
    EXPECT_EQ(magic.typeOf("c"), "a/c");
  }
}

TEST(MIMEMagic, OnlyTopRuleAtTheBeginningDiscards) {
  for (const std::string& other :
       {rule(">1", "__NOMAGIC__"), rule(">0", "a") + rule("1>1", "__NOMAGIC__"), rule(">0", "__NOMAGIC__", "+2")}) {
    MIMEMagic magic;
    magic.add(head + "[50:a/b]\n" + rule(">0", "old"));
    magic.add(head + "[50:a/b]\n" + other);
    EXPECT_EQ(magic.typeOf("old"), "a/b") << other;
    EXPECT_EQ(magic.typeOf("a__NOMAGIC__"), "a/b") << other;
  }
}

TEST(MIMEMagic, SkipsUnknownRules) {
  const std::string right = "[50:a/b]\n" + rule(">0", "a");
  for (const std::string& wrong : {"\n"s, "nonsense\n"s, rule(">0", "a", "?later"), rule(">0", ""),
                                   rule("1>0", "x") + rule("3>0", "a"), rule(">99999999999", "a"), rule(">-1", "a"),
                                   rule(">0", "ab", "~3"), rule(">0", "a", "~0"), rule(">0", "a", "+0")}) {
    EXPECT_EQ(typeOf("[50:x/y]\n" + wrong + right, "a"), "a/b") << wrong;
  }
  EXPECT_EQ(typeOf("[none:x/y]\n" + rule(">0", "a") + right, "a"), "a/b");
  EXPECT_EQ(typeOf("[50:x/y\n" + rule(">0", "a") + right, "a"), "a/b");
  EXPECT_EQ(typeOf(rule(">0", "a") + right, "a"), "a/b");
}

TEST(MIMEMagic, SkippedRuleTakesItsChildrenWithIt) {
  for (const std::string& skipped :
       {rule("1>1", "x", "?later"), rule("1>1", ""), rule("1>1", "xyz", "~2"), rule("1>99999999999", "x")}) {
    const std::string rules = "[50:a/b]\n" + rule(">0", "a") + rule("1>1", "b") + skipped + rule("2>2", "c");
    EXPECT_EQ(typeOf(rules, "abd"), "a/b") << skipped;
    EXPECT_EQ(typeOf(rules, "axc"), "") << skipped;
  }
}

TEST(MIMEMagic, RuleWithASkippedRefinementDoesNotMatchAlone) {
  const std::string rules = "[50:a/b]\n" + rule(">0", "a") + rule("1>1", "b", "?later");
  EXPECT_EQ(typeOf(rules, "ab"), "");
  EXPECT_EQ(typeOf(rules + rule("1>1", "c"), "ac"), "a/b");
  EXPECT_EQ(typeOf(rules + rule(">0", "z"), "z"), "a/b");
}

TEST(MIMEMagic, TruncatedFileEndsTheParsing) {
  const std::string whole = head + "[50:a/b]\n" + rule(">0", "abc", "&\xFF\xFF\xFF~1+2"s);
  for (std::size_t length = 0; length < whole.size(); ++length) {
    MIMEMagic magic;
    magic.add(std::string_view(whole).substr(0, length));
    const bool isReadable =
        length == whole.size() - 1 || whole[length] == '~' || whole[length] == '+' || whole[length] == '&';
    EXPECT_EQ(magic.typeOf("abc"), isReadable ? "a/b" : "") << length;
  }
}

TEST(MIMEMagic, ExtentCoversAllRules) {
  MIMEMagic magic;
  EXPECT_EQ(magic.extent(), 0u);
  magic.add(head + "[50:a/b]\n" + rule(">257", "ustar") + rule(">0", "a", "+4"));
  EXPECT_EQ(magic.extent(), 262u);
  magic.add(head + "[50:a/c]\n" + rule(">100", "abc", "+4000000000") + rule(">4000000000", "x"));
  EXPECT_EQ(magic.extent(), std::size_t{64} << 10);
}

}  // namespace
}  // namespace Tessaly::detail
