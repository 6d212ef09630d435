// SPDX-License-Identifier: MIT
// Component: Tessaly::Files
#pragma once

#include <utility>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Foundation/URL.hpp"

namespace Tessaly::inline v1 {

/// An open file, closed with its owner.
///
/// Unlike `std::ifstream` it reports why opening or closing failed, and shows its descriptor.
///
/// Thread contract: thread-compatible.
///
///     FileHandle handle = FileHandle::forReading(file);
///     struct stat status{};
///     ::fstat(handle.fileDescriptor(), &status);
class FileHandle {
 public:
  /// Opens for reading; neither waits for the other end of a pipe nor hands the descriptor to child processes. Throws
  /// `POSIXError`, or `URLError` (`unsupportedURL`) when the URL is not that of a file.
  [[nodiscard]] TESSALY_EXPORT static FileHandle forReading(const URL& file);
  /// Takes a descriptor over.
  explicit FileHandle(int descriptor) noexcept : descriptor_(descriptor) {}
  FileHandle(FileHandle&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
  FileHandle& operator=(FileHandle&& other) noexcept {
    std::swap(descriptor_, other.descriptor_);
    return *this;
  }
  TESSALY_EXPORT ~FileHandle();

  /// -1 once closed.
  [[nodiscard]] int fileDescriptor() const noexcept { return descriptor_; }
  /// Closes, and throws `POSIXError` if the system reports a failure; the descriptor is gone even then. Later calls do
  /// nothing.
  TESSALY_EXPORT void close();

 private:
  int descriptor_;
};

}  // namespace Tessaly::inline v1
