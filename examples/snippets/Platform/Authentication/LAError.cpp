// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Authentication/LAError.hpp"

#include <iostream>

#include "Tessaly/SystemServices/LocalAuthenticationService.hpp"

namespace Tessaly {

Async<void> authenticate() {
  try {
    co_await LocalAuthenticationService::evaluatePolicy(LAPolicy::deviceOwnerAuthentication, "Show them");
  } catch (const LAError& error) {
    if (error.failure() != LAFailure::cancelled) std::cerr << error.localizedDescription() << '\n';
  }
}

}  // namespace Tessaly
