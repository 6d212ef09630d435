// SPDX-License-Identifier: MIT
// Component: Tessaly::Files
#pragma once

#include <utility>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Foundation/URL.hpp"

namespace Tessaly::inline v1 {

/// An open file. The destructor closes it.
///
/// The nearest standard facility is `std::ifstream`. Unlike a stream, a handle reports why opening or closing failed,
/// and gives access to its descriptor.
///
/// Thread contract: thread-compatible.
///
///     FileHandle handle = FileHandle::forReading(file);
///     struct stat status{};
///     ::fstat(handle.fileDescriptor(), &status);
class FileHandle {
 public:
  /// Opens a file for reading. The descriptor is non-blocking (`O_NONBLOCK`), so the call does not wait for the other
  /// end of a named pipe. Programs that this process starts do not inherit the descriptor. Throws `POSIXError`, or
  /// `URLError` (`unsupportedURL`) if the URL is not a file URL.
  [[nodiscard]] TESSALY_EXPORT static FileHandle forReading(const URL& file);
  /// Becomes the owner of the descriptor.
  explicit FileHandle(int descriptor) noexcept : descriptor_(descriptor) {}
  FileHandle(FileHandle&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
  FileHandle& operator=(FileHandle other) noexcept {
    std::swap(descriptor_, other.descriptor_);
    return *this;
  }
  TESSALY_EXPORT ~FileHandle();

  /// The descriptor, or -1 if the handle owns none, for example after `close()`.
  [[nodiscard]] int fileDescriptor() const noexcept { return descriptor_; }
  /// Closes the file. Throws `POSIXError` if the system reports a failure. The descriptor is closed even then. Later
  /// calls do nothing.
  TESSALY_EXPORT void close();

 private:
  int descriptor_;
};

}  // namespace Tessaly::inline v1
