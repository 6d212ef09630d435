// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Authentication/AuthenticationBackend.hpp"

#include "Tessaly/Platform/Linux/PolkitAuthentication.hpp"

namespace Tessaly::inline v1 {

LAContext::~LAContext() = default;

AuthenticationBackend::~AuthenticationBackend() = default;

AuthenticationBackend& AuthenticationBackend::current() {
  if (auto* backend = installed().load(std::memory_order_acquire)) return *backend;
  static auto& polkit = *new PolkitAuthentication;
  return polkit;
}

std::atomic<AuthenticationBackend*>& AuthenticationBackend::installed() noexcept {
  static constinit std::atomic<AuthenticationBackend*> installed{nullptr};
  return installed;
}

}  // namespace Tessaly::inline v1
