// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <memory>

#include "Tessaly/Core/Logging/LogConfiguration.hpp"
#include "Tessaly/Core/Logging/detail/PlatformLog.hpp"
#include "Tessaly/Platform/Testing/RecordingLogBackend.hpp"

namespace {

using namespace Tessaly;

TEST(PlatformLog, NeedsNoIdentifier) { EXPECT_EQ(detail::platformLog("MainQueue"), OSLog("Tessaly", "MainQueue")); }

TEST(PlatformLog, JoinsTheFirstKnownIdentifier) {
  detail::setPlatformLogIdentifier("app.identifier");
  EXPECT_EQ(detail::platformLog("MainQueue"), OSLog("app.identifier.Tessaly", "MainQueue"));
  detail::setPlatformLogIdentifier("other");
  EXPECT_EQ(detail::platformLog("MainQueue"), OSLog("app.identifier.Tessaly", "MainQueue"));
}

TEST(PlatformLog, WritesAPublicError) {
  const auto backend = std::make_shared<RecordingLogBackend>();
  const LogBackendInstallation installation(backend);
  detail::logPlatformError("MainQueue", "Nobody drains the main queue");
  const auto records = backend->records();
  ASSERT_EQ(records.size(), 1u);
  EXPECT_EQ(records[0].type, OSLogType::error);
  EXPECT_EQ(records[0].subsystem, "Tessaly");
  EXPECT_EQ(records[0].category, "MainQueue");
  EXPECT_EQ(records[0].format, "%{public}s");
  EXPECT_EQ(records[0].composedMessage, "Nobody drains the main queue");
}

TEST(PlatformLog, WritesNothingIfErrorsAreDisabled) {
  const auto backend = std::make_shared<RecordingLogBackend>();
  const LogBackendInstallation installation(backend);
  LogConfiguration::setEnabled(OSLogType::error, LogSwitch::off);
  detail::logPlatformError("MainQueue", "Nobody drains the main queue");
  EXPECT_TRUE(backend->records().empty());
}

}  // namespace
