// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <csignal>

#include "Tessaly/Core/Foundation/Bundle.hpp"
#include "Tessaly/Core/Logging/OSLogStore.hpp"
#include "Tessaly/FoundationExtensions/OSLog+Extensions.hpp"

namespace {

using namespace Tessaly;

struct Exporter {};

TEST(OSLogPointOfInterest, JoinsTheBundleIdentifierAndTheSubsystem) {
  Bundle::setMain({.identifier = "app.identifier"});
  const OSLog log = OSLog::pointOfInterest("Export");
  EXPECT_EQ(log.subsystem(), "app.identifier.Export");
  EXPECT_EQ(log.category(), OSLog::Category::pointsOfInterest.rawValue());
}

TEST(OSLogPointOfInterest, TakesSignposts) {
  Bundle::setMain({.identifier = "app.identifier"});
  OSSignposter(OSLog::pointOfInterest("Export")).emitEvent("row");
  const auto entries = OSLogStore::currentProcess().entries();
  ASSERT_EQ(entries.size(), 1u);
  EXPECT_TRUE(entries[0].signpost);
  EXPECT_EQ(entries[0].subsystem(), "app.identifier.Export");
}

TEST(OSLogPointOfInterestDeathTest, StopsTheProcessWithoutABundleIdentifier) {
  EXPECT_EXIT(static_cast<void>(OSLog::pointOfInterest("Export")), testing::KilledBySignal(SIGABRT),
              "^Tessaly/OSLog\\+Extensions:10: Fatal error: Unable to get 'Bundle.main.bundleIdentifier'\nGive the "
              "program a bundle: .*\n$");
}

TEST(OSSignposterOfAType, NeedsNoBundleIdentifier) {
  EXPECT_EQ(OSSignposter("Export", Type<Exporter>()).log(), OSLog("Export", "Exporter"));
}

}  // namespace
