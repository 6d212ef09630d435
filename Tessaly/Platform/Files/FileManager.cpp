// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Files/FileManager.hpp"

namespace Tessaly::inline v1 {

FileSystemObjectSource::~FileSystemObjectSource() = default;
FileChangeSource::~FileChangeSource() = default;
DirectorySource::~DirectorySource() = default;
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

std::string_view description(DirectoryChange::Kind kind) noexcept {
  switch (kind) {
    case DirectoryChange::Kind::appeared:
      return "appeared";
    case DirectoryChange::Kind::changed:
      return "changed";
    case DirectoryChange::Kind::renamed:
      return "renamed";
    case DirectoryChange::Kind::disappeared:
      return "disappeared";
  }
  return "";
}

}  // namespace Tessaly::inline v1
