// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Settings/UserDefaults.hpp"

namespace Tessaly::inline v1 {

KeyValueObserver::~KeyValueObserver() = default;

UserDefaults::~UserDefaults() = default;

std::string_view UserDefaults::className() const noexcept { return "Tessaly.UserDefaults"; }

std::uint64_t UserDefaults::revision() const noexcept { return 0; }

const std::shared_ptr<UserDefaults>& UserDefaults::standard() { return detail::backendInUse<UserDefaults>(); }

InstalledBackend<UserDefaults>& UserDefaults::installed() noexcept {
  static constinit InstalledBackend<UserDefaults> installed{nullptr};
  return installed;
}

}  // namespace Tessaly::inline v1
