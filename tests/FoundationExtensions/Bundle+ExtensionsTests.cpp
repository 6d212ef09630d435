// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "Tessaly/FoundationExtensions/Bundle+Extensions.hpp"

namespace Tessaly {
namespace {

TEST(BundleExtensions, GiveTheVersionsOfTheApplication) {
  Bundle::setMain({.shortVersion = "1.2.3", .build = "42"});
  EXPECT_EQ(appVersionString(Bundle::main()), "1.2.3");
  EXPECT_EQ(buildNumber(Bundle::main()), "42");
  EXPECT_EQ(appVersion(Bundle::main()), Version(1, 2, 3, std::nullopt));
  EXPECT_FALSE(isInTestFlight(Bundle::main()));
}

TEST(BundleExtensions, EmptyBundleHasEmptyVersions) {
  Bundle::setMain({});
  EXPECT_EQ(appVersionString(Bundle::main()), "");
  EXPECT_EQ(buildNumber(Bundle::main()), "");
  EXPECT_EQ(appVersion(Bundle::main()), std::nullopt);
}

TEST(BundleExtensions, MalformedVersionIsAbsent) {
  Bundle::setMain({.shortVersion = "beta"});
  EXPECT_EQ(appVersionString(Bundle::main()), "beta");
  EXPECT_EQ(appVersion(Bundle::main()), std::nullopt);
}

}  // namespace
}  // namespace Tessaly
