// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Testing/ScriptedFileManager.hpp"

#include <memory>

namespace Tessaly {

void showScriptedFileManager() {
  const auto files = std::make_shared<ScriptedFileManager>();
  files->grantsAccess = [](const URL&) { return false; };
  const FileManagerInstallation installation(files);
}

}  // namespace Tessaly
