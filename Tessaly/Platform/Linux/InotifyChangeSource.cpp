// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Linux/InotifyChangeSource.hpp"

#include <fcntl.h>
#include <limits.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <deque>
#include <utility>

#include "Tessaly/Core/Foundation/POSIXError.hpp"
#include "Tessaly/Platform/Linux/DirectoryListing.hpp"

namespace Tessaly::inline v1::detail {
namespace {

constexpr std::uint32_t folderEvents =
    IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_DELETE_SELF | IN_MOVE_SELF | IN_ATTRIB | IN_ONLYDIR;
constexpr std::uint32_t fileEvents = IN_MODIFY | IN_CLOSE_WRITE | IN_ATTRIB | IN_DELETE_SELF | IN_MOVE_SELF;
/// The kernel's own limit of links in a path.
constexpr int maximalLinks = 40;

/// Whether an error of a watch says that nothing can be reached at the path. Remote volumes give `ESTALE` and `EIO` for
/// a name whose file was replaced there, and FUSE gives `ENOTCONN` if the program of a volume has ended.
bool isMissing(int error) noexcept {
  return error == ENOENT || error == ENOTDIR || error == ELOOP || error == ENAMETOOLONG || error == ESTALE ||
         error == EIO || error == ENOTCONN;
}

std::int64_t nanoseconds(const statx_timestamp& time) noexcept {
  return time.tv_sec * 1'000'000'000 + static_cast<std::int64_t>(time.tv_nsec);
}

void pushComponents(std::deque<std::string>& components, std::string_view path) {
  std::size_t end = path.size();
  while (end > 0) {
    const std::size_t slash = path.rfind('/', end - 1);
    const std::size_t first = slash == std::string_view::npos ? 0 : slash + 1;
    if (end > first && path.substr(first, end - first) != ".") {
      components.emplace_front(path.substr(first, end - first));
    }
    end = slash == std::string_view::npos ? 0 : slash;
  }
}

}  // namespace

InotifyChangeSource::InotifyChangeSource(std::string path, std::function<void()> onPossibleChange)
    : path_(std::move(path)), listener_(std::make_shared<Listener>(std::move(onPossibleChange))) {
  try {
    follow();
    listener_->take();
    state_ = look();
  } catch (...) {
    for (const int watch : watches_) InotifyHub::shared().remove(watch, *listener_);
    throw;
  }
}

InotifyChangeSource::~InotifyChangeSource() {
  for (const int watch : watches_) InotifyHub::shared().remove(watch, *listener_);
}

std::optional<FileChange> InotifyChangeSource::takeChange() {
  InotifyHub::shared().drain();
  const Heard heard = listener_->take();
  if (!heard.isAnything() && !isBlind_ && isFollowing_) return std::nullopt;
  const bool hearsNothing = isBlind_ || !isFollowing_;
  if (heard.mayHaveMoved || hearsNothing) follow();
  const State before = std::exchange(state_, look());
  hasNewTime_ |= state_.modified != before.modified;
  const auto change = changeSince(before, heard, hearsNothing);
  if (change) hasNewTime_ = false;
  return change;
}

std::optional<FileChange> InotifyChangeSource::changeSince(const State& before, const Heard& heard,
                                                           bool hearsNothing) const noexcept {
  if (before.exists != state_.exists) return state_.exists ? FileChange::returned : FileChange::removed;
  if (!state_.exists) return std::nullopt;
  if (!state_.isSameFile(before)) return FileChange::replaced;
  // A new file may get the inode number of the old file within one tick of the clock that dates files. The attributes
  // then do not distinguish the two files. The received events decide.
  if (heard.wasNamed && state_.changed != before.changed) return FileChange::replaced;
  if (heard.wasNamed || heard.wasWritten) return FileChange::contents;
  // A new time alone counts in two cases: no events are received, or a close may follow writes to a mapping.
  if (state_.size != before.size || (hasNewTime_ && (heard.mayDiffer || hearsNothing))) return FileChange::contents;
  return std::nullopt;
}

void InotifyChangeSource::follow() {
  isFollowing_ = false;
  InotifyHub& hub = InotifyHub::shared();
  listener_->beginSettling();
  const std::vector<int> former = std::exchange(watches_, {});
  Watches names;
  bool isBlind = isOnRemoteVolume(path_.c_str());
  const auto watch = [&](const std::string& path, std::uint32_t events) {
    const int number = hub.add(path.c_str(), events, listener_);
    if (number >= 0) {
      watches_.push_back(number);
    } else if (number == -EACCES || number == -EPERM) {
      isBlind = true;
    } else if (!isMissing(-number)) {
      for (const int old : former) hub.remove(old, *listener_);
      throw POSIXError(-number);
    }
    return number;
  };
  std::deque<std::string> components;
  pushComponents(components, path_);
  std::string folder = "/";
  int links = 0;
  int file = -1;
  while (!components.empty()) {
    const std::string name = std::move(components.front());
    components.pop_front();
    if (name == "..") {
      folder.resize(std::max<std::size_t>(folder.rfind('/'), 1));
      continue;
    }
    // If the file does not exist yet, the directory shows the volume that the file will have.
    isBlind |= isOnRemoteVolume(folder.c_str());
    const int number = watch(folder, folderEvents);
    if (number >= 0) names[number].insert(name);
    std::string path = folder;
    if (path != "/") path += '/';
    path += name;
    struct stat status{};
    if (::lstat(path.c_str(), &status) != 0) break;
    if (S_ISLNK(status.st_mode)) {
      char target[PATH_MAX];
      const ssize_t length = ::readlink(path.c_str(), target, sizeof(target));
      if (length < 0 || ++links > maximalLinks) break;
      const std::string_view text(target, static_cast<std::size_t>(length));
      if (text.starts_with('/')) folder = "/";
      pushComponents(components, text);
    } else if (components.empty()) {
      file = watch(path, fileEvents);
    } else {
      folder = path;
    }
  }
  // A directory may be on the path and be the followed file at once. Then the names in it do not matter.
  if (file >= 0) names.erase(file);
  listener_->settle(std::move(names), file);
  for (const int old : former) hub.remove(old, *listener_);
  isBlind_ = isBlind;
  isFollowing_ = true;
}

InotifyChangeSource::State InotifyChangeSource::look() const noexcept {
  struct statx status{};
  if (::statx(AT_FDCWD, path_.c_str(), 0, STATX_BASIC_STATS | STATX_BTIME, &status) != 0) return {};
  return {.exists = true,
          .device = static_cast<std::uint64_t>(status.stx_dev_major) << 32 | status.stx_dev_minor,
          .inode = status.stx_ino,
          .born = (status.stx_mask & STATX_BTIME) != 0 ? nanoseconds(status.stx_btime) : 0,
          .size = static_cast<std::int64_t>(status.stx_size),
          .modified = nanoseconds(status.stx_mtime),
          .changed = nanoseconds(status.stx_ctime)};
}

bool InotifyChangeSource::Listener::note(int watch, std::uint32_t mask, std::string_view name) noexcept {
  UnfairLock::Guard guard(lock_);
  if ((mask & (IN_Q_OVERFLOW | IN_IGNORED | IN_UNMOUNT)) != 0) {
    heard_.mayHaveMoved = true;
    heard_.wasWritten |= (mask & IN_Q_OVERFLOW) != 0;
    return true;
  }
  if (!name.empty()) {
    // A directory reports events of all its entries. While the watches are being set, the former names count in every
    // directory.
    if ((mask & (IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO)) == 0) return false;
    bool matters = false;
    for (const auto& [number, names] : watches_) matters |= (isSettling_ || number == watch) && names.contains(name);
    if (!matters && !isSettling_) return false;
    heard_.mayHaveMoved = true;
    heard_.wasNamed |= matters && (mask & (IN_CREATE | IN_MOVED_TO)) != 0;
    return true;
  }
  if (watch != file_ && !watches_.contains(watch) && !isSettling_) return false;
  heard_.wasWritten |= (mask & IN_MODIFY) != 0;
  heard_.mayDiffer |= (mask & IN_CLOSE_WRITE) != 0;
  heard_.mayHaveMoved |= (mask & (IN_DELETE_SELF | IN_MOVE_SELF | IN_ATTRIB)) != 0;
  return true;
}

bool InotifyChangeSource::Listener::noteMounts() noexcept {
  UnfairLock::Guard guard(lock_);
  heard_.mayHaveMoved = true;
  return true;
}

InotifyChangeSource::Heard InotifyChangeSource::Listener::take() {
  UnfairLock::Guard guard(lock_);
  return std::exchange(heard_, {});
}

void InotifyChangeSource::Listener::beginSettling() {
  UnfairLock::Guard guard(lock_);
  isSettling_ = true;
}

void InotifyChangeSource::Listener::settle(Watches watches, int file) {
  UnfairLock::Guard guard(lock_);
  watches_ = std::move(watches);
  file_ = file;
  isSettling_ = false;
}

}  // namespace Tessaly::inline v1::detail
