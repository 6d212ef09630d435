// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <expected>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1::detail {

/// Why a step of the settings store cannot be done.
enum class StoreFault : std::uint8_t {
  /// Nothing stands at the path.
  missing,
  /// Something other than a regular file stands at the path.
  notAFile,
  /// The process has no permission for the file or its directory, or the file system is read-only.
  readOnly,
  /// The disk, the user's quota or the process's limit for the size of files is exhausted.
  diskFull,
  /// The bytes are malformed.
  damaged,
  /// A later version of the library has written the file.
  newerVersion,
  /// The file does not fit into the memory that is left.
  outOfMemory,
  /// Another process holds the lock.
  lockHeld,
  /// Another program has shortened or overwritten the journal in place.
  overwritten,
  /// The property list must first become readable or be set aside.
  postponed,
  /// Everything was read again during the checkpoint, so the checkpoint must begin again.
  outdated,
  /// Any other error of the system.
  system,
};

/// A fault, with the system's error code if there is one.
struct StoreProblem {
  StoreFault fault = StoreFault::system;
  std::int32_t errorCode = 0;

  /// The problem that an error code of the system means.
  [[nodiscard]] TESSALY_EXPORT static StoreProblem of(int errorCode) noexcept;
};

template <typename Value = void>
using StoreResult = std::expected<Value, StoreProblem>;

/// A failed result with this problem.
[[nodiscard]] inline std::unexpected<StoreProblem> failure(StoreFault fault, std::int32_t errorCode = 0) noexcept {
  return std::unexpected(StoreProblem{fault, errorCode});
}

}  // namespace Tessaly::inline v1::detail
