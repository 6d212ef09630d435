// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Bookmarks/DocumentError.hpp"

#include "Tessaly/Platform/Bookmarks/Bookmarks.hpp"

namespace Tessaly {

URL fileOf(const Data& token, URL (*chooseAgain)()) {
  try {
    return Bookmarks::shared().resolve(token, BookmarkResolutionOptions::withSecurityScope).url;
  } catch (const DocumentError& error) {
    if (error.failure() == DocumentFailure::revoked) return chooseAgain();
    throw;
  }
}

}  // namespace Tessaly
