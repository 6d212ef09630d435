// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Files/FileHandle.hpp"

#include <fcntl.h>

#include "Tessaly/Core/Base/detail/DescriptorIO.hpp"
#include "Tessaly/Core/Foundation/POSIXError.hpp"
#include "Tessaly/Platform/Files/detail/FilePath.hpp"

namespace Tessaly::inline v1 {

FileHandle FileHandle::forReading(const URL& file) {
  const std::string path = detail::filePath(file);
  detail::OwnedDescriptor opened = detail::openFile(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY);
  if (!opened.isOpen()) throw POSIXError::last();
  return FileHandle(opened.release());
}

FileHandle::~FileHandle() { const detail::OwnedDescriptor last(descriptor_); }

void FileHandle::close() {
  detail::OwnedDescriptor file(std::exchange(descriptor_, -1));
  if (!file.isOpen()) return;
  if (const int error = detail::closeReporting(std::move(file))) throw POSIXError(error);
}

}  // namespace Tessaly::inline v1
