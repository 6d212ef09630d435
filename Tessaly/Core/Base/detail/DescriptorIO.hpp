// SPDX-License-Identifier: MIT
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Base/detail/OwnedDescriptor.hpp"

// Complete reads and writes. Each read and each write continues after a signal and after a partial transfer.

namespace Tessaly::inline v1::detail {

/// The number of bytes that a transfer moved, and the `errno` that ended the transfer, or 0.
struct Transferred {
  std::size_t count = 0;
  int error = 0;
};

/// Opens a file. Programs that this process starts do not inherit the descriptor. On failure the result is not open,
/// and `errno` is set.
[[nodiscard]] TESSALY_EXPORT OwnedDescriptor openFile(const char* path, int flags, mode_t mode = 0) noexcept;

/// Reads until the space is full or the file ends.
[[nodiscard]] TESSALY_EXPORT Transferred readFull(int descriptor, void* space, std::size_t size) noexcept;
/// Like `readFull`, but reads from an offset. The descriptor's own position does not change.
[[nodiscard]] TESSALY_EXPORT Transferred readFullAt(int descriptor, void* space, std::size_t size,
                                                    off_t offset) noexcept;

/// Writes all bytes. If the system accepts no byte and reports no error, the error is `EIO`.
[[nodiscard]] TESSALY_EXPORT Transferred writeFull(int descriptor, const void* bytes, std::size_t size) noexcept;
/// Like `writeFull`, but returns only the `errno`, or 0.
[[nodiscard]] inline int writeAll(int descriptor, std::string_view bytes) noexcept {
  return writeFull(descriptor, bytes.data(), bytes.size()).error;
}
/// Like `writeFull`, but writes at an offset. The descriptor's own position does not change.
[[nodiscard]] TESSALY_EXPORT Transferred writeFullAt(int descriptor, const void* bytes, std::size_t size,
                                                     off_t offset) noexcept;

/// The first `maximum` bytes of a file, or all bytes of a shorter file. On failure the result is absent, and `errno` is
/// set. Does not wait for the other end of a pipe.
[[nodiscard]] TESSALY_EXPORT std::optional<std::string> beginningOfFile(const std::string& path, std::size_t maximum);

/// Closes the descriptor and returns the `errno`, or 0. Some file systems report a failed write only here.
[[nodiscard]] TESSALY_EXPORT int closeReporting(OwnedDescriptor descriptor) noexcept;

}  // namespace Tessaly::inline v1::detail
