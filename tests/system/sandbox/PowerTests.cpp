// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "Tessaly/Core/Tasks/SyncWait.hpp"
#include "Tessaly/Platform/Linux/BusPower.hpp"
#include "Tessaly/SystemServices/DisplayWakefulness.hpp"
#include "Tessaly/SystemServices/SleepHandler.hpp"
#include "tests/Support/MockPortal.hpp"
#include "tests/Support/PrivateBus.hpp"
#include "tests/Support/WaitUntil.hpp"
#include "tests/system/sandbox/SandboxRoot.hpp"

// Assertions in a sandbox: the portal holds them, on a bus of the test.

namespace {

using namespace Tessaly;
using Tests::MockPortal;
using Tests::waitUntil;
using Attempt = PowerStatus::Attempt;

class SandboxedPower : public testing::Test {
 protected:
  void SetUp() override {
    if (!Tests::reasonForNoSandbox().empty()) GTEST_SKIP() << Tests::reasonForNoSandbox();
    if (!session_.reason().empty()) GTEST_SKIP() << session_.reason();
    ::setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus", 1);
  }

  std::unique_ptr<MockPortal> portal(const std::string& code = MockPortal::respond(0)) {
    auto portal = std::make_unique<MockPortal>(session_, "Inhibit", std::vector{MockPortal::inhibit(code)});
    EXPECT_EQ(portal->reason(), "");
    return portal;
  }
  std::int32_t create(BusPower& power, const char* reason = "Playing") {
    return power.createAssertion("NoDisplaySleepAssertion", 255, reason, identifier_);
  }
  std::int32_t create() { return create(power_); }
  [[nodiscard]] PowerService service() const { return power_.status().service; }
  /// The outcome of the first question, which is for the portal.
  [[nodiscard]] Attempt first() const { return power_.status().attempts.at(0); }
  /// The outcomes if the portal has this one and no other service exists.
  static std::vector<Attempt> only(PowerProblem problem, const std::string& message = "") {
    return {{PowerService::portal, problem, message},
            {PowerService::screenSaver, PowerProblem::noOwner, ""},
            {PowerService::sessionManager, PowerProblem::noOwner, ""},
            {PowerService::login, PowerProblem::noBus, ""}};
  }
  static std::ptrdiff_t count(const MockPortal& portal, const std::string& beginning) {
    const std::vector<std::string> calls = portal.calls();
    return std::ranges::count_if(calls, [&](const std::string& call) { return call.starts_with(beginning); });
  }

  Tests::PrivateBus session_{"DBUS_SESSION_BUS_ADDRESS"};
  BusPower power_;
  std::uint32_t identifier_ = 0;
};

TEST_F(SandboxedPower, PortalGetsReasonAndIdleFlagAndIsClosed) {
  const auto portal = this->portal();
  EXPECT_TRUE(SleepHandler::shared()->disableScreenSleep("Playing a film"));
  EXPECT_EQ(count(*portal, "Inhibit \"\" 8 {\"reason\": \"Playing a film\", \"handle_token\": \"tessaly0\"}"), 1);
  EXPECT_EQ(PowerBackend::current().status(),
            (PowerStatus{.service = PowerService::portal, .attempts = {{.service = PowerService::portal}}}));
  EXPECT_TRUE(SleepHandler::shared()->enableScreenSleep());
  EXPECT_EQ(portal->calls().back(), "Close");
  EXPECT_EQ(PowerBackend::current().status().service, PowerService::none);
}

TEST_F(SandboxedPower, WakefulnessOfAScopeUsesThePortal) {
  const auto portal = this->portal();
  {
    const DisplayWakefulness awake("Comparing files");
    EXPECT_TRUE(syncWait([&] { return awake.isEffective(); }));
    EXPECT_EQ(count(*portal, "Close"), 0);
  }
  EXPECT_TRUE(waitUntil([&] { return count(*portal, "Close") == 1; }));
}

TEST_F(SandboxedPower, MissingPortalIsAFailureWithAReason) {
  EXPECT_NE(create(), 0);
  EXPECT_EQ(power_.status(), (PowerStatus{.attempts = only(PowerProblem::noOwner)}));
  EXPECT_FALSE(SleepHandler::shared()->disableScreenSleep("Playing"));
}

TEST_F(SandboxedPower, PortalIsStartedOnDemand) {
  session_.addService("org.freedesktop.portal.Desktop",
                      "/usr/bin/timeout 20 /usr/bin/python3 -m dbusmock org.freedesktop.portal.Desktop "
                      "/org/freedesktop/portal/desktop org.freedesktop.portal.Other");
  EXPECT_NE(create(), 0);
  EXPECT_EQ(first().problem, PowerProblem::refused);  // The started program has no such method.
  EXPECT_TRUE(session_.hasOwner("org.freedesktop.portal.Desktop"));
}

TEST_F(SandboxedPower, MissingInterfaceIsAFailureWithAReason) {
  const MockPortal portal(session_, "NetworkMonitor", {});
  ASSERT_EQ(portal.reason(), "");
  EXPECT_NE(create(), 0);
  EXPECT_EQ(first().problem, PowerProblem::refused);
  EXPECT_NE(first().message, "");
}

TEST_F(SandboxedPower, ErrorIsAFailureWithItsText) {
  const auto portal = this->portal("raise dbus.exceptions.DBusException('not you', name='org.example.No')");
  EXPECT_NE(create(), 0);
  EXPECT_EQ(power_.status(), (PowerStatus{.attempts = only(PowerProblem::refused, "not you")}));
}

TEST_F(SandboxedPower, RefusingResponseIsAFailureWithItsNumber) {
  for (const int response : {1, 2, 77}) {
    const auto portal = this->portal(MockPortal::respond(response));
    EXPECT_NE(create(), 0);
    EXPECT_EQ(first(),
              (Attempt{PowerService::portal, PowerProblem::refused, "the response is " + std::to_string(response)}));
    EXPECT_EQ(service(), PowerService::none);
  }
}

TEST_F(SandboxedPower, MissingResponseIsAFailure) {
  const auto portal = this->portal("pass");
  EXPECT_NE(create(), 0);
  EXPECT_EQ(power_.status(), (PowerStatus{.attempts = only(PowerProblem::notAnswering)}));
}

TEST_F(SandboxedPower, ResponseToAnotherRequestIsIgnored) {
  const auto portal = this->portal(
      "self.AddObject(path + '2', 'org.freedesktop.portal.Request', {}, [])\n"
      "other = objects[path + '2']\n" +
      std::string("other.EmitSignal('org.freedesktop.portal.Request', 'Response', 'ua{sv}', [dbus.UInt32(2), {}])\n") +
      MockPortal::respond(0));
  EXPECT_EQ(create(), 0);
  EXPECT_EQ(service(), PowerService::portal);
}

TEST_F(SandboxedPower, LateResponseIsAwaited) {
  const auto portal = this->portal(
      "from gi.repository import GLib\n"
      "GLib.timeout_add(500, lambda request=request: request.EmitSignal('org.freedesktop.portal.Request', 'Response', "
      "'ua{sv}', "
      "[dbus.UInt32(0), {}]))\n");
  EXPECT_EQ(create(), 0);
  EXPECT_EQ(service(), PowerService::portal);
}

TEST_F(SandboxedPower, AnswersOfOtherTypesAreFailures) {
  const auto portal = this->portal();
  portal->set({"Inhibit", "sua{sv}", "s", "ret = '/org/example'"});
  EXPECT_NE(create(), 0);
  EXPECT_EQ(first(), (Attempt{PowerService::portal, PowerProblem::wrongReply, "the answer is of another type"}));
  portal->set({"Inhibit", "sua{sv}", "", ""});
  EXPECT_NE(create(), 0);
  EXPECT_EQ(first(), (Attempt{PowerService::portal, PowerProblem::wrongReply, "the answer ends too early"}));
  portal->set(MockPortal::inhibit("request.EmitSignal('org.freedesktop.portal.Request', 'Response', 's', ['fine'])"));
  EXPECT_NE(create(), 0);
  EXPECT_EQ(first(), (Attempt{PowerService::portal, PowerProblem::wrongReply, "the answer is of another type"}));
  portal->set(MockPortal::inhibit("request.EmitSignal('org.freedesktop.portal.Request', 'Response', '', [])"));
  EXPECT_NE(create(), 0);
  EXPECT_EQ(first(), (Attempt{PowerService::portal, PowerProblem::wrongReply, "the answer ends too early"}));
}

TEST_F(SandboxedPower, PortalThatDiesAndReturnsHoldsAgain) {
  const auto portal = this->portal();
  ASSERT_EQ(create(), 0);
  portal->stop();
  EXPECT_TRUE(waitUntil([this] { return service() == PowerService::none; }));
  EXPECT_EQ(power_.status().attempts, only(PowerProblem::noOwner));
  portal->start();
  ASSERT_EQ(portal->reason(), "");
  EXPECT_TRUE(waitUntil([this] { return service() == PowerService::portal; }));
  EXPECT_EQ(power_.releaseAssertion(identifier_), 0);
  EXPECT_EQ(portal->calls().back(), "Close");
}

TEST_F(SandboxedPower, PortalThatDiesDuringTheQuestionIsAFailure) {
  const auto portal = this->portal("pass");
  std::thread killer([&] {
    waitUntil([&] { return count(*portal, "Inhibit") > 0; });
    portal->stop();
  });
  EXPECT_NE(create(), 0);
  killer.join();
  EXPECT_EQ(first().problem, PowerProblem::notAnswering);
}

TEST_F(SandboxedPower, PermittedServiceTakesOverFromALostPortal) {
  const auto portal = this->portal();
  const Tests::MockService saver(session_, "org.freedesktop.ScreenSaver", "/org/freedesktop/ScreenSaver",
                                 "org.freedesktop.ScreenSaver",
                                 {{"Inhibit", "ss", "u", "ret = dbus.UInt32(7)"}, {"UnInhibit", "u", "", ""}});
  ASSERT_EQ(saver.reason(), "");
  ASSERT_EQ(create(), 0);
  EXPECT_EQ(service(), PowerService::portal);
  portal->stop();
  EXPECT_TRUE(waitUntil([this] { return service() == PowerService::screenSaver; }));
  EXPECT_EQ(saver.calls().back(), "Inhibit \"org.example.player\" \"Playing\"");
  EXPECT_EQ(power_.releaseAssertion(identifier_), 0);
}

TEST_F(SandboxedPower, TwoHoldersEndInEitherOrder) {
  const auto portal = this->portal();
  for (const bool isFirstReleasedFirst : {true, false}) {
    std::uint32_t one = 0;
    std::uint32_t two = 0;
    BusPower other;
    ASSERT_EQ(power_.createAssertion("NoDisplaySleepAssertion", 255, "One", one), 0);
    ASSERT_EQ(other.createAssertion("NoDisplaySleepAssertion", 255, "Two", two), 0);
    const std::ptrdiff_t closed = count(*portal, "Close");
    EXPECT_EQ((isFirstReleasedFirst ? power_ : other).releaseAssertion(isFirstReleasedFirst ? one : two), 0);
    EXPECT_EQ(count(*portal, "Close"), closed + 1);
    EXPECT_EQ((isFirstReleasedFirst ? other : power_).status().service, PowerService::portal);
    EXPECT_EQ((isFirstReleasedFirst ? other : power_).releaseAssertion(isFirstReleasedFirst ? two : one), 0);
    EXPECT_EQ(count(*portal, "Close"), closed + 2);
  }
}

TEST_F(SandboxedPower, EveryOrderOfEndsSucceeds) {
  auto portal = this->portal();
  ASSERT_EQ(create(), 0);
  portal->stop();
  EXPECT_EQ(power_.releaseAssertion(identifier_), 0);  // After the portal.
  portal->start();
  ASSERT_EQ(create(), 0);
  session_.daemon().end();
  EXPECT_EQ(power_.releaseAssertion(identifier_), 0);  // After the bus.
  EXPECT_NE(power_.releaseAssertion(identifier_), 0);
  EXPECT_EQ(service(), PowerService::none);
}

TEST_F(SandboxedPower, HoldsAgainAfterTheBusReturned) {
  auto portal = this->portal();
  ASSERT_EQ(create(), 0);
  session_.daemon().end();
  portal->stop();
  EXPECT_TRUE(waitUntil([this] { return service() == PowerService::none; }));
  session_.start();
  ASSERT_EQ(session_.reason(), "");
  portal->start();
  EXPECT_TRUE(waitUntil([this] { return service() == PowerService::portal; }));
  EXPECT_EQ(power_.releaseAssertion(identifier_), 0);
}

TEST_F(SandboxedPower, RefusedEndKeepsTheAssertion) {
  const auto portal = this->portal(
      "request.AddMethod('org.freedesktop.portal.Request', 'Close', '', '', "
      "'raise dbus.exceptions.DBusException(\"no\", name=\"org.example.No\")')\n" +
      MockPortal::respond(0));
  ASSERT_EQ(create(), 0);
  EXPECT_NE(power_.releaseAssertion(identifier_), 0);
  EXPECT_EQ(service(), PowerService::portal);
}

TEST_F(SandboxedPower, HundredAssertionsLeaveNoDescriptor) {
  const auto portal = this->portal();
  const auto descriptors = [] { return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}); };
  const std::ptrdiff_t before = descriptors();
  for (int i = 0; i < 100; ++i) {
    ASSERT_EQ(create(), 0);
    ASSERT_EQ(power_.releaseAssertion(identifier_), 0);
  }
  EXPECT_TRUE(waitUntil([&] { return descriptors() == before; }));
  EXPECT_EQ(count(*portal, "Inhibit"), 100);
  EXPECT_EQ(count(*portal, "Close"), 100);
}

}  // namespace
