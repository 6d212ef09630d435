// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <iostream>
#include <string>

#include "tests/models/Exploration.hpp"
#include "tests/models/SettingsOrderModel.hpp"

namespace Tessaly::Tests {
namespace {

void expectNoViolation(const OrderModel::Bounds& bounds) {
  const Exploration result = explore(OrderModel{.bounds = bounds});
  EXPECT_EQ(result.violation, "") << result.description();
  EXPECT_GT(result.states, 5'000U);
  std::cout << result.states << " states\n";
}

void expectViolation(OrderModel::Variant variant, const OrderModel::Bounds& bounds, const std::string& violation) {
  const Exploration result = explore(OrderModel{.variant = variant, .bounds = bounds});
  EXPECT_EQ(result.violation, violation) << result.description();
}

TEST(StoreOrderModel, FullDiskReplacesNoLaterWrite) { expectNoViolation({.failures = 2, .checkpoints = 1}); }

TEST(StoreOrderModel, ListOfAnotherProgramReplacesNoLaterWrite) {
  expectNoViolation({.writes = 1, .failures = 1, .checkpoints = 1, .replacements = 2});
}

TEST(StoreOrderModel, PowerCutReplacesNoSynchronizedValueByAnEarlierOne) {
  expectNoViolation({.checkpoints = 2, .isCut = true});
}

TEST(StoreOrderModel, CatchesStoringUnderTheSharedLock) {
  expectViolation(OrderModel::Variant::storesUnderSharedLock, {.failures = 1}, "an earlier write replaces a later one");
}

TEST(StoreOrderModel, CatchesStoringOverANewerWrite) {
  expectViolation(OrderModel::Variant::storesOverNewer, {.failures = 1}, "an earlier write replaces a later one");
}

TEST(StoreOrderModel, CatchesAComparisonWithAnUnstoredValue) {
  expectViolation(OrderModel::Variant::comparesWithUnstored, {.failures = 1, .replacements = 1},
                  "an earlier write replaces a later one");
}

TEST(StoreOrderModel, CatchesAnOldJournalThatIsRemovedLast) {
  expectViolation(OrderModel::Variant::removesLast, {.checkpoints = 1, .isCut = true},
                  "a power cut replaces a synchronized value by an earlier one");
}

}  // namespace
}  // namespace Tessaly::Tests
