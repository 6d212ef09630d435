// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "Tessaly/Core/Base/detail/OwnedDescriptor.hpp"
#include "Tessaly/Core/Locks/UnfairLock.hpp"
#include "Tessaly/Core/Tasks/detail/Reactor.hpp"
#include "Tessaly/Platform/Linux/SettingsFileSystem.hpp"

namespace Tessaly::inline v1::detail {

/// Calls a function after something has happened in the store's directory, on a thread that may block.
///
/// Thread contract: thread-safe.
class SettingsWatcher {
 public:
  struct News {
    /// A file there may have been closed after writing, moved or removed.
    bool wasClosed = false;
    /// The directory itself has vanished.
    bool isGone = false;
  };

  SettingsWatcher(SettingsFileSystem& files, std::string directory, std::function<void(News)> changed);

  /// Watches the directory that is there now, and the one that holds the property list behind links. False if it cannot
  /// be watched.
  bool watch(const std::string& listDirectory);
  /// The function is not called afterwards.
  void stop() noexcept;

 private:
  bool start() TESSALY_REQUIRES(lock_);
  void read();

  SettingsFileSystem& files_;
  const std::string directory_;
  const std::function<void(News)> changed_;
  UnfairLock lock_;
  std::uint64_t watchedInode_ TESSALY_GUARDED_BY(lock_) = 0;
  OwnedDescriptor events_;
  std::shared_ptr<DescriptorSource> source_ TESSALY_GUARDED_BY(lock_);
};

}  // namespace Tessaly::inline v1::detail
