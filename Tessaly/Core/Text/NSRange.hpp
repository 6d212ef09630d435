// SPDX-License-Identifier: MIT
// Component: Tessaly::Text
#pragma once

#include <cstdint>

#include "Tessaly/Core/Base/Requirements.hpp"

namespace Tessaly::inline v1 {

/// A part of a text: where it begins and how long it is, in UTF-16 units.
struct NSRange {
  std::int64_t location = 0;
  std::int64_t length = 0;

  friend bool operator==(const NSRange&, const NSRange&) noexcept = default;
};

}  // namespace Tessaly::inline v1
