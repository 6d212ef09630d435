// SPDX-License-Identifier: MIT
// Component: Tessaly::Testing
#pragma once

#include <exception>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Locks/UnfairLock.hpp"
#include "Tessaly/Platform/Authentication/AuthenticationBackend.hpp"

namespace Tessaly::inline v1 {

/// An authentication backend whose answers come from a test.
///
/// `LocalAuthenticationService` asks whether a policy is possible on a background thread. A test that looks meanwhile
/// reads `snapshot()`, and waits for it with `serveUntil`.
///
/// Thread contract: thread-safe functions, also those of the contexts. The members `contexts`, `possibilities` and
/// `questions` are for tests that look before and after the questions only. Set the others before the first use.
///
///     const auto user = std::make_shared<ScriptedAuthentication>();
///     user->onEvaluate = [](LAContext::Reply reply) { reply(true, nullptr); };
///     const AuthenticationBackendInstallation installation(user);
class TESSALY_EXPORT ScriptedAuthentication final : public AuthenticationBackend {
 public:
  /// A question to the user.
  struct Question {
    LAPolicy policy = LAPolicy::deviceOwnerAuthentication;
    std::string localizedReason;
    friend bool operator==(const Question&, const Question&) = default;
  };

  /// The questions at one instant.
  struct Snapshot {
    int contexts = 0;
    std::vector<LAPolicy> possibilities;
    std::vector<Question> questions;
  };

  ~ScriptedAuthentication() override;
  /// A copy of `contexts`, `possibilities` and `questions`, also while other threads ask this backend.
  [[nodiscard]] Snapshot snapshot() const;
  [[nodiscard]] std::unique_ptr<LAContext> makeContext() override;

  bool canEvaluate = true;
  /// The error that `canEvaluatePolicy` sets while `canEvaluate` is false. May be null.
  std::exception_ptr obstacle;
  /// The function that answers in place of the user. It may call the reply, keep the reply for later, or drop the
  /// reply. The function must not be empty.
  std::function<void(LAContext::Reply)> onEvaluate = [](LAContext::Reply reply) { reply(true, nullptr); };
  /// The number of contexts that were made.
  int contexts = 0;
  /// The policies that were passed to `canEvaluatePolicy`, in order.
  std::vector<LAPolicy> possibilities;
  /// The questions that `evaluatePolicy` asked, in order.
  std::vector<Question> questions;

 private:
  class Context;

  mutable UnfairLock lock_;
};

}  // namespace Tessaly::inline v1
