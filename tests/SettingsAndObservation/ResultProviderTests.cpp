// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <type_traits>
#include <utility>

#include "Tessaly/SettingsAndObservation/ResultProvider.hpp"

namespace Tessaly {
namespace {

template <typename Provider>
concept HasAssignableValue = requires(Provider& provider) { provider.wrappedValue() = 1; };

static_assert(std::is_same_v<decltype(ResultProvider([] { return 1L; })), ResultProvider<long>>);
static_assert(!HasAssignableValue<ResultProvider<int>>);

TEST(ResultProvider, CallsItsFunctionAtEveryRead) {
  const ResultProvider<int> provider([count = 0]() mutable { return ++count; });
  EXPECT_EQ(provider.wrappedValue(), 1);
  EXPECT_EQ(provider.wrappedValue(), 2);
}

TEST(ResultProvider, SharesItsFunctionWithItsCopies) {
  const ResultProvider<int> provider([count = 0]() mutable { return ++count; });
  const ResultProvider<int> copy = provider;
  const ResultProvider<int> projected = provider.projectedValue();
  EXPECT_EQ(provider.wrappedValue(), 1);
  EXPECT_EQ(copy.wrappedValue(), 2);
  EXPECT_EQ(projected.wrappedValue(), 3);
  EXPECT_EQ(&provider.projectedValue(), &provider);
}

TEST(ResultProvider, StaysUsableAfterAMove) {
  ResultProvider provider([] { return 3; });
  const ResultProvider moved = std::move(provider);
  EXPECT_EQ(provider.wrappedValue() + moved.wrappedValue(), 6);
}

TEST(ResultProvider, ReleasesItsFunctionWithTheLastCopy) {
  auto witness = std::make_shared<int>(7);
  {
    const ResultProvider<int> provider([witness] { return *witness; });
    const ResultProvider<int> copy = provider;
    EXPECT_EQ(witness.use_count(), 2);
  }
  EXPECT_EQ(witness.use_count(), 1);
}

TEST(ResultProvider, OverrideSlotIsEmpty) {
  const ResultProvider<int>::Storage_ storage;
  EXPECT_FALSE(storage.overrideValue.has_value());
}

}  // namespace
}  // namespace Tessaly
