// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "tests/Support/MockPortal.hpp"
#include "tests/Support/OutputOf.hpp"
#include "tests/Support/PrivateBus.hpp"
#include "tests/system/sandbox/SandboxRoot.hpp"

// The command-line companion in a sandbox.

namespace {

using namespace Tessaly::Tests;

class SandboxedCommand : public testing::Test {
 protected:
  void SetUp() override {
    if (!reasonForNoSandbox().empty()) GTEST_SKIP() << reasonForNoSandbox();
    if (!session_.reason().empty()) GTEST_SKIP() << session_.reason();
    ::setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus", 1);
  }
  /// Standard output and error of the command.
  static std::string run(const std::string& arguments) {
    return outputOf(std::string(std::getenv("TESSALY_TEST_PROGRAMS")) + "/tessaly " + arguments + " 2>&1");
  }

  PrivateBus session_{"DBUS_SESSION_BUS_ADDRESS"};
};

TEST_F(SandboxedCommand, AwakeNamesThePortal) {
  EXPECT_NE(run("awake true").find("(the portal: is not running; "), std::string::npos);
  const MockPortal portal(session_, "Inhibit", {MockPortal::inhibit(MockPortal::respond(0))});
  ASSERT_EQ(portal.reason(), "");
  EXPECT_EQ(run("awake true"), "");
}

TEST_F(SandboxedCommand, ReachNamesThePortal) {
  const MockPortal portal(session_, "NetworkMonitor",
                          {{"GetStatus", "", "a{sv}", "ret = dbus.Dictionary({'metered': True}, signature='sv')"}});
  ASSERT_EQ(portal.reason(), "");
  EXPECT_NE(run("reach").find("), expensive (portal)\n"), std::string::npos);
}

}  // namespace
