// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <expected>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1::detail {

/// The reason why a step of the settings store failed.
enum class StoreFault : std::uint8_t {
  /// Nothing exists at the path.
  missing,
  /// The path leads to something other than a regular file.
  notAFile,
  /// The process has no permission for the file or its directory, or the file system is read-only.
  readOnly,
  /// The disk, the user's quota or the process's limit for the size of files is exhausted.
  diskFull,
  /// The contents of the file are malformed.
  damaged,
  /// A later version of the library has written the file.
  newerVersion,
  /// The available memory does not suffice.
  outOfMemory,
  /// Another process holds the lock.
  lockHeld,
  /// Another program has shortened or overwritten the journal in place.
  overwritten,
  /// The step cannot succeed before the property list becomes readable or is set aside.
  postponed,
  /// During the checkpoint, the store loaded all values again, or the property list vanished. So the checkpoint must
  /// begin again.
  outdated,
  /// Any other error of the system.
  system,
};

/// A fault, with the system's error code if there is one.
struct StoreProblem {
  StoreFault fault = StoreFault::system;
  std::int32_t errorCode = 0;

  /// Converts an `errno` value to a problem.
  [[nodiscard]] TESSALY_EXPORT static StoreProblem of(int errorCode) noexcept;
};

template <typename Value = void>
using StoreResult = std::expected<Value, StoreProblem>;

/// A failed result with this problem.
[[nodiscard]] inline std::unexpected<StoreProblem> failure(StoreFault fault, std::int32_t errorCode = 0) noexcept {
  return std::unexpected(StoreProblem{fault, errorCode});
}

}  // namespace Tessaly::inline v1::detail
