// SPDX-License-Identifier: MIT
// Component: Tessaly::Authentication
#pragma once

#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <string>

#include "Tessaly/Core/Base/BackendInstallation.hpp"
#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1 {

/// What the user has to show.
enum class LAPolicy : std::int32_t {
  /// A finger or a face.
  deviceOwnerAuthenticationWithBiometrics = 1,
  /// A finger, a face, or the password.
  deviceOwnerAuthentication = 2,
};

/// One authentication of the user.
///
/// Thread contract: thread-compatible.
///
///     const auto context = AuthenticationBackend::current().makeContext();
///     std::exception_ptr error;
///     if (!context->canEvaluatePolicy(LAPolicy::deviceOwnerAuthentication, error)) return;
class TESSALY_EXPORT LAContext {
 public:
  /// Told whether the user is authenticated, and if not, why, if the system says.
  using Reply = std::move_only_function<void(bool isAuthenticated, std::exception_ptr error)>;

  LAContext() = default;
  LAContext(const LAContext&) = delete;
  LAContext& operator=(const LAContext&) = delete;
  virtual ~LAContext();

  /// Whether the system can find out, without asking the user. If not, sets `error` where the system says why. May wait
  /// for the system for two seconds.
  virtual bool canEvaluatePolicy(LAPolicy policy, std::exception_ptr& error) = 0;
  /// Asks the user, and calls `reply` once, on any thread, maybe before this returns. Does not wait. The context is
  /// kept until then.
  virtual void evaluatePolicy(LAPolicy policy, std::string localizedReason, Reply reply) = 0;
};

/// The system's way to find out who sits in front of it.
///
/// Hosts use `LocalAuthenticationService`.
///
/// Thread contract: thread-safe.
///
///     std::unique_ptr<LAContext> context = AuthenticationBackend::current().makeContext();
class TESSALY_EXPORT AuthenticationBackend {
 public:
  AuthenticationBackend() = default;
  AuthenticationBackend(const AuthenticationBackend&) = delete;
  AuthenticationBackend& operator=(const AuthenticationBackend&) = delete;
  virtual ~AuthenticationBackend();

  [[nodiscard]] virtual std::unique_ptr<LAContext> makeContext() = 0;

  /// The backend in use.
  [[nodiscard]] static AuthenticationBackend& current();
  /// The system's backend, which is made at the first call and never destroyed.
  [[nodiscard]] static AuthenticationBackend& system();
  /// The place that `BackendInstallation` writes to.
  [[nodiscard]] static InstalledBackend<AuthenticationBackend>& installed() noexcept;
};

}  // namespace Tessaly::inline v1
