// SPDX-License-Identifier: MIT
// Component: Tessaly::FoundationExtensions
#pragma once

#include <cstdint>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1 {

/// Hands out integers, each one more than the one before.
///
/// Who shares one puts it into a `Mutex`. `UUID` gives identifiers that nobody else has either.
///
/// Thread contract: thread-compatible.
///
///     UniqueIDsGenerator generator(0);
///     const std::int64_t first = generator.next();  // 1
class UniqueIDsGenerator {
 public:
  explicit constexpr UniqueIDsGenerator(std::int64_t start) noexcept : current_(start) {}

  /// The one that was handed out last; at first, the start.
  [[nodiscard]] constexpr std::int64_t current() const noexcept { return current_; }

  /// The next one. Stops the process when 64 bits have no more.
  TESSALY_EXPORT std::int64_t next() noexcept;

 private:
  std::int64_t current_;
};

}  // namespace Tessaly::inline v1
