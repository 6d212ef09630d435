// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Linux/SettingsWatcher.hpp"

#include <sys/inotify.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstddef>
#include <cstring>
#include <thread>
#include <utility>

#include "Tessaly/Core/Tasks/BlockingWork.hpp"
#include "Tessaly/Platform/Linux/SettingsFiles.hpp"

namespace Tessaly::inline v1::detail {

SettingsWatcher::SettingsWatcher(SettingsFileSystem& files, std::string directory, std::function<void(News)> changed)
    : files_(files), directory_(std::move(directory)), changed_(std::move(changed)) {}

bool SettingsWatcher::start() {
  if (source_ != nullptr) return true;
  if (!Reactor::start()) return false;
  if (!events_.isOpen()) events_ = OwnedDescriptor(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK));
  if (!events_.isOpen()) return false;
  source_ = DescriptorSource::make(events_.get(), blockingExecutor(), [this] { read(); });
  return true;
}

bool SettingsWatcher::watch(const std::string& listDirectory) {
  const UnfairLock::Guard guard(lock_);
  const ino_t inode = inodeAt(directory_, files_);
  if (inode == 0) return false;
  if (inode == watchedInode_) return true;
  if (!start()) return false;
  constexpr std::uint32_t mask =
      IN_MODIFY | IN_ATTRIB | IN_CLOSE_WRITE | IN_MOVED_TO | IN_DELETE | IN_DELETE_SELF | IN_MOVE_SELF;
  if (::inotify_add_watch(events_.get(), directory_.c_str(), mask | IN_ONLYDIR) < 0) return false;
  watchedInode_ = inode;
  if (listDirectory != directory_) {
    ::inotify_add_watch(events_.get(), listDirectory.c_str(), IN_CLOSE_WRITE | IN_MOVED_TO);
  }
  return true;
}

void SettingsWatcher::stop() noexcept {
  std::shared_ptr<DescriptorSource> source;
  {
    const UnfairLock::Guard guard(lock_);
    source = source_;
  }
  if (source != nullptr) source->cancel();
}

void SettingsWatcher::read() {
  alignas(inotify_event) std::array<char, 8192> events;
  News news;
  for (;;) {
    const ssize_t size = ::read(events_.get(), events.data(), events.size());
    if (size <= 0) break;
    for (std::size_t at = 0; at < static_cast<std::size_t>(size);) {
      inotify_event event{};
      std::memcpy(&event, events.data() + at, sizeof(event));
      constexpr std::uint32_t closed = IN_CLOSE_WRITE | IN_MOVED_TO | IN_Q_OVERFLOW | IN_DELETE | IN_ATTRIB;
      constexpr std::uint32_t gone = IN_DELETE_SELF | IN_MOVE_SELF | IN_IGNORED | IN_UNMOUNT;
      news.wasClosed = news.wasClosed || (event.mask & closed) != 0;
      news.isGone = news.isGone || (event.mask & gone) != 0;
      at += sizeof(event) + event.len;
    }
  }
  if (news.isGone) {
    const UnfairLock::Guard guard(lock_);
    watchedInode_ = 0;
  }
  changed_(news);
  // Most often these were the process's own writes. To be woken for each would cost more than the write.
  std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

}  // namespace Tessaly::inline v1::detail
