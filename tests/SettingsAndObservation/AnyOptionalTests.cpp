// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "Tessaly/SettingsAndObservation/AnyOptional.hpp"

namespace Tessaly {
namespace {

TEST(AnyOptional, IsNilExactlyWhenItIsEmpty) {
  EXPECT_TRUE(isNil(std::optional<int>()));
  EXPECT_FALSE(isNil(std::optional<int>(0)));
  EXPECT_TRUE(isNil(std::optional<std::optional<int>>()));
  EXPECT_FALSE(isNil(std::optional<std::optional<int>>(std::optional<int>())));
}

TEST(AnyOptional, OnlyTypesWithAnAbsentValueConform) {
  static_assert(AnyOptional<std::optional<std::string>>);
  static_assert(!AnyOptional<std::string>);
  static_assert(!AnyOptional<int*>);
}

}  // namespace
}  // namespace Tessaly
