// SPDX-License-Identifier: MIT
// Component: Tessaly::SystemServices
#pragma once

#include <string>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Tasks/Async.hpp"
#include "Tessaly/Platform/Authentication/AuthenticationBackend.hpp"
#include "Tessaly/Platform/Authentication/LAError.hpp"

/// Whether the person in front of the machine is its user.
namespace Tessaly::inline v1::LocalAuthenticationService {

/// Asks the user to authenticate, showing the reason, and returns when the user did. Throws what the system says is the
/// matter, an `LAError` on this system, before asking anybody if it cannot ask; `LAError::unknownError()` where the
/// system says nothing. Cancelling the task does not take the question back.
///
/// Thread contract: thread-safe.
///
///     co_await LocalAuthenticationService::evaluatePolicy(LAPolicy::deviceOwnerAuthentication, "Show the passwords");
TESSALY_EXPORT Async<void> evaluatePolicy(LAPolicy policy, std::string localizedReason);

}  // namespace Tessaly::inline v1::LocalAuthenticationService
