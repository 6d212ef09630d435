// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <sstream>
#include <string_view>
#include <unordered_set>

#include "Tessaly/FoundationExtensions/AccessModifier.hpp"

namespace {

using namespace Tessaly;

static_assert(AccessModifier::from("package") == AccessModifier::package);

TEST(AccessModifier, HasFiveCasesWithTheirKeywords) {
  EXPECT_EQ(AccessModifier::public_.rawValue(), "public");
  EXPECT_EQ(AccessModifier::private_.rawValue(), "private");
  EXPECT_EQ(AccessModifier::internal.rawValue(), "internal");
  EXPECT_EQ(AccessModifier::fileprivate.rawValue(), "fileprivate");
  EXPECT_EQ(AccessModifier::package.rawValue(), "package");
}

TEST(AccessModifier, OnlyItsKeywordsMakeAModifier) {
  for (const AccessModifier modifier : {AccessModifier::public_, AccessModifier::private_, AccessModifier::internal,
                                        AccessModifier::fileprivate, AccessModifier::package}) {
    EXPECT_EQ(AccessModifier::from(modifier.rawValue()), modifier);
  }
  for (const std::string_view text : {"Public", "", "public ", "public_", "open", "PACKAGE", "fileprivat"}) {
    EXPECT_EQ(AccessModifier::from(text), std::nullopt) << text;
  }
  EXPECT_EQ(AccessModifier::from(std::string_view("public\0", 7)), std::nullopt);
}

TEST(AccessModifier, ComparesAndHashesByCase) {
  EXPECT_EQ(AccessModifier::public_, AccessModifier::public_);
  EXPECT_NE(AccessModifier::public_, AccessModifier::private_);
  EXPECT_EQ((std::unordered_set{AccessModifier::public_, AccessModifier::package, AccessModifier::public_}.size()), 2u);
}

TEST(AccessModifier, CanBeSwitchedOver) {
  const auto isWide = [](AccessModifier modifier) {
    switch (modifier) {
      case AccessModifier::Case::public_:
      case AccessModifier::Case::package:
        return true;
      default:
        return false;
    }
  };
  EXPECT_TRUE(isWide(AccessModifier::package));
  EXPECT_FALSE(isWide(AccessModifier::internal));
}

TEST(AccessModifier, WritesItsKeyword) {
  std::ostringstream stream;
  stream << AccessModifier::fileprivate;
  EXPECT_EQ(stream.str(), "fileprivate");
}

}  // namespace
