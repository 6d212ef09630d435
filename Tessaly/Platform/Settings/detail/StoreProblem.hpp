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
  /// The file or its directory may not be read or written.
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
  /// The property list must become readable, or be set aside, first.
  postponed,
  /// Everything was read again meanwhile: the checkpoint is to be begun anew.
  outdated,
  /// Any other error of the system.
  system,
};

/// A fault, with the system's error code where the system has given one.
struct StoreProblem {
  StoreFault fault = StoreFault::system;
  std::int32_t errorCode = 0;

  /// The problem that an error code of the system stands for.
  [[nodiscard]] TESSALY_EXPORT static StoreProblem of(int errorCode) noexcept;
};

template <typename Value = void>
using StoreResult = std::expected<Value, StoreProblem>;

/// A result that is the problem.
[[nodiscard]] inline std::unexpected<StoreProblem> failure(StoreFault fault, std::int32_t errorCode = 0) noexcept {
  return std::unexpected(StoreProblem{fault, errorCode});
}

}  // namespace Tessaly::inline v1::detail
