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

/// The proof that the user must give.
enum class LAPolicy : std::int32_t {
  /// A fingerprint or a face.
  deviceOwnerAuthenticationWithBiometrics = 1,
  /// A fingerprint, a face, or the password.
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
  /// Receives whether the user is authenticated. If not, receives the reason, or null if the system gives no reason.
  using Reply = std::move_only_function<void(bool isAuthenticated, std::exception_ptr error)>;

  LAContext() = default;
  LAContext(const LAContext&) = delete;
  LAContext& operator=(const LAContext&) = delete;
  virtual ~LAContext();

  /// Whether the system can authenticate the user by this policy. Does not ask the user. If the result is false and the
  /// system gives a reason, sets `error` to that reason. Waits at most 2 s for the connection to the system, and at
  /// most 2 s for the system's answer.
  virtual bool canEvaluatePolicy(LAPolicy policy, std::exception_ptr& error) = 0;
  /// Asks the user, and calls `reply` once, on any thread, perhaps before this call returns. Does not wait for the
  /// user. The caller must keep this object alive until `reply` is called.
  virtual void evaluatePolicy(LAPolicy policy, std::string localizedReason, Reply reply) = 0;
};

/// The system's way to authenticate the user.
///
/// Applications use `LocalAuthenticationService` instead of this class.
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

/// Replaces `AuthenticationBackend::current()` for a scope.
using AuthenticationBackendInstallation = BackendInstallation<AuthenticationBackend>;

}  // namespace Tessaly::inline v1
