// SPDX-License-Identifier: MIT
// clang-format off: an example stands as it does in its header.
#include "Tessaly/Platform/Authentication/AuthenticationBackend.hpp"

namespace Tessaly {

void makeAContext() {
  std::unique_ptr<LAContext> context = AuthenticationBackend::current().makeContext();
}

void askWhetherItIsPossible() {
  const auto context = AuthenticationBackend::current().makeContext();
  std::exception_ptr error;
  if (!context->canEvaluatePolicy(LAPolicy::deviceOwnerAuthentication, error)) return;
}

}  // namespace Tessaly
