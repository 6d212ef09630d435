// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Power/PowerBackend.hpp"

namespace Tessaly::inline v1 {

PowerBackend::~PowerBackend() = default;

PowerBackend& PowerBackend::current() { return detail::backendInUse<PowerBackend>(); }

InstalledBackend<PowerBackend>& PowerBackend::installed() noexcept {
  static constinit InstalledBackend<PowerBackend> installed{nullptr};
  return installed;
}

}  // namespace Tessaly::inline v1
