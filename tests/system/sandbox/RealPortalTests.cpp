// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "Tessaly/Platform/Linux/BusPower.hpp"
#include "Tessaly/Platform/Linux/LinuxNetworkBackend.hpp"
#include "tests/Support/ContentsOf.hpp"
#include "tests/Support/MockService.hpp"
#include "tests/Support/PrivateBus.hpp"
#include "tests/Support/Process.hpp"
#include "tests/Support/WaitUntil.hpp"
#include "tests/system/sandbox/SandboxRoot.hpp"

// The real portal on a bus of the test. Only the desktop behind it is a stand-in.

namespace {

using namespace Tessaly;
using Tests::waitUntil;

class RealPortal : public testing::Test {
 protected:
  static constexpr const char* program = "/usr/libexec/xdg-desktop-portal";
  static constexpr const char* store = "/usr/libexec/xdg-permission-store";

  void SetUp() override {
    if (!Tests::reasonForNoSandbox().empty()) GTEST_SKIP() << Tests::reasonForNoSandbox();
    if (!session_.reason().empty()) GTEST_SKIP() << session_.reason();
    if (::access(program, X_OK) != 0) GTEST_SKIP() << "xdg-desktop-portal is not installed";
    ASSERT_EQ(desktop_.reason(), "");
    const std::string& directory = session_.folder();
    std::ofstream(directory + "/test.portal")
        << "[portal]\nDBusName=" << desktopName << "\nInterfaces=org.freedesktop.impl.portal.Inhibit;\nUseIn=test\n";
    std::ofstream(directory + "/portals.conf") << "[preferred]\ndefault=test\n";
    // Newer portals look for the process of the sandbox, by the identifier in the sandbox's file.
    std::filesystem::create_directories(directory + "/.flatpak/1");
    std::ofstream(directory + "/.flatpak/1/bwrapinfo.json") << "{\"child-pid\": " << ::getpid() << "}\n";
    ::setenv("XDG_RUNTIME_DIR", directory.c_str(), 1);
    ::setenv("XDG_DESKTOP_PORTAL_DIR", directory.c_str(), 1);
    ::setenv("XDG_CURRENT_DESKTOP", "test", 1);
    ::setenv("XDG_DATA_HOME", directory.c_str(), 1);
    ::setenv("GSETTINGS_BACKEND", "memory", 1);
    ::setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus", 1);
    permissions_ = Tests::Process({store}, directory + "/permissions.log");
    ASSERT_TRUE(waitUntil([this] { return session_.hasOwner("org.freedesktop.impl.portal.PermissionStore"); }));
    start();
  }

  void start() {
    const std::string log = session_.folder() + "/portal.log";
    portal_ = Tests::Process({program, "--verbose"}, log);
    ASSERT_TRUE(waitUntil([this] { return session_.hasOwner("org.freedesktop.portal.Desktop"); }))
        << Tests::contentsOf(log);
  }
  std::int32_t create() {
    return power_.createAssertion("NoDisplaySleepAssertion", 255, "Playing a film", identifier_);
  }
  /// The calls that reached the desktop.
  [[nodiscard]] std::string calls() const {
    std::string text;
    for (const std::string& call : desktop_.calls()) text += call + '\n';
    return text;
  }

  static constexpr const char* desktopName = "org.freedesktop.impl.portal.desktop.test";
  static constexpr const char* object =
      "self.AddObject(args[0], 'org.freedesktop.impl.portal.Request', {}, [('Close', '', '', '')])";

  Tests::PrivateBus session_{"DBUS_SESSION_BUS_ADDRESS"};
  Tests::MockService desktop_{session_,
                              desktopName,
                              "/org/freedesktop/portal/desktop",
                              "org.freedesktop.impl.portal.Inhibit",
                              {{"Inhibit", "ossua{sv}", "", object}}};
  Tests::Process permissions_;
  Tests::Process portal_;
  BusPower power_;
  std::uint32_t identifier_ = 0;
};

TEST_F(RealPortal, PassesTheInhibitionOnForTheApplication) {
  ASSERT_EQ(create(), 0) << power_.status().attempts.at(0).message;
  EXPECT_EQ(power_.status().service, PowerService::portal);
  EXPECT_NE(calls().find("\"org.example.player\" \"\" 8 {\"reason\": \"Playing a film\"}"), std::string::npos)
      << calls();
  EXPECT_EQ(power_.releaseAssertion(identifier_), 0);
  EXPECT_TRUE(waitUntil([this] { return calls().ends_with("Close\n"); })) << calls();
}

TEST_F(RealPortal, RefusalOfTheDesktopIsAFailure) {
  desktop_.set({"Inhibit", "ossua{sv}", "", "raise dbus.exceptions.DBusException('no', name='org.example.No')"});
  EXPECT_NE(create(), 0);
  EXPECT_EQ(power_.status().attempts.at(0),
            (PowerStatus::Attempt{PowerService::portal, PowerProblem::refused, "the response is 2"}));
}

TEST_F(RealPortal, RefusalOfTheUserIsAFailure) {
  ASSERT_EQ(
      session_.busctl({"call", "org.freedesktop.impl.portal.PermissionStore",
                       "/org/freedesktop/impl/portal/PermissionStore", "org.freedesktop.impl.portal.PermissionStore",
                       "SetPermission", "sbssas", "inhibit", "true", "inhibit", "org.example.player", "1", "logout"}),
      0);
  EXPECT_NE(create(), 0);
  EXPECT_EQ(power_.status().attempts.at(0),
            (PowerStatus::Attempt{PowerService::portal, PowerProblem::notAnswering, ""}));
  EXPECT_EQ(calls().find("film"), std::string::npos) << calls();
}

TEST_F(RealPortal, RestartedPortalHoldsAgainAfterOneQuestion) {
  ASSERT_EQ(create(), 0);
  portal_.end();
  EXPECT_TRUE(waitUntil([this] { return power_.status().service == PowerService::none; }));
  start();
  EXPECT_TRUE(waitUntil([this] { return power_.status().service == PowerService::portal; }));
  const std::vector<std::string> calls = desktop_.calls();
  EXPECT_EQ(std::ranges::count_if(calls, [](const auto& call) { return call.starts_with("Inhibit"); }), 2);
  EXPECT_EQ(power_.releaseAssertion(identifier_), 0);
}

TEST_F(RealPortal, EndOfTheConnectionEndsTheInhibition) {
  {
    BusPower power;
    ASSERT_EQ(power.createAssertion("NoDisplaySleepAssertion", 255, "Playing", identifier_), 0);
  }
  EXPECT_TRUE(waitUntil([this] { return calls().find("Close") != std::string::npos; })) << calls();
}

TEST_F(RealPortal, GivesTheExpenseOfTheNetwork) {
  const auto backend = LinuxNetworkBackend::make();
  EXPECT_TRUE(waitUntil([&] { return backend->currentPath().expenseSource() == NWPath::ExpenseSource::portal; }))
      << backend->currentPath() << '\n'
      << Tests::contentsOf(session_.folder() + "/portal.log");
}

}  // namespace
