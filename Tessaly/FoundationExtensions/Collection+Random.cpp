// SPDX-License-Identifier: MIT
#include <unistd.h>

#include "Tessaly/Core/Base/FatalError.hpp"
#include "Tessaly/FoundationExtensions/Collection+Random.hpp"

namespace Tessaly::inline v1::Collection::detail {

void SystemRandom::refill() {
  if (::getentropy(block_.data(), sizeof block_) != 0) {
    fatalError("The system has no randomness", "Tessaly/Collection+Random", __LINE__);
  }
  used_ = 0;
}

}  // namespace Tessaly::inline v1::Collection::detail
