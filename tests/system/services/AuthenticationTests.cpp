// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "Tessaly/Core/Foundation/Bundle.hpp"
#include "Tessaly/Core/Tasks/SyncWait.hpp"
#include "Tessaly/Platform/Authentication/LAError.hpp"
#include "Tessaly/Platform/Linux/PolkitAuthentication.hpp"
#include "Tessaly/Platform/Testing/ScriptedAuthentication.hpp"
#include "Tessaly/SystemServices/LocalAuthenticationService.hpp"
#include "tests/Support/ContentsOf.hpp"
#include "tests/Support/Impostor.hpp"
#include "tests/Support/MockService.hpp"
#include "tests/Support/PrivateBus.hpp"
#include "tests/Support/WaitUntil.hpp"

// Questions to an authority on a bus of the test: a stand-in, and the real polkitd.

namespace {

using namespace Tessaly;
using Tests::waitUntil;

/// The position of the failure in its enumeration, -1 for success.
int evaluate(const std::string& action, std::string* localizedReason = nullptr) {
  const AuthenticationBackendInstallation installation(std::make_shared<PolkitAuthentication>(action));
  try {
    syncWait(LocalAuthenticationService::evaluatePolicy(LAPolicy::deviceOwnerAuthentication, "Show the passwords"));
    return -1;
  } catch (const LAError& error) {
    if (localizedReason != nullptr && error.userInfo().contains("localizedReason"))
      *localizedReason = error.userInfo().at("localizedReason");
    return static_cast<int>(error.failure());
  }
}

constexpr int success = -1;
constexpr int code(LAFailure failure) { return static_cast<int>(failure); }

class AuthenticationTest : public testing::Test {
 protected:
  void SetUp() override {
    if (!bus_.reason().empty()) GTEST_SKIP() << bus_.reason();
  }

  std::unique_ptr<Tests::MockService> polkit(const std::string& code) {
    return std::make_unique<Tests::MockService>(
        bus_, "org.freedesktop.PolicyKit1", "/org/freedesktop/PolicyKit1/Authority",
        "org.freedesktop.PolicyKit1.Authority",
        std::vector<Tests::MockService::Method>{{"CheckAuthorization", "(sa{sv})sa{ss}us", "(bba{ss})", code}});
  }
  // The first question does not ask the user. Its answer is always that the user is needed.
  std::unique_ptr<Tests::MockService> polkitThatAnswersTheUserWith(const std::string& answer) {
    return polkit(
        "ret = (dbus.Boolean(False), dbus.Boolean(True), dbus.Dictionary({}, signature='ss'))\n"
        "if args[3] == 1:\n    " +
        answer);
  }
  static std::string answer(const char* isAuthorized, const char* needsTheUser, const char* details = "{}") {
    return std::string("ret = (dbus.Boolean(") + isAuthorized + "), dbus.Boolean(" + needsTheUser +
           "), dbus.Dictionary(" + details + ", signature='ss'))";
  }

  // Runs the body as an ordinary user in a process of its own, because root is always authorised. Returns its result.
  template <typename Body>
  static int asOrdinaryUser(Body body) {
    const pid_t child = ::fork();
    if (child == 0) {
      ::alarm(20);
      const passwd* nobody = ::getpwnam("nobody");
      if (nobody == nullptr || (::getuid() == 0 && ::setuid(nobody->pw_uid) != 0)) ::_exit(99);
      ::_exit(body() + 1);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) - 1 : -100 - WTERMSIG(status);
  }

  Tests::PrivateBus bus_{"DBUS_SYSTEM_BUS_ADDRESS"};
};

constexpr const char* action = "org.example.authenticate";

TEST_F(AuthenticationTest, AuthenticatedUserSeesTheReason) {
  const auto polkit = polkitThatAnswersTheUserWith(answer("True", "False"));
  ASSERT_EQ(polkit->reason(), "");
  EXPECT_EQ(evaluate(action), success);
  const auto calls = polkit->calls();
  ASSERT_EQ(calls.size(), 2u);
  EXPECT_NE(calls[0].find(" \"org.example.authenticate\" {} 0 \"\""), std::string::npos) << calls[0];
  EXPECT_NE(calls[1].find("{\"polkit.message\": \"Show the passwords\"} 1 \"\""), std::string::npos) << calls[1];
}

TEST_F(AuthenticationTest, DismissedQuestionIsCancelled) {
  const auto polkit = polkitThatAnswersTheUserWith(answer("False", "False", "{'polkit.dismissed': 'true'}"));
  ASSERT_EQ(polkit->reason(), "");
  EXPECT_EQ(evaluate(action), code(LAFailure::cancelled));
}

TEST_F(AuthenticationTest, FailedAuthenticationIsDenied) {
  const auto polkit = polkitThatAnswersTheUserWith(answer("False", "False"));
  ASSERT_EQ(polkit->reason(), "");
  EXPECT_EQ(evaluate(action), code(LAFailure::denied));
}

TEST_F(AuthenticationTest, SessionWithoutAnAgentIsReported) {
  const auto polkit = polkitThatAnswersTheUserWith(answer("False", "True"));
  ASSERT_EQ(polkit->reason(), "");
  EXPECT_EQ(evaluate(action), code(LAFailure::noAgent));
}

TEST_F(AuthenticationTest, ForbiddingPolicyFailsWithoutAskingTheUser) {
  const auto polkit = this->polkit(answer("False", "False"));
  ASSERT_EQ(polkit->reason(), "");
  EXPECT_EQ(evaluate(action), code(LAFailure::denied));
  EXPECT_EQ(polkit->calls().size(), 1u);
}

TEST_F(AuthenticationTest, RefusedReasonIsOmittedAndReported) {
  const auto polkit = polkitThatAnswersTheUserWith(
      "if len(args[2]) > 0:\n        raise dbus.exceptions.DBusException('untrusted', "
      "name='org.freedesktop.PolicyKit1.Error.NotAuthorized')\n    " +
      answer("False", "False", "{'polkit.dismissed': 'true'}"));
  ASSERT_EQ(polkit->reason(), "");
  std::string localizedReason;
  EXPECT_EQ(evaluate(action, &localizedReason), code(LAFailure::cancelled));
  EXPECT_EQ(localizedReason, "not shown");
  const auto calls = polkit->calls();
  EXPECT_EQ(std::count_if(calls.begin(), calls.end(),
                          [](const std::string& call) { return call.starts_with("CheckAuthorization dbus"); }),
            3)
      << testing::PrintToString(calls);
  EXPECT_TRUE(calls.back().ends_with(" {} 1 \"\"")) << calls.back();
}

TEST_F(AuthenticationTest, AnswerOfAnotherTypeIsARefusal) {
  const auto polkit = this->polkit("");
  ASSERT_EQ(polkit->reason(), "");
  polkit->set({"CheckAuthorization", "(sa{sv})sa{ss}us", "s", "ret = 'yes'"});
  EXPECT_EQ(evaluate(action), code(LAFailure::refused));
}

TEST_F(AuthenticationTest, IncompleteAnswerIsARefusal) {
  const auto polkit = this->polkit("");
  ASSERT_EQ(polkit->reason(), "");
  for (const auto& [type, answered] :
       {std::pair("", ""), std::pair("(bb)", "ret = (dbus.Boolean(True), dbus.Boolean(False))"),
        std::pair("bba{ss}", "ret = (True, False, dbus.Dictionary({}, signature='ss'))"),
        std::pair("v", "ret = dbus.Boolean(True)")}) {
    polkit->set({"CheckAuthorization", "(sa{sv})sa{ss}us", type, answered});
    EXPECT_EQ(evaluate(action), code(LAFailure::refused)) << type;
  }
}

TEST_F(AuthenticationTest, ErrorReplyIsARefusal) {
  const auto polkit =
      this->polkit("raise dbus.exceptions.DBusException('not now', name='org.freedesktop.PolicyKit1.Error.Failed')");
  ASSERT_EQ(polkit->reason(), "");
  EXPECT_EQ(evaluate(action), code(LAFailure::refused));
}

TEST_F(AuthenticationTest, LateAnswerWithinTheLimitCounts) {
  const auto polkit = this->polkit("import time; time.sleep(0.5)\n" + answer("True", "False"));
  ASSERT_EQ(polkit->reason(), "");
  EXPECT_EQ(evaluate(action), success);
}

TEST_F(AuthenticationTest, SocketThatPosesAsABusIsRejected) {
  for (const std::string& lie : Tests::Impostor::lies()) {
    const Tests::Impostor impostor("DBUS_SYSTEM_BUS_ADDRESS", lie);
    ASSERT_TRUE(impostor.isThere());
    EXPECT_EQ(evaluate(action), code(LAFailure::noService)) << testing::PrintToString(lie.substr(0, 200));
    EXPECT_GE(impostor.visitors(), 1);
  }
}

TEST_F(AuthenticationTest, SilentAuthorityTimesOut) {
  const auto polkit = this->polkit(answer("True", "False"));
  ASSERT_EQ(polkit->reason(), "");
  polkit->process().signal(SIGSTOP);
  EXPECT_EQ(evaluate(action), code(LAFailure::notAnswering));
}

TEST_F(AuthenticationTest, DyingBusEndsTheQuestion) {
  const auto polkit = polkitThatAnswersTheUserWith("import time; time.sleep(60)");
  ASSERT_EQ(polkit->reason(), "");
  std::thread killer([&] {
    waitUntil([&] { return polkit->calls().size() == 2; });
    bus_.daemon().end();
  });
  EXPECT_EQ(evaluate(action), code(LAFailure::notAnswering));
  killer.join();
}

TEST_F(AuthenticationTest, DyingAuthorityEndsTheQuestion) {
  const auto polkit = polkitThatAnswersTheUserWith("import time; time.sleep(60)");
  ASSERT_EQ(polkit->reason(), "");
  std::thread killer([&] {
    waitUntil([&] { return polkit->calls().size() == 2; });
    polkit->stop();
  });
  EXPECT_EQ(evaluate(action), code(LAFailure::notAnswering));
  killer.join();
}

TEST_F(AuthenticationTest, SlowUserIsNotTimedOut) {
  const auto polkit = polkitThatAnswersTheUserWith("import time; time.sleep(2.5)\n    " + answer("True", "False"));
  ASSERT_EQ(polkit->reason(), "");
  EXPECT_EQ(evaluate(action), success);
}

TEST_F(AuthenticationTest, MissingAuthorityAndBusDifferFromARefusal) {
  EXPECT_EQ(evaluate(action), code(LAFailure::noService));
  bus_.daemon().end();
  EXPECT_EQ(evaluate(action), code(LAFailure::noService));
}

TEST_F(AuthenticationTest, BiometricsAloneAreNotSupported) {
  PolkitAuthentication polkit(action);
  std::exception_ptr error;
  EXPECT_FALSE(polkit.makeContext()->canEvaluatePolicy(LAPolicy::deviceOwnerAuthenticationWithBiometrics, error));
  try {
    std::rethrow_exception(error);
  } catch (const LAError& thrown) {
    EXPECT_EQ(thrown.failure(), LAFailure::policyNotSupported);
  }
}

TEST_F(AuthenticationTest, ApplicationWithoutAnActionIsNotInstalled) {
  PolkitAuthentication polkit;
  std::exception_ptr error;
  EXPECT_FALSE(polkit.makeContext()->canEvaluatePolicy(LAPolicy::deviceOwnerAuthentication, error));
  try {
    std::rethrow_exception(error);
  } catch (const LAError& thrown) {
    EXPECT_EQ(thrown.failure(), LAFailure::notInstalled);
    // The host learns both places of the entry, by its name.
    const std::string text = thrown.description();
    EXPECT_NE(text.find("tessaly_bundle() POLKIT_ACTION"), std::string::npos) << text;
    EXPECT_NE(text.find("Bundle::setMain() an entry \"PolkitAction\""), std::string::npos) << text;
  }
}

TEST_F(AuthenticationTest, ActionOfSetMainIsAsked) {
  const auto polkit = polkitThatAnswersTheUserWith(answer("True", "False"));
  ASSERT_EQ(polkit->reason(), "");
  Bundle::setMain({.information = {{"PolkitAction", "org.example.of-the-bundle"}}});
  const BackendInstallation<AuthenticationBackend> installation(std::make_shared<PolkitAuthentication>());
  syncWait(LocalAuthenticationService::evaluatePolicy(LAPolicy::deviceOwnerAuthentication, "Show the passwords"));
  const auto calls = polkit->calls();
  ASSERT_FALSE(calls.empty());
  EXPECT_NE(calls.back().find("\"org.example.of-the-bundle\""), std::string::npos) << calls.back();
}

class RealPolkit : public AuthenticationTest {
 protected:
  void SetUp() override {
    AuthenticationTest::SetUp();
    if (IsSkipped()) return;
    daemon_ = Tests::Process({"/usr/lib/polkit-1/polkitd", "--no-debug"}, bus_.folder() + "/polkitd.log");
    if (!waitUntil([this] { return bus_.hasOwner("org.freedesktop.PolicyKit1"); }))
      GTEST_SKIP() << "polkitd does not run here: " << Tests::contentsOf(bus_.folder() + "/polkitd.log");
  }
  Tests::Process daemon_;
};

// An action of polkit itself, which needs an administrator.
constexpr const char* realAction = "org.freedesktop.policykit.exec";

TEST_F(RealPolkit, RootIsAuthorisedAtOnce) {
  if (::getuid() != 0) GTEST_SKIP() << "this is not root";
  EXPECT_EQ(evaluate(realAction), success);
}

TEST_F(RealPolkit, WithoutAnAgentReportsNoAgent) {
  EXPECT_EQ(asOrdinaryUser([] { return evaluate(realAction); }), code(LAFailure::noAgent));
}

TEST_F(RealPolkit, DoesNotShowTheReasonOfAnOrdinaryUsersProgram) {
  EXPECT_EQ(asOrdinaryUser([] {
              std::string localizedReason;
              evaluate(realAction, &localizedReason);
              return localizedReason == "not shown" ? 1 : 0;
            }),
            1);
}

TEST_F(RealPolkit, MissingActionIsUnknown) {
  EXPECT_EQ(asOrdinaryUser([] { return evaluate("org.example.missing"); }), code(LAFailure::notInstalled));
}

/// polkitd with the policies that `tessaly_bundle(... POLKIT_ACTION ...)` writes and installs for a host.
class InstalledPolicy : public AuthenticationTest {
 protected:
  void SetUp() override {
    AuthenticationTest::SetUp();
    if (IsSkipped()) return;
    const std::string project = bus_.folder() + "/project";
    std::filesystem::create_directory(project);
    std::ofstream(project + "/CMakeLists.txt")
        << "cmake_minimum_required(VERSION 3.25)\nproject(Host LANGUAGES CXX)\n"
        << "include(" << std::getenv("TESSALY_TEST_MODULES") << "/TessalyBundle.cmake)\n"
        << "add_executable(host host.cpp)\n"
        << "tessaly_bundle(host IDENTIFIER org.example.host POLKIT_ACTION " << action
        << " POLKIT_MESSAGE \"Cats & <dogs>\")\n";
    std::ofstream(project + "/host.cpp") << "int main() {}\n";
    const std::string log = bus_.folder() + "/cmake.log";
    ASSERT_EQ(Tests::Process({"cmake", "-S", project, "-B", project + "/build", "-G", "Ninja"}, log).wait(), 0)
        << Tests::contentsOf(log);
    // The program is not needed, only its installed files.
    ASSERT_EQ(
        Tests::Process({"cmake", "--install", project + "/build", "--prefix", bus_.folder() + "/usr"}, log).wait(), 0)
        << Tests::contentsOf(log);
    const std::string actions = bus_.folder() + "/usr/share/polkit-1/actions";
    ASSERT_TRUE(std::filesystem::exists(actions + '/' + action + ".policy"));
    if (Tests::Process({"unshare", "--mount", "true"}).wait() != 0)
      GTEST_SKIP() << "unshare cannot make a mount namespace for this user";
    daemon_ = Tests::Process(
        {"unshare", "--mount", "sh", "-c",
         "mount --bind " + actions + " /usr/share/polkit-1/actions && exec /usr/lib/polkit-1/polkitd --no-debug"},
        bus_.folder() + "/polkitd.log");
    if (!waitUntil([this] { return bus_.hasOwner("org.freedesktop.PolicyKit1"); }))
      GTEST_SKIP() << "polkitd does not run here: " << Tests::contentsOf(bus_.folder() + "/polkitd.log");
  }
  Tests::Process daemon_;
};

TEST_F(InstalledPolicy, PolkitAcceptsThePolicyAndAsksTheUser) {
  std::string actions;
  ASSERT_EQ(bus_.busctl({"call", "org.freedesktop.PolicyKit1", "/org/freedesktop/PolicyKit1/Authority",
                         "org.freedesktop.PolicyKit1.Authority", "EnumerateActions", "s", ""},
                        &actions),
            0);
  EXPECT_NE(actions.find("\"org.example.authenticate\" \"Cats & <dogs>\" \"Cats & <dogs>\""), std::string::npos)
      << actions;
  EXPECT_EQ(asOrdinaryUser([] { return evaluate(action); }), code(LAFailure::noAgent));
  EXPECT_EQ(asOrdinaryUser([] { return evaluate(realAction); }), code(LAFailure::notInstalled));
}

}  // namespace
