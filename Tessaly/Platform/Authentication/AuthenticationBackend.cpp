// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Authentication/AuthenticationBackend.hpp"

namespace Tessaly::inline v1 {

LAContext::~LAContext() = default;

AuthenticationBackend::~AuthenticationBackend() = default;

AuthenticationBackend& AuthenticationBackend::current() { return detail::backendInUse<AuthenticationBackend>(); }

InstalledBackend<AuthenticationBackend>& AuthenticationBackend::installed() noexcept {
  static constinit InstalledBackend<AuthenticationBackend> installed{nullptr};
  return installed;
}

}  // namespace Tessaly::inline v1
