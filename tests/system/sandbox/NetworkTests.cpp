// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "Tessaly/Platform/Linux/LinuxNetworkBackend.hpp"
#include "Tessaly/Platform/Network/NWPathMonitor.hpp"
#include "Tessaly/Platform/Testing/InMemoryUserDefaults.hpp"
#include "Tessaly/SystemServices/ReachabilityService.hpp"
#include "tests/Support/MockPortal.hpp"
#include "tests/Support/PrivateBus.hpp"
#include "tests/Support/WaitUntil.hpp"
#include "tests/Support/WakeUps.hpp"
#include "tests/system/sandbox/SandboxRoot.hpp"

// The network path in a sandbox, with the portal on a bus of the test.

namespace {

using namespace Tessaly;
using Tests::MockPortal;
using Tests::waitUntil;
using Source = NWPath::ExpenseSource;
using Status = NWPath::Status;

/// Makes the kernel refuse all later netlink sockets of this thread and of the threads and processes that it starts.
bool refuseNetlink() {
  sock_filter filter[] = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_socket, 0, 3),
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, args[0])),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, AF_NETLINK, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EAFNOSUPPORT),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
  };
  const sock_fprog program{.len = static_cast<unsigned short>(std::size(filter)), .filter = filter};
  return ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 && ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

class SandboxedNetwork : public testing::Test {
 protected:
  static constexpr const char* name = "org.freedesktop.portal.Desktop";
  static constexpr const char* object = "/org/freedesktop/portal/desktop";
  static constexpr const char* interface = "org.freedesktop.portal.NetworkMonitor";

  void SetUp() override {
    if (!Tests::reasonForNoSandbox().empty()) GTEST_SKIP() << Tests::reasonForNoSandbox();
    if (!session_.reason().empty()) GTEST_SKIP() << session_.reason();
    ::setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus", 1);
  }

  /// The method `GetStatus` with these entries, such as "'available': True".
  static MockPortal::Method status(const std::string& entries) {
    return {"GetStatus", "", "a{sv}", "ret = dbus.Dictionary({" + entries + "}, signature='sv')"};
  }
  static MockPortal::Method status(bool isAvailable, bool isMetered) {
    return status(std::string("'connectivity': dbus.UInt32(4), 'available': ") + (isAvailable ? "True" : "False") +
                  ", 'metered': " + (isMetered ? "True" : "False"));
  }
  std::unique_ptr<MockPortal> portal(MockPortal::Method method) {
    auto portal = std::make_unique<MockPortal>(session_, "NetworkMonitor", std::vector{std::move(method)});
    EXPECT_EQ(portal->reason(), "");
    return portal;
  }
  /// Gives the portal another status, and announces the change.
  void change(MockPortal& portal, const MockPortal::Method& method) {
    portal.set(method);
    EXPECT_EQ(session_.busctl({"call", name, object, "org.freedesktop.DBus.Mock", "EmitSignal", "sssav", interface,
                               "changed", "", "0"}),
              0);
  }
  static bool becomes(const NetworkBackend& backend, Source source, bool isExpensive = false) {
    return waitUntil([&] {
      return backend.currentPath().expenseSource() == source && backend.currentPath().isExpensive() == isExpensive;
    });
  }
  static bool becomes(const NetworkBackend& backend, Status status, NWPath::StatusSource source) {
    return waitUntil(
        [&] { return backend.currentPath().status() == status && backend.currentPath().statusSource() == source; });
  }

  Tests::PrivateBus session_{"DBUS_SESSION_BUS_ADDRESS"};
};

TEST_F(SandboxedNetwork, ExpenseComesFromThePortalAndStatusFromTheKernel) {
  const UserDefaultsInstallation installation(InMemoryUserDefaults::make());
  const auto portal = this->portal(status(true, true));
  EXPECT_TRUE(waitUntil([] { return ReachabilityService::isExpensive(); }));
  const NWPath path = NWPathMonitor::make()->currentPath();
  EXPECT_EQ(path.expenseSource(), Source::portal);
  EXPECT_EQ(path.statusSource(), NWPath::StatusSource::kernel);
  change(*portal, status(true, false));
  EXPECT_TRUE(waitUntil([] { return !ReachabilityService::isExpensive(); }));
}

TEST_F(SandboxedNetwork, PortalGivesTheStatusThatTheKernelRefuses) {
  const auto portal = this->portal(status(true, false));
  ASSERT_TRUE(refuseNetlink());
  const auto backend = LinuxNetworkBackend::make();
  EXPECT_TRUE(becomes(*backend, Status::satisfied, NWPath::StatusSource::portal));
  change(*portal, status(false, false));
  EXPECT_TRUE(becomes(*backend, Status::unsatisfied, NWPath::StatusSource::portal));
  portal->stop();
  EXPECT_TRUE(becomes(*backend, Status::unknown, NWPath::StatusSource::refused));
  EXPECT_EQ(backend->currentPath().expenseSource(), Source::notRunning);
}

TEST_F(SandboxedNetwork, MissingBusAndPortalAreReported) {
  const auto withoutPortal = LinuxNetworkBackend::make();
  EXPECT_TRUE(becomes(*withoutPortal, Source::notRunning));
  session_.daemon().end();
  EXPECT_TRUE(becomes(*withoutPortal, Source::noBus));
  EXPECT_TRUE(becomes(*LinuxNetworkBackend::make(), Source::noBus));
}

TEST_F(SandboxedNetwork, PortalIsStartedOnDemand) {
  session_.addService(name, std::string("/usr/bin/timeout 20 /usr/bin/python3 -m dbusmock ") + name + ' ' + object +
                                " org.freedesktop.portal.Other");
  EXPECT_TRUE(becomes(*LinuxNetworkBackend::make(), Source::wrongAnswer));
  EXPECT_TRUE(session_.hasOwner(name));
}

TEST_F(SandboxedNetwork, PortalThatDiesAndReturnsIsAskedAgain) {
  const auto backend = LinuxNetworkBackend::make();
  const auto portal = this->portal(status(true, true));
  EXPECT_TRUE(becomes(*backend, Source::portal, true));
  portal->stop();
  EXPECT_TRUE(becomes(*backend, Source::notRunning));
  portal->start();
  EXPECT_TRUE(becomes(*backend, Source::portal, true));
}

TEST_F(SandboxedNetwork, RefusalIsReported) {
  const auto portal = this->portal({"GetStatus", "", "a{sv}",
                                    "raise dbus.exceptions.DBusException('not available inside the sandbox', "
                                    "name='org.freedesktop.portal.Error.NotAllowed')"});
  const auto backend = LinuxNetworkBackend::make();
  EXPECT_TRUE(becomes(*backend, Source::wrongAnswer));
  change(*portal, status(true, true));
  EXPECT_TRUE(becomes(*backend, Source::portal, true));
}

TEST_F(SandboxedNetwork, PortalWithoutTheMethodIsReported) {
  const MockPortal portal(session_, "Inhibit", {});
  ASSERT_EQ(portal.reason(), "");
  EXPECT_TRUE(becomes(*LinuxNetworkBackend::make(), Source::wrongAnswer));
}

TEST_F(SandboxedNetwork, AnswersOfOtherTypesAreReported) {
  const auto portal = this->portal({"GetStatus", "", "s", "ret = 'metered'"});
  ASSERT_TRUE(refuseNetlink());
  const auto backend = LinuxNetworkBackend::make();
  EXPECT_TRUE(becomes(*backend, Source::wrongAnswer));
  for (const char* const entries : {"'metered': dbus.UInt32(1), 'available': True", "", "'metered': 'yes'",
                                    "'available': dbus.Int32(1)", "'connectivity': dbus.UInt32(4)"}) {
    change(*portal, status(true, true));
    EXPECT_TRUE(becomes(*backend, Source::portal, true));
    change(*portal, status(entries));
    EXPECT_TRUE(becomes(*backend, Source::wrongAnswer)) << entries;
    EXPECT_EQ(backend->currentPath().status(), Status::unknown) << entries;
  }
  change(*portal, status("'available': True"));
  EXPECT_TRUE(becomes(*backend, Status::satisfied, NWPath::StatusSource::portal));
  EXPECT_EQ(backend->currentPath().expenseSource(), Source::wrongAnswer);
}

TEST_F(SandboxedNetwork, SilentPortalDelaysNoCallerAndMayAnswerLate) {
  const auto portal = this->portal(status(true, true));
  portal->process().signal(SIGSTOP);
  const auto backend = LinuxNetworkBackend::make();
  EXPECT_EQ(backend->currentPath().expenseSource(), Source::asking);
  EXPECT_TRUE(becomes(*backend, Source::noAnswer));
  portal->process().signal(SIGCONT);
  EXPECT_TRUE(becomes(*backend, Source::portal, true));
}

TEST_F(SandboxedNetwork, TwoFollowersEndInEitherOrder) {
  const auto portal = this->portal(status(true, true));
  for (const std::size_t first : {0U, 1U}) {
    std::shared_ptr<LinuxNetworkBackend> backends[] = {LinuxNetworkBackend::make(), LinuxNetworkBackend::make()};
    for (const auto& backend : backends) EXPECT_TRUE(becomes(*backend, Source::portal, true));
    backends[first].reset();
    change(*portal, status(true, false));
    EXPECT_TRUE(becomes(*backends[1 - first], Source::portal, false));
    change(*portal, status(true, true));
    EXPECT_TRUE(becomes(*backends[1 - first], Source::portal, true));
  }
}

TEST_F(SandboxedNetwork, FollowerSleepsWithoutChanges) {
  const auto portal = this->portal(status(true, true));
  const auto backend = LinuxNetworkBackend::make();
  EXPECT_TRUE(becomes(*backend, Source::portal, true));
  EXPECT_TRUE(Tests::libraryStaysAsleep(std::chrono::milliseconds(2500)));
}

}  // namespace
