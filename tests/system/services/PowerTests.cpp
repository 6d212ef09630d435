// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <systemd/sd-bus.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "Tessaly/Platform/Linux/BusPower.hpp"
#include "Tessaly/SystemServices/SleepHandler.hpp"
#include "tests/Support/ContentsOf.hpp"
#include "tests/Support/Impostor.hpp"
#include "tests/Support/MockService.hpp"
#include "tests/Support/PrivateBus.hpp"
#include "tests/Support/WaitUntil.hpp"
#include "tests/Support/WakeUps.hpp"

// Assertions that services hold on buses of the test: stand-ins for the desktop's services, and the real login manager.

namespace {

using namespace Tessaly;
using Tests::waitUntil;
using Calls = std::vector<std::string>;

class PowerTest : public testing::Test {
 protected:
  void SetUp() override {
    if (!session_.reason().empty()) GTEST_SKIP() << session_.reason();
    if (!system_.reason().empty()) GTEST_SKIP() << system_.reason();
  }

  static constexpr const char* cookies = "ret = dbus.UInt32(7)";
  std::unique_ptr<Tests::MockService> screenSaver(std::string code = cookies, std::string output = "u") {
    return std::make_unique<Tests::MockService>(
        session_, "org.freedesktop.ScreenSaver", "/org/freedesktop/ScreenSaver", "org.freedesktop.ScreenSaver",
        std::vector<Tests::MockService::Method>{{"Inhibit", "ss", output, code}, {"UnInhibit", "u", "", ""}});
  }
  std::unique_ptr<Tests::MockService> sessionManager() {
    return std::make_unique<Tests::MockService>(
        session_, "org.gnome.SessionManager", "/org/gnome/SessionManager", "org.gnome.SessionManager",
        std::vector<Tests::MockService::Method>{{"Inhibit", "susu", "u", "ret = dbus.UInt32(9)"},
                                                {"Uninhibit", "u", "", ""}});
  }
  Tests::Process login(const std::string& log) {
    Tests::Process process({"/lib/systemd/systemd-logind"}, log);
    waitUntil([this] { return system_.hasOwner("org.freedesktop.login1"); });
    return process;
  }
  [[nodiscard]] std::string inhibitors() const {
    std::string output;
    system_.busctl({"call", "org.freedesktop.login1", "/org/freedesktop/login1", "org.freedesktop.login1.Manager",
                    "ListInhibitors"},
                   &output);
    return output;
  }
  std::int32_t create(const char* reason = "Playing") {
    return power_.createAssertion("NoDisplaySleepAssertion", 255, reason, identifier_);
  }
  [[nodiscard]] std::vector<PowerProblem> problems() const {
    std::vector<PowerProblem> problems;
    for (const auto& attempt : power_.status().attempts) problems.push_back(attempt.problem);
    return problems;
  }
  /// The answers of the services, for the message of a failed expectation.
  [[nodiscard]] std::string messages() const {
    std::string text;
    for (const auto& attempt : power_.status().attempts) {
      text += std::to_string(static_cast<int>(attempt.problem)) + ' ' + attempt.message + '\n';
    }
    return text;
  }
  static std::ptrdiff_t descriptors() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
  }

  Tests::PrivateBus session_{"DBUS_SESSION_BUS_ADDRESS"};
  Tests::PrivateBus system_{"DBUS_SYSTEM_BUS_ADDRESS"};
  BusPower power_;
  std::uint32_t identifier_ = 0;
};

#define START(service) ASSERT_EQ((service)->reason(), "")

TEST_F(PowerTest, ScreenSaverGetsNameReasonAndCookie) {
  const auto saver = screenSaver();
  START(saver);
  EXPECT_TRUE(SleepHandler::shared()->disableScreenSleep("Playing a film"));
  EXPECT_EQ(saver->calls(), (Calls{"Inhibit \"SystemDesktopTests\" \"Playing a film\""}));
  EXPECT_EQ(PowerBackend::current().status().service, PowerService::screenSaver);
  EXPECT_TRUE(SleepHandler::shared()->enableScreenSleep());
  EXPECT_EQ(saver->calls().back(), "UnInhibit 7");
  EXPECT_EQ(PowerBackend::current().status().service, PowerService::none);
}

TEST_F(PowerTest, SessionManagerIsAskedWithoutAScreenSaver) {
  const auto manager = sessionManager();
  START(manager);
  ASSERT_EQ(create(), 0);
  EXPECT_EQ(manager->calls(), (Calls{"Inhibit \"SystemDesktopTests\" 0 \"Playing\" 8"}));
  EXPECT_EQ(problems(), (std::vector{PowerProblem::noOwner, PowerProblem::none}));
  EXPECT_EQ(power_.status().service, PowerService::sessionManager);
  EXPECT_EQ(power_.releaseAssertion(identifier_), 0);
  EXPECT_EQ(manager->calls().back(), "Uninhibit 9");
}

TEST_F(PowerTest, RealLoginManagerHoldsTheInhibitorDuringTheAssertion) {
  const auto login = this->login(system_.folder() + "/login.log");
  if (!system_.hasOwner("org.freedesktop.login1"))
    GTEST_SKIP() << "systemd-logind does not run here: " << Tests::contentsOf(system_.folder() + "/login.log");
  const std::ptrdiff_t before = descriptors();
  ASSERT_EQ(create("Playing a film"), 0) << messages();
  EXPECT_EQ(power_.status().service, PowerService::login);
  EXPECT_NE(inhibitors().find("\"idle\" \"SystemDesktopTests\" \"Playing a film\" \"block\""), std::string::npos)
      << inhibitors();
  EXPECT_EQ(power_.releaseAssertion(identifier_), 0);
  EXPECT_TRUE(waitUntil([this] { return inhibitors().find("Playing a film") == std::string::npos; })) << inhibitors();
  EXPECT_TRUE(waitUntil([&] { return descriptors() == before; }));
}

TEST_F(PowerTest, MissingServicesAreAFailureWithReasons) {
  EXPECT_NE(create(), 0);
  EXPECT_EQ(identifier_, 0u);
  EXPECT_EQ(problems(), (std::vector{PowerProblem::noOwner, PowerProblem::noOwner, PowerProblem::noOwner}));
  EXPECT_EQ(power_.status().service, PowerService::none);
}

TEST_F(PowerTest, NoBusIsAFailureWithItsReasons) {
  session_.daemon().end();
  ::setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus", 1);
  EXPECT_NE(create(), 0);
  EXPECT_EQ(problems(), (std::vector{PowerProblem::noBus, PowerProblem::noBus, PowerProblem::noBus}));
}

TEST_F(PowerTest, SilentBusTimesOut) {
  const auto manager = sessionManager();
  START(manager);
  session_.daemon().signal(SIGSTOP);
  EXPECT_NE(create(), 0);
  EXPECT_EQ(problems(), (std::vector{PowerProblem::notAnswering, PowerProblem::notAnswering, PowerProblem::noOwner}));
  session_.daemon().signal(SIGCONT);
  EXPECT_EQ(create(), 0);
}

TEST_F(PowerTest, SocketThatPosesAsABusIsRejected) {
  ::setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus", 1);
  const std::ptrdiff_t before = descriptors();
  for (const std::string& lie : Tests::Impostor::lies()) {
    const Tests::Impostor impostor("DBUS_SESSION_BUS_ADDRESS", lie);
    ASSERT_TRUE(impostor.isThere());
    EXPECT_NE(create(), 0);
    EXPECT_EQ(problems(), (std::vector{PowerProblem::noBus, PowerProblem::noBus, PowerProblem::noBus}))
        << testing::PrintToString(lie.substr(0, 200));
    EXPECT_GE(impostor.visitors(), 1);
  }
  EXPECT_TRUE(waitUntil([&] { return descriptors() == before; }));
}

TEST_F(PowerTest, BusThatDiesDuringAQuestionIsLost) {
  const auto saver = screenSaver("import time; time.sleep(60)");
  START(saver);
  std::thread killer([&] {
    waitUntil([&] { return !saver->calls().empty(); });
    session_.daemon().end();
  });
  EXPECT_NE(create(), 0);
  killer.join();
  EXPECT_EQ(problems(), (std::vector{PowerProblem::noBus, PowerProblem::noBus, PowerProblem::noOwner}));
}

TEST_F(PowerTest, AssertionIsRenewedAfterBothBusesDied) {
  auto saver = screenSaver();
  START(saver);
  ASSERT_EQ(create(), 0);
  session_.daemon().end();
  system_.daemon().end();
  saver->stop();
  EXPECT_TRUE(waitUntil([this] { return power_.status().service == PowerService::none; }));
  session_.start();
  ASSERT_EQ(session_.reason(), "");
  saver->start();
  START(saver);
  EXPECT_TRUE(waitUntil([this] { return power_.status().service == PowerService::screenSaver; }));
  EXPECT_EQ(power_.releaseAssertion(identifier_), 0);
  EXPECT_EQ(saver->calls().back(), "UnInhibit 7");
}

TEST_F(PowerTest, HandlerHoldsItsAssertionWhileNoServiceDoes) {
  const auto saver = screenSaver();
  START(saver);
  SleepHandler& handler = *SleepHandler::shared();
  ASSERT_TRUE(handler.disableScreenSleep("first"));
  saver->stop();
  EXPECT_TRUE(waitUntil([] { return PowerBackend::current().status().service == PowerService::none; }));
  EXPECT_TRUE(handler.isIdleDisplaySleepDisabled());
  EXPECT_FALSE(handler.disableScreenSleep("second"));
  EXPECT_TRUE(handler.enableScreenSleep());
  EXPECT_FALSE(handler.isIdleDisplaySleepDisabled());
}

TEST_F(PowerTest, HeldAssertionSleepsWithoutEvents) {
  const auto saver = screenSaver();
  START(saver);
  ASSERT_EQ(create(), 0);
  EXPECT_TRUE(Tests::libraryStaysAsleep(std::chrono::seconds(2)));
  // The counter increases if a thread of the library wakes up.
  const std::int64_t before = Tests::sleepsOfLibrary();
  saver->stop();
  EXPECT_TRUE(waitUntil([this] { return power_.status().service == PowerService::none; }));
  EXPECT_TRUE(waitUntil([&] { return Tests::sleepsOfLibrary() > before; }));
}

TEST_F(PowerTest, SilentServiceIsSkipped) {
  const auto saver = screenSaver();
  START(saver);
  const auto manager = sessionManager();
  START(manager);
  saver->process().signal(SIGSTOP);
  ASSERT_EQ(create(), 0);
  EXPECT_EQ(problems(), (std::vector{PowerProblem::notAnswering, PowerProblem::none}));
  EXPECT_EQ(power_.releaseAssertion(identifier_), 0);
}

/// A screen saver that answers after the limit, and records the sender of the question.
class LateScreenSaver {
 public:
  explicit LateScreenSaver(const Tests::PrivateBus& bus) {
    sd_bus_new(&bus_);
    sd_bus_set_address(bus_, bus.address().c_str());
    sd_bus_set_bus_client(bus_, 1);
    isThere_ = sd_bus_start(bus_) >= 0 && sd_bus_request_name(bus_, "org.freedesktop.ScreenSaver", 0) >= 0;
  }
  ~LateScreenSaver() { sd_bus_flush_close_unref(bus_); }

  [[nodiscard]] bool isThere() const { return isThere_; }
  /// Waits for the question and answers after the pause. Returns the sender.
  std::string answerOne(std::chrono::milliseconds pause) {
    for (;;) {
      sd_bus_message* message = nullptr;
      if (const int result = sd_bus_process(bus_, &message); result < 0) return "";
      if (message == nullptr) {
        sd_bus_wait(bus_, 100'000);
        continue;
      }
      std::string asker;
      if (sd_bus_message_is_method_call(message, "org.freedesktop.ScreenSaver", "Inhibit") > 0) {
        asker = sd_bus_message_get_sender(message);
        std::this_thread::sleep_for(pause);
        sd_bus_reply_method_return(message, "u", 7u);
        sd_bus_flush(bus_);
      }
      sd_bus_message_unref(message);
      if (!asker.empty()) return asker;
    }
  }

 private:
  sd_bus* bus_ = nullptr;
  bool isThere_ = false;
};

TEST_F(PowerTest, LateServiceIsDisconnectedAndTheNextOneAsked) {
  LateScreenSaver saver(session_);
  ASSERT_TRUE(saver.isThere());
  const auto manager = sessionManager();
  START(manager);
  std::string asker;
  std::thread serving([&] { asker = saver.answerOne(std::chrono::milliseconds(2500)); });
  EXPECT_EQ(create(), 0);
  serving.join();
  EXPECT_EQ(problems(), (std::vector{PowerProblem::notAnswering, PowerProblem::none}));
  EXPECT_NE(asker, "");
  EXPECT_FALSE(session_.hasOwner(asker));
  EXPECT_EQ(power_.releaseAssertion(identifier_), 0);
  EXPECT_EQ(manager->calls().back(), "Uninhibit 9");
}

TEST_F(PowerTest, LateServiceWithinTheLimitIsUsed) {
  LateScreenSaver saver(session_);
  ASSERT_TRUE(saver.isThere());
  std::thread serving([&] { saver.answerOne(std::chrono::milliseconds(300)); });
  EXPECT_EQ(create(), 0);
  serving.join();
  EXPECT_EQ(power_.status().service, PowerService::screenSaver);
}

TEST_F(PowerTest, RefusingServiceIsSkippedAndQuoted) {
  const auto saver = screenSaver("raise dbus.exceptions.DBusException('not now', name='org.example.Busy')");
  START(saver);
  const auto manager = sessionManager();
  START(manager);
  ASSERT_EQ(create(), 0);
  EXPECT_EQ(power_.status().attempts,
            (std::vector<PowerStatus::Attempt>{{PowerService::screenSaver, PowerProblem::refused, "not now"},
                                               {PowerService::sessionManager, PowerProblem::none, ""}}));
}

TEST_F(PowerTest, AnswerOfAnotherTypeIsSkipped) {
  const auto saver = screenSaver("ret = 'seven'", "s");
  START(saver);
  EXPECT_NE(create(), 0);
  EXPECT_EQ(power_.status().attempts.front(), (PowerStatus::Attempt{PowerService::screenSaver, PowerProblem::wrongReply,
                                                                    "the answer is of another type"}));
  saver->set({"Inhibit", "ss", "", ""});
  EXPECT_NE(create(), 0);
  EXPECT_EQ(power_.status().attempts.front(),
            (PowerStatus::Attempt{PowerService::screenSaver, PowerProblem::wrongReply, "the answer ends too early"}));
}

TEST_F(PowerTest, IllFormedReasonFailsWithoutDisconnection) {
  const auto saver = screenSaver();
  START(saver);
  EXPECT_NE(create("\xff\xfe"), 0);
  EXPECT_EQ(saver->calls(), Calls());
  EXPECT_EQ(create(""), 0);
}

TEST_F(PowerTest, AssertionIsRenewedAfterARestart) {
  std::filesystem::remove(system_.folder() + "/login.log");
  auto login = this->login(system_.folder() + "/login.log");
  if (!system_.hasOwner("org.freedesktop.login1")) GTEST_SKIP() << "systemd-logind does not run here";
  ASSERT_EQ(create("Playing a film"), 0) << messages();
  login.end();
  EXPECT_TRUE(waitUntil([this] { return power_.status().service == PowerService::none; }));
  login = this->login(system_.folder() + "/login.log");
  EXPECT_TRUE(waitUntil([this] { return power_.status().service == PowerService::login; }));
  EXPECT_NE(inhibitors().find("Playing a film"), std::string::npos);
  EXPECT_EQ(power_.releaseAssertion(identifier_), 0);
  EXPECT_TRUE(waitUntil([this] { return inhibitors().find("Playing a film") == std::string::npos; })) << inhibitors();
}

TEST_F(PowerTest, NextServiceTakesOverFromALostHolder) {
  const auto saver = screenSaver();
  START(saver);
  const auto manager = sessionManager();
  START(manager);
  ASSERT_EQ(create(), 0);
  ASSERT_EQ(power_.status().service, PowerService::screenSaver);
  saver->stop();
  EXPECT_TRUE(waitUntil([this] { return power_.status().service == PowerService::sessionManager; }));
  EXPECT_EQ(manager->calls().size(), 1u);
  EXPECT_EQ(power_.releaseAssertion(identifier_), 0);
  EXPECT_EQ(manager->calls().back(), "Uninhibit 9");
}

TEST_F(PowerTest, LoginManagerTakesOverFromADeadSessionBus) {
  const auto login = this->login(system_.folder() + "/login.log");
  if (!system_.hasOwner("org.freedesktop.login1")) GTEST_SKIP() << "systemd-logind does not run here";
  const auto saver = screenSaver();
  START(saver);
  ASSERT_EQ(create(), 0);
  session_.daemon().end();
  EXPECT_TRUE(waitUntil([this] { return power_.status().service == PowerService::login; }));
  EXPECT_EQ(power_.releaseAssertion(identifier_), 0);
}

TEST_F(PowerTest, RefusedReleaseKeepsTheAssertion) {
  const auto saver = screenSaver();
  START(saver);
  ASSERT_EQ(create(), 0);
  saver->set({"UnInhibit", "u", "", "raise dbus.exceptions.DBusException('no', name='org.example.No')"});
  EXPECT_NE(power_.releaseAssertion(identifier_), 0);
  EXPECT_EQ(power_.status().service, PowerService::screenSaver);
  saver->set({"UnInhibit", "u", "", ""});
  EXPECT_EQ(power_.releaseAssertion(identifier_), 0);
  EXPECT_NE(power_.releaseAssertion(identifier_), 0);
}

TEST_F(PowerTest, UnansweredReleaseClosesItsConnection) {
  LateScreenSaver saver(session_);
  ASSERT_TRUE(saver.isThere());
  std::string asker;
  std::thread serving([&] { asker = saver.answerOne(std::chrono::milliseconds(0)); });
  ASSERT_EQ(create(), 0);
  serving.join();
  EXPECT_TRUE(session_.hasOwner(asker));
  EXPECT_EQ(power_.releaseAssertion(identifier_), 0);
  EXPECT_EQ(power_.status().service, PowerService::none);
  EXPECT_TRUE(waitUntil([&] { return !session_.hasOwner(asker); }));
  EXPECT_NE(power_.releaseAssertion(identifier_), 0);
}

TEST_F(PowerTest, ReleaseAfterTheServiceEndedSucceeds) {
  const auto saver = screenSaver();
  START(saver);
  ASSERT_EQ(create(), 0);
  saver->stop();
  EXPECT_EQ(power_.releaseAssertion(identifier_), 0);
}

TEST_F(PowerTest, RefusesOtherTypesAndLevels) {
  EXPECT_NE(power_.createAssertion("NoIdleSleepAssertion", 255, "reason", identifier_), 0);
  EXPECT_NE(power_.createAssertion("NoDisplaySleepAssertion", 0, "reason", identifier_), 0);
  EXPECT_NE(power_.releaseAssertion(1), 0);
}

TEST_F(PowerTest, HundredAssertionsLeaveNoDescriptor) {
  const auto saver = screenSaver();
  START(saver);
  const std::ptrdiff_t before = descriptors();
  for (int i = 0; i < 100; ++i) {
    ASSERT_EQ(create(), 0);
    ASSERT_EQ(power_.releaseAssertion(identifier_), 0);
  }
  EXPECT_TRUE(waitUntil([&] { return descriptors() == before; }));
}

}  // namespace
