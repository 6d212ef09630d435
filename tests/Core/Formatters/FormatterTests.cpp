// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <any>

#include "Tessaly/Core/Formatters/Formatter.hpp"

namespace Tessaly {
namespace {

class Plain final : public Formatter {
 public:
  using Formatter::text;
};

TEST(Formatter, ShowsNothingReadsNothingAndRefusesNothing) {
  Plain plain;
  std::any object = 1;
  std::optional<std::string> replacement;
  std::optional<std::string> description;
  EXPECT_EQ(plain.string(std::any(std::string("a"))), std::nullopt);
  EXPECT_FALSE(plain.getObjectValue(&object, "a", &description));
  EXPECT_EQ(std::any_cast<int>(object), 1);
  EXPECT_TRUE(plain.isPartialStringValid("a", &replacement, &description));
  EXPECT_EQ(replacement, std::nullopt);
  EXPECT_EQ(description, std::nullopt);
}

TEST(Formatter, TakesEveryKindOfText) {
  EXPECT_EQ(Plain::text(std::string("a")), "a");
  EXPECT_EQ(Plain::text(std::string_view("a")), "a");
  EXPECT_EQ(Plain::text("a"), "a");
  EXPECT_EQ(Plain::text(1), std::nullopt);
  EXPECT_EQ(Plain::text({}), std::nullopt);
}

TEST(Formatter, NullPointerIsNoText) {
  EXPECT_EQ(Plain::text(static_cast<const char*>(nullptr)), std::nullopt);
  EXPECT_EQ(Plain::text(static_cast<char*>(nullptr)), std::nullopt);
}

}  // namespace
}  // namespace Tessaly
