// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "Tessaly/Platform/Authentication/AuthenticationBackend.hpp"

namespace Tessaly::inline v1 {

/// An authentication backend that asks polkit whether the user of this process may do one action. The action's policy
/// should demand authentication.
///
/// By default, the action is the bundle's "PolkitAction". `tessaly_bundle(... POLKIT_ACTION ...)` sets this entry and
/// installs the action's policy. The polkit service accepts the reason that is given to `evaluatePolicy` only from
/// trusted callers, such as the owner that the action's policy names. If the service refuses the reason, the user sees
/// the policy's text. If the authentication then fails, the error says that the reason was not shown.
///
/// Thread contract: thread-safe. Each question to the user has its own thread.
///
///     PolkitAuthentication polkit("org.example.player.authenticate");
///     std::unique_ptr<LAContext> context = polkit.makeContext();
class TESSALY_EXPORT PolkitAuthentication final : public AuthenticationBackend {
 public:
  /// If `action` is absent, each context uses the "PolkitAction" that the main bundle has when `makeContext` is called.
  explicit PolkitAuthentication(std::optional<std::string> action = std::nullopt) : action_(std::move(action)) {}
  ~PolkitAuthentication() override;

  [[nodiscard]] std::unique_ptr<LAContext> makeContext() override;

 private:
  const std::optional<std::string> action_;
};

}  // namespace Tessaly::inline v1
