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

/// Asks the user to authenticate, shows the reason, and returns when the user has authenticated. Throws the system's
/// error, which is an `LAError` on this system. If the system gives no error, throws `LAError::unknownError()`. If the
/// system cannot ask, the call throws without asking. Cancelling the task does not withdraw the question.
///
/// Thread contract: thread-safe.
///
///     co_await LocalAuthenticationService::evaluatePolicy(LAPolicy::deviceOwnerAuthentication, "Show the passwords");
TESSALY_EXPORT Async<void> evaluatePolicy(LAPolicy policy, std::string localizedReason);

}  // namespace Tessaly::inline v1::LocalAuthenticationService
