// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "Tessaly/Platform/Network/NWPathMonitor.hpp"
#include "Tessaly/Platform/Testing/InMemoryUserDefaults.hpp"
#include "Tessaly/SystemServices/ReachabilityService.hpp"
#include "tests/Support/ContentsOf.hpp"
#include "tests/Support/PrivateBus.hpp"
#include "tests/Support/Process.hpp"
#include "tests/Support/TemporaryFolder.hpp"
#include "tests/Support/WaitUntil.hpp"
#include "tests/system/network/Namespace.hpp"

// The real NetworkManager, on a bus and in a network namespace of the test, with a connection over a pair of links.

namespace {

using namespace Tessaly;
using Source = NWPath::ExpenseSource;

class RealNetworkManager : public testing::Test {
 protected:
  void SetUp() override {
    if (!Tests::reasonForNoNamespace().empty()) GTEST_SKIP() << Tests::reasonForNoNamespace();
    if (!bus_.reason().empty()) GTEST_SKIP() << bus_.reason();
    if (!std::filesystem::exists(program)) GTEST_SKIP() << "NetworkManager is not installed";
    ASSERT_TRUE(Tests::ip("link add veth0 type veth peer name veth1\nlink set veth1 up\n"));
    const std::string profiles = folder_.path() + "/profiles";
    std::filesystem::create_directory(profiles);
    std::ofstream(folder_.path() + "/NetworkManager.conf")
        << "[main]\nplugins=keyfile\ndns=none\nrc-manager=unmanaged\nauth-polkit=false\nno-auto-default=*\n"
        << "[keyfile]\npath=" << profiles << "\n[device]\nmatch-device=*\nmanaged=1\n";
    const std::string profile = profiles + "/link.nmconnection";
    std::ofstream(profile) << "[connection]\nid=link\ntype=ethernet\ninterface-name=veth0\nmetered=1\n"
                           << "[ipv4]\nmethod=manual\naddress1=192.0.2.1/24,192.0.2.2\n[ipv6]\nmethod=disabled\n";
    ::chmod(profile.c_str(), 0600);  // It accepts no others.
  }

  void start() {
    // NetworkManager keeps its state at a fixed place, so this instance gets its own directories. It must see only the
    // links of this namespace.
    manager_ = Tests::Process({"unshare", "--mount", "sh", "-c",
                               std::string("mount -t tmpfs none /run && mount -t tmpfs none /var/lib/NetworkManager && "
                                           "mount -t sysfs -o ro none /sys; exec ") +
                                   program + " --no-daemon --config=" + folder_.path() + "/NetworkManager.conf"},
                              log());
    ASSERT_TRUE(Tests::waitUntil([] { return nmcli({"general", "status"}); })) << Tests::contentsOf(log());
  }
  void stop() { manager_.end(); }

  static bool nmcli(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"nmcli", "--wait", "8"});
    return Tests::Process(std::move(arguments)).wait() == 0;
  }
  static bool setMetered(const char* metered) {
    return nmcli({"connection", "modify", "link", "connection.metered", metered}) &&
           nmcli({"connection", "up", "link"});
  }

  static bool becomes(bool isOnline, bool isExpensive) {
    return Tests::waitUntil([=] {
      return ReachabilityService::isOnline() == isOnline && ReachabilityService::isExpensive() == isExpensive;
    });
  }
  [[nodiscard]] Source source() const { return monitor_->currentPath().expenseSource(); }
  [[nodiscard]] std::string log() const { return folder_.path() + "/log"; }

  static constexpr const char* program = "/usr/sbin/NetworkManager";

  const UserDefaultsInstallation settings_{InMemoryUserDefaults::make()};
  Tests::PrivateBus bus_{"DBUS_SYSTEM_BUS_ADDRESS"};
  Tests::Process manager_;
  Tests::TemporaryFolder folder_;  // Destroyed before the bus, for the reason that `PrivateBus` gives.
  const std::shared_ptr<NWPathMonitor> monitor_ = NWPathMonitor::make();
};

TEST_F(RealNetworkManager, ConnectionIsOnlineWithItsExpense) {
  ASSERT_NO_FATAL_FAILURE(start());
  EXPECT_TRUE(becomes(true, true));
  EXPECT_EQ(source(), Source::networkManager);
  ASSERT_TRUE(setMetered("no"));
  EXPECT_TRUE(becomes(true, false));
  EXPECT_EQ(source(), Source::networkManager);
  ASSERT_TRUE(setMetered("yes"));
  EXPECT_TRUE(becomes(true, true));
  ASSERT_TRUE(nmcli({"connection", "down", "link"}));
  EXPECT_TRUE(becomes(false, false));
}

TEST_F(RealNetworkManager, KilledDaemonMeansNotExpensive) {
  ASSERT_NO_FATAL_FAILURE(start());
  EXPECT_TRUE(becomes(true, true));
  stop();
  EXPECT_TRUE(becomes(true, false));
  EXPECT_TRUE(Tests::waitUntil([this] { return source() == Source::notRunning; }));
  ASSERT_NO_FATAL_FAILURE(start());
  EXPECT_TRUE(Tests::waitUntil([this] { return source() == Source::networkManager; })) << monitor_->currentPath();
  // NetworkManager found the link in use, and treats it as that of another program.
  ASSERT_TRUE(nmcli({"connection", "up", "link"}));
  EXPECT_TRUE(becomes(true, true));
}

}  // namespace
