// SPDX-License-Identifier: MIT
#pragma once

#include "Tessaly/Core/Foundation/Date.hpp"

namespace Tessaly::Tests {

/// A wall clock that stands still.
class FixedClock final : public WallClock {
 public:
  explicit FixedClock(Date date) noexcept : date_(date) {}
  [[nodiscard]] Date now() const noexcept override { return date_; }

 private:
  Date date_;
};

}  // namespace Tessaly::Tests
