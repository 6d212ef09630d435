// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Tessaly/Core/Locks/UnfairLock.hpp"
#include "Tessaly/Core/Tasks/detail/InotifyHub.hpp"
#include "Tessaly/Platform/Linux/DelayedWork.hpp"
#include "Tessaly/Platform/Linux/SettingsFileSystem.hpp"

namespace Tessaly::inline v1::detail {

/// A watcher that starts work after events in the store's directory.
///
/// Thread contract: thread-safe.
class SettingsWatcher final : public InotifyHub::Subscriber, public std::enable_shared_from_this<SettingsWatcher> {
 public:
  struct News {
    /// A file in the directory may have been closed after writing, moved there or removed, or its attributes may have
    /// changed.
    bool wasClosed = false;
    /// The directory itself may have vanished.
    bool isGone = false;
  };

  SettingsWatcher(SettingsFileSystem& files, std::string directory, std::shared_ptr<DelayedWork> work)
      : files_(files), directory_(std::move(directory)), work_(std::move(work)) {}

  /// Watches the store's present directory. If links lead to a property list in another directory, the watcher also
  /// watches that directory. Returns false if the store's directory cannot be watched.
  bool watch(const std::string& listDirectory);
  /// The events since the last call.
  News takeNews() noexcept;
  /// Removes the watches. Later events do not start the work.
  void stop() noexcept;

 private:
  bool note(int watch, std::uint32_t mask, std::string_view name) noexcept override;
  void wake() noexcept override { work_->start(); }
  /// True, because this process's own writes cause most events. So a wait for further events saves wake-ups.
  [[nodiscard]] bool isPatient() const noexcept override { return true; }
  void unwatch(const std::vector<int>& watches) noexcept;

  SettingsFileSystem& files_;
  const std::string directory_;
  const std::shared_ptr<DelayedWork> work_;
  // Atomic, because acquiring `lock_` in `note` could cause a deadlock. The hub calls `note` under the hub's lock, and
  // `watch` needs the hub's lock while `watch` holds `lock_`.
  std::atomic<bool> wasClosed_{false};
  std::atomic<bool> isGone_{false};
  UnfairLock lock_;
  std::uint64_t watchedInode_ TESSALY_GUARDED_BY(lock_) = 0;
  std::string watchedListDirectory_ TESSALY_GUARDED_BY(lock_);
  std::vector<int> watches_ TESSALY_GUARDED_BY(lock_);
};

}  // namespace Tessaly::inline v1::detail
