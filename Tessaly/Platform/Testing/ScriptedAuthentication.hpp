// SPDX-License-Identifier: MIT
// Component: Tessaly::Testing
#pragma once

#include <exception>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "Tessaly/Platform/Authentication/AuthenticationBackend.hpp"

namespace Tessaly::inline v1 {

/// An authentication backend whose answers come from a test.
///
/// Thread contract: thread-compatible.
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

  ~ScriptedAuthentication() override;
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
};

}  // namespace Tessaly::inline v1
