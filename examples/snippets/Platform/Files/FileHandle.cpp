// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Files/FileHandle.hpp"

#include <sys/stat.h>

namespace Tessaly {

void showFileHandle(const URL& file) {
  FileHandle handle = FileHandle::forReading(file);
  struct stat status{};
  ::fstat(handle.fileDescriptor(), &status);
}

}  // namespace Tessaly
