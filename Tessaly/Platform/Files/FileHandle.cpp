// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Files/FileHandle.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "Tessaly/Core/Foundation/POSIXError.hpp"
#include "Tessaly/Platform/Files/detail/FilePath.hpp"

namespace Tessaly::inline v1 {

FileHandle FileHandle::forReading(const URL& file) {
  const std::string path = detail::filePath(file);
  for (;;) {
    const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (descriptor >= 0) return FileHandle(descriptor);
    if (errno != EINTR) throw POSIXError::last();
  }
}

FileHandle::~FileHandle() {
  if (descriptor_ >= 0) ::close(descriptor_);
}

void FileHandle::close() {
  const int descriptor = std::exchange(descriptor_, -1);
  if (descriptor >= 0 && ::close(descriptor) != 0 && errno != EINTR) throw POSIXError::last();
}

}  // namespace Tessaly::inline v1
