// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Linux/SettingsWatcher.hpp"

#include <sys/inotify.h>

#include <utility>

#include "Tessaly/Core/Base/detail/ForkGuard.hpp"
#include "Tessaly/Platform/Linux/SettingsFiles.hpp"

namespace Tessaly::inline v1::detail {
namespace {

constexpr std::uint32_t closed = IN_CLOSE_WRITE | IN_MOVED_TO | IN_DELETE | IN_ATTRIB | IN_Q_OVERFLOW;
constexpr std::uint32_t gone = IN_DELETE_SELF | IN_MOVE_SELF | IN_IGNORED | IN_UNMOUNT | IN_Q_OVERFLOW;

}  // namespace

bool SettingsWatcher::watch(const std::string& listDirectory) {
  const UnfairLock::Guard guard(lock_);
  const ino_t inode = inodeAt(directory_, files_);
  if (inode == 0) return false;
  if (inode == watchedInode_ && listDirectory == watchedListDirectory_) return true;
  InotifyHub& hub = InotifyHub::shared();
  constexpr std::uint32_t mask =
      IN_MODIFY | IN_ATTRIB | IN_CLOSE_WRITE | IN_MOVED_TO | IN_DELETE | IN_DELETE_SELF | IN_MOVE_SELF;
  const int own = hub.add(directory_.c_str(), mask | IN_ONLYDIR, shared_from_this());
  if (own < 0) return false;
  unwatch(std::exchange(watches_, {own}));
  watchedInode_ = inode;
  watchedListDirectory_ = listDirectory;
  if (listDirectory == directory_) return true;
  const int other = hub.add(listDirectory.c_str(), IN_CLOSE_WRITE | IN_MOVED_TO, shared_from_this());
  if (other >= 0) watches_.push_back(other);
  return true;
}

void SettingsWatcher::unwatch(const std::vector<int>& watches) noexcept {
  for (const int watch : watches) InotifyHub::shared().remove(watch, *this);
}

SettingsWatcher::News SettingsWatcher::takeNews() noexcept {
  const News news{.wasClosed = wasClosed_.exchange(false), .isGone = isGone_.exchange(false)};
  if (!news.isGone) return news;
  const UnfairLock::Guard guard(lock_);
  watchedInode_ = 0;
  return news;
}

void SettingsWatcher::stop() noexcept {
  if (isForkedChild()) return;  // The watches are the parent's.
  const UnfairLock::Guard guard(lock_);
  unwatch(std::exchange(watches_, {}));
}

bool SettingsWatcher::note(int /*watch*/, std::uint32_t mask, std::string_view /*name*/) noexcept {
  // Another subscriber may have asked for more events.
  if ((mask & (closed | gone | IN_MODIFY)) == 0) return false;
  if ((mask & closed) != 0) wasClosed_ = true;
  if ((mask & gone) != 0) isGone_ = true;
  return true;
}

}  // namespace Tessaly::inline v1::detail
