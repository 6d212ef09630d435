// SPDX-License-Identifier: MIT
// Component: Tessaly::SystemServices
#pragma once

#include <string>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Tasks/Async.hpp"
#include "Tessaly/Platform/Authentication/AuthenticationBackend.hpp"
#include "Tessaly/Platform/Authentication/LAError.hpp"

/// Authenticates the user of the machine.
namespace Tessaly::inline v1::LocalAuthenticationService {

/// Asks the user to authenticate, and returns when the user has authenticated. The request shows the reason if the
/// system permits that. If the system's policy demands no proof from this user (for example from root), the call
/// returns without a request to the user. If the authentication fails, throws the system's error, which is an `LAError`
/// on Linux. If it fails and the system gives no error, throws `LAError::unknownError()`. If the system cannot ask the
/// user, the call throws without a request to the user. A cancellation of the task does not cancel the request: the
/// call still waits for the user.
///
/// Thread contract: thread-safe.
///
///     co_await LocalAuthenticationService::evaluatePolicy(LAPolicy::deviceOwnerAuthentication, "Show the passwords");
TESSALY_EXPORT Async<void> evaluatePolicy(LAPolicy policy, std::string localizedReason);

}  // namespace Tessaly::inline v1::LocalAuthenticationService
