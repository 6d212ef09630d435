// SPDX-License-Identifier: MIT
// Component: Tessaly::FoundationExtensions
#pragma once

#include <cstdint>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1 {

/// Generates integers, each larger by one than the previous one.
///
/// To share a generator, put it into a `Mutex`. `UUID` gives identifiers that are unique across processes.
///
/// Thread contract: thread-compatible.
///
///     UniqueIDsGenerator generator(0);
///     const std::int64_t first = generator.next();  // 1
class UniqueIDsGenerator {
 public:
  explicit constexpr UniqueIDsGenerator(std::int64_t start) noexcept : current_(start) {}

  /// The integer that the most recent call of `next()` returned. Before the first call, the start value.
  [[nodiscard]] constexpr std::int64_t current() const noexcept { return current_; }

  /// Increments `current()` by one and returns the new value. Stops the process if 64 bits cannot hold that value.
  TESSALY_EXPORT std::int64_t next() noexcept;

 private:
  std::int64_t current_;
};

}  // namespace Tessaly::inline v1
