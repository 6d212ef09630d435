// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "Tessaly/Core/Tasks/MainQueue.hpp"
#include "Tessaly/Core/Tasks/SyncWait.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"
#include "Tessaly/Platform/Testing/RecordingLogBackend.hpp"
#include "Tessaly/Platform/Testing/ScriptedAuthentication.hpp"
#include "Tessaly/Platform/Testing/ServeUntil.hpp"
#include "Tessaly/SystemServices/LocalAuthenticationService.hpp"
#include "tests/Support/LeftSuspended.hpp"
#include "tests/Support/Repetitions.hpp"

namespace {

using namespace Tessaly;

constexpr LAPolicy policy = LAPolicy::deviceOwnerAuthentication;

class LocalAuthenticationServiceTest : public testing::Test {
 protected:
  // The error, or nothing after a success.
  std::optional<LAError> evaluate() {
    try {
      syncWait(LocalAuthenticationService::evaluatePolicy(policy, "Show the passwords"));
      return std::nullopt;
    } catch (const LAError& error) {
      return error;
    }
  }

  const std::shared_ptr<ScriptedAuthentication> user_ = std::make_shared<ScriptedAuthentication>();
  const AuthenticationBackendInstallation installation_{user_};
};

TEST_F(LocalAuthenticationServiceTest, ReturnsWhenTheUserAuthenticated) {
  EXPECT_EQ(evaluate(), std::nullopt);
  EXPECT_EQ(user_->possibilities, (std::vector{policy}));
  EXPECT_EQ(user_->questions, (std::vector<ScriptedAuthentication::Question>{{policy, "Show the passwords"}}));
}

TEST_F(LocalAuthenticationServiceTest, StandInIsReadWhileAnotherThreadAsks) {
  Task<> task({.isolation = Isolation()}, []() -> Async<void> {
    for (int call = 0; call < 100; ++call) co_await LocalAuthenticationService::evaluatePolicy(policy, "Again");
  });
  EXPECT_TRUE(serveUntil([&] { return user_->snapshot().questions.size() == 100; }));
  const ScriptedAuthentication::Snapshot seen = user_->snapshot();
  EXPECT_EQ(seen.contexts, 100);
  EXPECT_EQ(seen.possibilities, std::vector(100, policy));
  EXPECT_EQ(seen.questions.back(), (ScriptedAuthentication::Question{policy, "Again"}));
  syncWait([&] { return task.value(); });
}

TEST_F(LocalAuthenticationServiceTest, MakesAContextForEachCall) {
  evaluate();
  evaluate();
  EXPECT_EQ(user_->contexts, 2);
}

TEST_F(LocalAuthenticationServiceTest, UnavailablePolicyFailsWithoutAskingTheUser) {
  user_->canEvaluate = false;
  user_->obstacle = std::make_exception_ptr(LAError(LAFailure::noAgent));
  EXPECT_EQ(evaluate(), LAError(LAFailure::noAgent));
  EXPECT_TRUE(user_->questions.empty());
}

TEST_F(LocalAuthenticationServiceTest, ObstacleWithoutAnErrorIsTheUnknownError) {
  user_->canEvaluate = false;
  EXPECT_EQ(evaluate(), LAError::unknownError());
  EXPECT_TRUE(user_->questions.empty());
}

TEST_F(LocalAuthenticationServiceTest, FailureWithAnErrorThrowsThatError) {
  user_->onEvaluate = [](LAContext::Reply reply) {
    reply(false, std::make_exception_ptr(LAError(LAFailure::cancelled)));
  };
  EXPECT_EQ(evaluate(), LAError(LAFailure::cancelled));
  user_->onEvaluate = [](LAContext::Reply reply) {
    reply(false, std::make_exception_ptr(std::runtime_error("of another kind")));
  };
  EXPECT_THROW(evaluate(), std::runtime_error);
}

TEST_F(LocalAuthenticationServiceTest, FailureWithoutAnErrorThrowsTheUnknownError) {
  user_->onEvaluate = [](LAContext::Reply reply) { reply(false, nullptr); };
  EXPECT_EQ(evaluate(), LAError::unknownError());
}

TEST_F(LocalAuthenticationServiceTest, SuccessWithAnErrorIsASuccess) {
  user_->onEvaluate = [](LAContext::Reply reply) {
    reply(true, std::make_exception_ptr(LAError(LAFailure::cancelled)));
  };
  EXPECT_EQ(evaluate(), std::nullopt);
}

TEST_F(LocalAuthenticationServiceTest, ReplyMayArriveOnAnyThread) {
  for (int i = 0; i < Tests::repetitions(200); ++i) {
    std::thread answering;
    user_->onEvaluate = [&, i](LAContext::Reply reply) {
      answering = std::thread([reply = std::move(reply), i]() mutable { reply(i % 2 == 0, nullptr); });
    };
    EXPECT_EQ(evaluate().has_value(), i % 2 != 0);
    answering.join();
  }
}

TEST_F(LocalAuthenticationServiceTest, CancellingTheTaskDoesNotEndTheQuestion) {
  LAContext::Reply reply;
  std::atomic<bool> isAsked = false;
  user_->onEvaluate = [&](LAContext::Reply given) {
    reply = std::move(given);
    isAsked = true;
    isAsked.notify_all();
  };
  Task<> task = Task<>::detached([] { return LocalAuthenticationService::evaluatePolicy(policy, "reason"); });
  isAsked.wait(false);
  task.cancel();
  reply(true, nullptr);
  EXPECT_NO_THROW(syncWait([&]() -> Async<void> { co_await task.value(); }));
}

TEST_F(LocalAuthenticationServiceTest, DroppedReplyIsLogged) {
  const auto log = std::make_shared<RecordingLogBackend>();
  const LogBackendInstallation logging(log);
  const Tests::LeftSuspended theTask;
  LAContext::Reply reply;
  user_->onEvaluate = [&](LAContext::Reply given) { reply = std::move(given); };
  const Task<> task([] { return LocalAuthenticationService::evaluatePolicy(policy, "reason"); });
  while (!reply) MainQueue::drain();
  EXPECT_TRUE(log->records().empty());
  reply = nullptr;
  ASSERT_EQ(log->records().size(), 1U);
  EXPECT_NE(log->messages().at(0).find("evaluatePolicy(_:localizedReason:)"), std::string::npos);
}

TEST(LocalAuthenticationServiceDeathTest, SecondReplyStopsTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(
      {
        const auto user = std::make_shared<ScriptedAuthentication>();
        const AuthenticationBackendInstallation installation(user);
        user->onEvaluate = [](LAContext::Reply reply) {
          reply(true, nullptr);
          reply(true, nullptr);
        };
        syncWait(LocalAuthenticationService::evaluatePolicy(policy, "reason"));
      },
      "evaluatePolicy\\(_:localizedReason:\\)");
}

TEST(LAErrorTest, UnknownErrorHasCodeMinusOne) {
  const LAError error = LAError::unknownError();
  EXPECT_EQ(error.code(), -1);
  EXPECT_EQ(error.userInfo(), (LAError::UserInfo{{"description", "Unable to evaluate policy for unknown reasons"}}));
  EXPECT_EQ(error.failure(), LAFailure::unknown);
  EXPECT_EQ(error.domain(), "Tessaly.LAError");
  EXPECT_EQ(error.description(),
            "Error Domain=Tessaly.LAError Code=-1 \"Unable to evaluate policy for unknown reasons\"");
}

TEST(LAErrorTest, MessageForPeopleSaysTheReason) {
  EXPECT_EQ(LAError(LAFailure::cancelled).localizedDescription(), "The user cancelled");
  EXPECT_EQ(LAError(LAFailure::noService, "the system bus").localizedDescription(),
            "No authority can be reached: the system bus");
  EXPECT_EQ(LAError::unknownError().localizedDescription(),
            "The operation couldn’t be completed. (Tessaly.LAError error -1.)");
}

TEST(LAErrorTest, InformationGivesTheReason) {
  for (int i = 0; i <= static_cast<int>(LAFailure::policyNotSupported); ++i) {
    const LAError error(static_cast<LAFailure>(i), "more");
    EXPECT_EQ(static_cast<int>(error.failure()), i);
    EXPECT_TRUE(error.userInfo().at("description").ends_with(": more"));
    EXPECT_NE(error, LAError::unknownError());
  }
}

}  // namespace
