// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <string>

#include "Tessaly/SettingsAndObservation/PartialResultProvider.hpp"

namespace Tessaly {
namespace {

template <typename Provider>
concept HasAssignableValue = requires(Provider& provider) { provider.wrappedValue() = 1; };

static_assert(!HasAssignableValue<PartialResultProvider<int>>);

TEST(PartialResultProvider, GivesItsValue) {
  const PartialResultProvider<std::string> provider("Blue");
  EXPECT_EQ(provider.wrappedValue(), "Blue");
  EXPECT_EQ(provider.wrappedValue(), "Blue");
  EXPECT_EQ(&provider.projectedValue(), &provider);
}

TEST(PartialResultProvider, EachCopyHasItsOwnValue) {
  PartialResultProvider<std::string> provider("Blue");
  const PartialResultProvider<std::string> copy = provider;
  provider = PartialResultProvider<std::string>("Green");
  EXPECT_EQ(copy.wrappedValue(), "Blue");
  EXPECT_EQ(provider.wrappedValue(), "Green");
}

TEST(PartialResultProvider, OverrideSlotIsEmpty) {
  const PartialResultProvider<int>::Storage_ storage;
  EXPECT_FALSE(storage.overrideValue.has_value());
}

}  // namespace
}  // namespace Tessaly
