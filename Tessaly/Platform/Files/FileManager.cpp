// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Files/FileManager.hpp"

#include <atomic>

#include "Tessaly/Core/Base/FatalError.hpp"
#include "Tessaly/Platform/Files/detail/SystemFileManager.hpp"

namespace Tessaly::inline v1 {
namespace {

constinit std::atomic<FileManager*> installed{nullptr};

/// Every manager that was ever installed, for ever.
struct Kept {
  std::shared_ptr<FileManager> manager;
  Kept* next;
};
constinit std::atomic<Kept*> everInstalled{nullptr};

}  // namespace

FileSystemObjectSource::~FileSystemObjectSource() = default;
FileChangeSource::~FileChangeSource() = default;
FileManager::~FileManager() = default;

FileManager& FileManager::default_() noexcept {
  FileManager* manager = installed.load(std::memory_order_acquire);
  return manager != nullptr ? *manager : detail::systemFileManager();
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

FileManagerInstallation::FileManagerInstallation(std::shared_ptr<FileManager> manager) {
  if (manager == nullptr) fatalError("There is no file manager to install", "Tessaly/FileManager", __LINE__);
  auto* const kept = new Kept{std::move(manager), everInstalled.load(std::memory_order_relaxed)};
  while (!everInstalled.compare_exchange_weak(kept->next, kept, std::memory_order_release)) {
  }
  previous_ = installed.exchange(kept->manager.get(), std::memory_order_acq_rel);
}

FileManagerInstallation::~FileManagerInstallation() { installed.store(previous_, std::memory_order_release); }

}  // namespace Tessaly::inline v1
