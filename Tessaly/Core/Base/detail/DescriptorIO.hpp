// SPDX-License-Identifier: MIT
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Base/detail/OwnedDescriptor.hpp"

// Reading and writing as a whole: each function goes on after a signal and after a partial transfer.

namespace Tessaly::inline v1::detail {

/// The bytes that a transfer moved before it ended, and the `errno` that ended it, or 0.
struct Transferred {
  std::size_t count = 0;
  int error = 0;
};

/// Opens a file and closes it in programs that are started. Not open, with `errno` set, where that fails.
[[nodiscard]] TESSALY_EXPORT OwnedDescriptor openFile(const char* path, int flags, mode_t mode = 0) noexcept;

/// Reads until the space is full or the file ends.
[[nodiscard]] TESSALY_EXPORT Transferred readFull(int descriptor, void* space, std::size_t size) noexcept;
/// The same from an offset; the descriptor's own position stays.
[[nodiscard]] TESSALY_EXPORT Transferred readFullAt(int descriptor, void* space, std::size_t size,
                                                    off_t offset) noexcept;

/// Writes all bytes. A system that accepts none of them and reports nothing counts as `EIO`.
[[nodiscard]] TESSALY_EXPORT Transferred writeFull(int descriptor, const void* bytes, std::size_t size) noexcept;
/// The same, for who needs no more than the `errno`, or 0.
[[nodiscard]] inline int writeAll(int descriptor, std::string_view bytes) noexcept {
  return writeFull(descriptor, bytes.data(), bytes.size()).error;
}
/// `writeFull` at an offset; the descriptor's own position stays.
[[nodiscard]] TESSALY_EXPORT Transferred writeFullAt(int descriptor, const void* bytes, std::size_t size,
                                                     off_t offset) noexcept;

/// The first `maximum` bytes of a file, or all of a shorter one. Nothing, with `errno` set, when it cannot be read.
/// Waits for no other end of a pipe.
[[nodiscard]] TESSALY_EXPORT std::optional<std::string> beginningOfFile(const std::string& path, std::size_t maximum);

/// Closes the descriptor and returns the `errno`, or 0. Some file systems report a failed write only here.
[[nodiscard]] TESSALY_EXPORT int closeReporting(OwnedDescriptor descriptor) noexcept;

}  // namespace Tessaly::inline v1::detail
