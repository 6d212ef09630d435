// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "Tessaly/Platform/Authentication/AuthenticationBackend.hpp"

namespace Tessaly::inline v1 {

/// Asks polkit whether the user of this process may do one action, whose policy is to let the user authenticate.
///
/// The action is the bundle's "PolkitAction", which `tessaly_bundle(... POLKIT_ACTION ...)` sets and installs the
/// policy of. The authority shows the application's reason only to callers that it trusts, such as an owner of the
/// action named in its policy; where it refuses, the user is asked with the text of the policy, and an error says so.
///
/// Thread contract: thread-safe. A question that waits for the user has a thread of its own.
///
///     PolkitAuthentication polkit("org.example.player.authenticate");
///     std::unique_ptr<LAContext> context = polkit.makeContext();
class TESSALY_EXPORT PolkitAuthentication final : public AuthenticationBackend {
 public:
  /// Without an action: the one of the bundle, looked up at each question.
  explicit PolkitAuthentication(std::optional<std::string> action = std::nullopt) : action_(std::move(action)) {}
  ~PolkitAuthentication() override;

  [[nodiscard]] std::unique_ptr<LAContext> makeContext() override;

 private:
  const std::optional<std::string> action_;
};

}  // namespace Tessaly::inline v1
