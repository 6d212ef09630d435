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
  /// The reason why the user cannot be asked. May be null.
  std::exception_ptr obstacle;
  /// Plays the user: it calls the reply, keeps it for later, or drops it.
  std::function<void(LAContext::Reply)> onEvaluate = [](LAContext::Reply reply) { reply(true, nullptr); };
  /// The number of contexts that were made.
  int contexts = 0;
  /// The policies that were checked, in order, and the questions to the user.
  std::vector<LAPolicy> possibilities;
  std::vector<Question> questions;
};

}  // namespace Tessaly::inline v1
