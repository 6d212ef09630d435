// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Files/FileSystemObjectSource.hpp"

#include <memory>

#include "Tessaly/Platform/Files/FileManager.hpp"

namespace Tessaly {

void showFileSystemObjectSource(FileManager& files, std::shared_ptr<FileHandle> handle, void (*reload)()) {
  const OS_dispatch_queue queue = OS_dispatch_queue::global();
  auto source = files.makeFileSystemObjectSource(handle->fileDescriptor(), FileSystemEvent::write, queue);
  source->setEventHandler([reload] { reload(); });
  source->setCancelHandler([handle] { handle->close(); });
  source->resume();
}

}  // namespace Tessaly
