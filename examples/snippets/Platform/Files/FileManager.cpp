// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Files/FileManager.hpp"

#include <memory>

#include "Tessaly/Platform/Testing/ScriptedFileManager.hpp"

namespace Tessaly {

void showFileManager(const URL& folder) {
  FileManager& files = FileManager::default_();
  if (!files.fileExists(folder.path())) files.createDirectory(folder, IntermediateDirectories::created);
}

void showFileManagerInstallation(void (*check)()) {
  const FileManagerInstallation installation(std::make_shared<ScriptedFileManager>());
  check();
}

}  // namespace Tessaly
