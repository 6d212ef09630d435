// SPDX-License-Identifier: MIT
#include "Tessaly/SystemServices/LocalAuthenticationService.hpp"

namespace Tessaly {

Async<void> showThePasswords() {
  co_await LocalAuthenticationService::evaluatePolicy(LAPolicy::deviceOwnerAuthentication, "Show the passwords");
}

}  // namespace Tessaly
