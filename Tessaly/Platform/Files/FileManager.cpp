// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Files/FileManager.hpp"

namespace Tessaly::inline v1 {

FileSystemObjectSource::~FileSystemObjectSource() = default;
FileChangeSource::~FileChangeSource() = default;
FileManager::~FileManager() = default;

FileManager& FileManager::default_() noexcept { return detail::backendInUse<FileManager>(); }

InstalledBackend<FileManager>& FileManager::installed() noexcept {
  static constinit InstalledBackend<FileManager> installed{nullptr};
  return installed;
}

std::string_view description(FileChange change) noexcept {
  switch (change) {
    case FileChange::contents:
      return "contents";
    case FileChange::replaced:
      return "replaced";
    case FileChange::removed:
      return "removed";
    case FileChange::returned:
      return "returned";
  }
  return "";
}

}  // namespace Tessaly::inline v1
