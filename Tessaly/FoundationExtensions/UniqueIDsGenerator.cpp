// SPDX-License-Identifier: MIT
#include "Tessaly/FoundationExtensions/UniqueIDsGenerator.hpp"

#include "Tessaly/Core/Base/FatalError.hpp"

namespace Tessaly::inline v1 {

std::int64_t UniqueIDsGenerator::next() noexcept {
  if (__builtin_add_overflow(current_, 1, &current_)) {
    fatalError("There are no more identifiers", "Tessaly/UniqueIDsGenerator", __LINE__);
  }
  return current_;
}

}  // namespace Tessaly::inline v1
