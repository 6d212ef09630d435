// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Power/PowerBackend.hpp"

#include "Tessaly/Platform/Linux/BusPower.hpp"

namespace Tessaly::inline v1 {

PowerBackend::~PowerBackend() = default;

PowerBackend& PowerBackend::current() {
  if (auto* backend = installed().load(std::memory_order_acquire)) return *backend;
  static auto& bus = *new BusPower;
  return bus;
}

std::atomic<PowerBackend*>& PowerBackend::installed() noexcept {
  static constinit std::atomic<PowerBackend*> installed{nullptr};
  return installed;
}

}  // namespace Tessaly::inline v1
