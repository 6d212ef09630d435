// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Testing/ScriptedAuthentication.hpp"

namespace Tessaly {

void installAUser() {
  const auto user = std::make_shared<ScriptedAuthentication>();
  user->onEvaluate = [](LAContext::Reply reply) { reply(true, nullptr); };
  const AuthenticationBackendInstallation installation(user);
}

}  // namespace Tessaly
