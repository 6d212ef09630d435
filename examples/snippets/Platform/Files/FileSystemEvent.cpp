// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Files/FileSystemEvent.hpp"

namespace Tessaly {

void showFileSystemEvent(FileSystemEvent fired, void (*reload)()) {
  constexpr FileSystemEvent wanted = FileSystemEvent::write | FileSystemEvent::delete_;
  if (fired.contains(FileSystemEvent::write)) reload();
}

}  // namespace Tessaly
