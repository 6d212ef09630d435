// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <type_traits>
#include <utility>

#include "Tessaly/SettingsAndObservation/NamedResultProvider.hpp"

namespace Tessaly {
namespace {

struct Account : NamedResult {
  std::string name;
};

template <typename Provider>
concept HasAssignableValue = requires(Provider& provider) { provider.wrappedValue() = 1; };

static_assert(!HasAssignableValue<NamedResultProvider<int>>);
static_assert(
    !std::is_assignable_v<decltype(std::declval<const NamedResultProvider<int>&>().storage()->result()), int>);
static_assert(std::is_empty_v<NamedResult>);

TEST(NamedResultProvider, GivesTheValueInItsBox) {
  const NamedResultProvider provider(Account{{}, "Ada"});
  EXPECT_EQ(provider.wrappedValue().name, "Ada");
  EXPECT_EQ(&provider.projectedValue(), &provider);
}

TEST(NamedResultProvider, StaysUsableAfterAMove) {
  NamedResultProvider provider(std::string("Ada"));
  const NamedResultProvider moved = std::move(provider);
  EXPECT_EQ(provider.wrappedValue() + moved.wrappedValue(), "AdaAda");
}

TEST(NamedResultProvider, SharesItsBoxWithItsCopies) {
  auto witness = std::make_shared<int>(1);
  {
    const NamedResultProvider<std::shared_ptr<int>> provider(witness);
    const auto copy = provider;
    const auto projected = provider.projectedValue();
    EXPECT_EQ(copy.storage(), provider.storage());
    EXPECT_EQ(projected.storage(), provider.storage());
    EXPECT_EQ(witness.use_count(), 2);
    EXPECT_NE(NamedResultProvider<int>(1).storage(), NamedResultProvider<int>(1).storage());
  }
  EXPECT_EQ(witness.use_count(), 1);
}

}  // namespace
}  // namespace Tessaly
