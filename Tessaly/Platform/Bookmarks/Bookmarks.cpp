// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Bookmarks/Bookmarks.hpp"

namespace Tessaly::inline v1 {

Bookmarks::~Bookmarks() = default;

Bookmarks& Bookmarks::shared() noexcept { return detail::backendInUse<Bookmarks>(); }

InstalledBackend<Bookmarks>& Bookmarks::installed() noexcept {
  static constinit InstalledBackend<Bookmarks> installed{nullptr};
  return installed;
}

}  // namespace Tessaly::inline v1
