// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "Tessaly/FoundationExtensions/String+Key.hpp"

namespace {

using namespace Tessaly;

TEST(StringKey, HoldsTheCharactersOfTheReturnAndEscapeKeys) {
  EXPECT_EQ(String::key.enter, "\r");
  EXPECT_EQ(String::key.escape, "\x1B");
  EXPECT_EQ(String::key.enter.size(), 1u);
  EXPECT_EQ(String::Key(), String::key);
}

}  // namespace
