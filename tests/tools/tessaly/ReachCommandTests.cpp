// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <fstream>
#include <string>

#include "tests/Support/MockService.hpp"
#include "tests/Support/OutputOf.hpp"
#include "tests/Support/PrivateBus.hpp"
#include "tests/Support/TemporaryFolder.hpp"

// Runs the command in network namespaces with the links that each test needs.

namespace Tessaly {
namespace {

using Tests::outputOf;

class ReachCommand : public ::testing::Test {
 protected:
  void SetUp() override {
    ::setenv("XDG_CONFIG_HOME", folder_.path().c_str(), 1);
    ::setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus", 1);
    ::setenv("PATH", (std::string(std::getenv("TESSALY_TEST_PROGRAMS")) + ':' + std::getenv("PATH")).c_str(), 1);
  }

  static bool canMakeNamespaces() {
    return std::system("unshare --user --net --map-root-user ip link show >/dev/null 2>&1") == 0;
  }
  /// Runs a script in a namespace without links. Returns standard output, standard error and the exit code.
  std::string inANamespace(const std::string& script) const {
    const std::string file = folder_.path() + "/script";
    std::ofstream(file) << "cd " << folder_.path() << '\n' << script;
    return outputOf("unshare --user --net --map-root-user timeout 9 sh " + file + " 2>&1; echo \"($?)\"");
  }
  static std::string run(const std::string& arguments) {
    return outputOf("2>&1 tessaly reach " + arguments + "; echo \"($?)\"");
  }

  static constexpr const char* online =
      "ip link add veth0 type veth peer name veth1\n"
      "ip address add 192.0.2.1/24 dev veth0\n"
      "ip link set veth0 up\n"
      "ip link set veth1 up\n"
      "ip route add default via 192.0.2.2\n"
      // The kernel reports the connected cable only after some time.
      "until ip -oneline link show veth0 | grep -q 'state UP'; do sleep 0.01; done\n";

  Tests::TemporaryFolder folder_;
};

#define NEED_NAMESPACES()   \
  if (!canMakeNamespaces()) \
  GTEST_SKIP() << "unshare cannot make a network namespace for this user, or there is no ip command"

TEST_F(ReachCommand, ReportsAMachineWithoutANetwork) {
  NEED_NAMESPACES();
  EXPECT_EQ(inANamespace("tessaly reach"),
            "offline, not expensive\npath: unsatisfied (kernel), not expensive (noBus)\n(0)\n");
  EXPECT_EQ(inANamespace("tessaly reach --quiet"), "(1)\n");
}

TEST_F(ReachCommand, HelpNamesTheIdentifierOfTheSetting) {
  const std::string help = run("--help");
  EXPECT_NE(help.find("tessaly defaults write <identifier> can-connect-to-host -bool false\n"), std::string::npos);
  EXPECT_EQ(help.find("every application"), std::string::npos) << help;
}

TEST_F(ReachCommand, ReportsAMachineWithANetwork) {
  NEED_NAMESPACES();
  EXPECT_EQ(inANamespace(std::string(online) + "tessaly reach"),
            "online, not expensive\npath: satisfied (kernel), not expensive (noBus)\n(0)\n");
  EXPECT_EQ(inANamespace(std::string(online) + "tessaly reach --quiet"), "(0)\n");
}

TEST_F(ReachCommand, TheSettingForcesOffline) {
  NEED_NAMESPACES();
  EXPECT_EQ(inANamespace(std::string(online) +
                         "tessaly defaults write tessaly can-connect-to-host -bool false\ntessaly reach"),
            "offline, not expensive\npath: satisfied (kernel), not expensive (noBus)\n(0)\n");
}

TEST_F(ReachCommand, WatchesPathAndSettingUntilInterrupted) {
  NEED_NAMESPACES();
  // A shell makes its background programs ignore SIGINT, so another signal ends this one.
  const std::string script = R"sh(
      lines() { until [ "$(wc -l < output)" -ge "$1" ]; do sleep 0.01; done; }
      : > output  # The program may begin after the first look.
      tessaly reach --watch > output &
      lines 1; ip link set veth1 down
      lines 2; ip link set veth1 up
      lines 3; tessaly defaults write tessaly can-connect-to-host -bool false
      lines 4; tessaly defaults write tessaly can-connect-to-host -bool true
      lines 5; kill -TERM $!; wait $!; status=$?; cat output; exit $status)sh";
  EXPECT_EQ(inANamespace(online + script),
            "online, not expensive\noffline, not expensive\nonline, not expensive\noffline, not expensive\n"
            "online, not expensive\n(0)\n");
}

TEST_F(ReachCommand, EndsWatchingWithItsReader) {
  NEED_NAMESPACES();
  const std::string script = R"sh(
      mkfifo fifo
      { tessaly reach --watch; echo $? > status; } > fifo &
      { read line; echo "$line"; } < fifo
      until [ -s status ]; do ip link set veth1 down; sleep 0.05; ip link set veth1 up; sleep 0.05; done
      cat status)sh";
  EXPECT_EQ(inANamespace(online + script), "online, not expensive\n141\n(0)\n");
}

TEST_F(ReachCommand, WaitsForTheSourceOfTheExpense) {
  const Tests::PrivateBus bus("DBUS_SYSTEM_BUS_ADDRESS");
  if (!bus.reason().empty()) GTEST_SKIP() << bus.reason();
  EXPECT_NE(run("").find("not expensive (notRunning)\n(0)"), std::string::npos);
  Tests::MockService manager(bus, "org.freedesktop.NetworkManager", "/org/freedesktop/NetworkManager",
                             "org.freedesktop.NetworkManager", {});
  ASSERT_EQ(manager.reason(), "");
  ASSERT_EQ(bus.busctl({"call", "org.freedesktop.NetworkManager", "/org/freedesktop/NetworkManager",
                        "org.freedesktop.DBus.Mock", "AddProperty", "ssv", "org.freedesktop.NetworkManager", "Metered",
                        "u", "3"}),
            0);
  EXPECT_NE(run("").find("line, expensive\npath: "), std::string::npos);
  EXPECT_NE(run("").find("), expensive (networkManager)\n(0)"), std::string::npos);
  manager.process().signal(SIGSTOP);
  EXPECT_NE(run("").find(" not expensive (noAnswer)\n(0)"), std::string::npos);
}

TEST_F(ReachCommand, WrongUsageHasItsExitCode) {
  for (const std::string arguments : {"now", "--watch --quiet", "--follow"}) {
    EXPECT_TRUE(run(arguments).ends_with("(2)\n")) << arguments;
  }
  EXPECT_TRUE(run("--help").starts_with("Usage: tessaly reach"));
  EXPECT_EQ(run(">/dev/full"), "tessaly reach: Cannot write to standard output\n(1)\n");
}

}  // namespace
}  // namespace Tessaly
