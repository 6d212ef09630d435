// SPDX-License-Identifier: MIT
// Component: Tessaly::Text
#pragma once

#include <cstdint>

#include "Tessaly/Core/Base/Requirements.hpp"

namespace Tessaly::inline v1 {

/// A part of a text: its beginning and its length, in UTF-16 units.
struct NSRange {
  std::int64_t location = 0;
  std::int64_t length = 0;

  friend bool operator==(const NSRange&, const NSRange&) noexcept = default;
};

}  // namespace Tessaly::inline v1
