// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Linux/InotifyObjectSource.hpp"

#include <fmt/format.h>
#include <limits.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <new>
#include <string_view>
#include <utility>

#include "Tessaly/Core/Base/CallNotification.hpp"
#include "Tessaly/Core/Base/detail/ForkGuard.hpp"
#include "Tessaly/Core/Foundation/POSIXError.hpp"

namespace Tessaly::inline v1::detail {
namespace {

constexpr std::uint32_t entryEvents = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO;

std::shared_ptr<const std::function<void()>> sharedHandler(std::function<void()> handler) {
  return handler ? std::make_shared<const std::function<void()>>(std::move(handler)) : nullptr;
}

}  // namespace

InotifyObjectSource::InotifyObjectSource(int descriptor, FileSystemEvent mask, OS_dispatch_queue queue)
    : Job([](Job& job) noexcept { static_cast<InotifyObjectSource&>(job).deliver(); }, queue.priority()),
      descriptor_(descriptor),
      mask_(mask),
      queue_(queue) {}

InotifyObjectSource::~InotifyObjectSource() {
  if (watch_ >= 0) InotifyHub::shared().remove(watch_, *this);
}

void InotifyObjectSource::setEventHandler(std::function<void()> handler) {
  Handler replaced = sharedHandler(std::move(handler));
  UnfairLock::Guard guard(lock_);
  eventHandler_.swap(replaced);
}

void InotifyObjectSource::setCancelHandler(std::function<void()> handler) {
  Handler replaced = sharedHandler(std::move(handler));
  UnfairLock::Guard guard(lock_);
  cancelHandler_.swap(replaced);
}

void InotifyObjectSource::resume() {
  {
    UnfairLock::Guard guard(lock_);
    if (isScheduled_ || isCancelled_ || watch_ >= 0) return;
    isScheduled_ = true;
  }
  bool isGone = false;
  int watch = 0;
  try {
    watch = this->watch(isGone);
  } catch (const std::bad_alloc&) {
    watch = -ENOMEM;  // Thrown below as an error of the system, after the end of the start.
  }
  bool isCancelled = false;
  {
    UnfairLock::Guard guard(lock_);
    isScheduled_ = false;
    isCancelled = isCancelled_;
    if (!isCancelled && watch >= 0) watch_ = watch;
    if (isGone) pending_ |= IN_ATTRIB;
    if (pending_ != 0 || isCancelled) schedule();
  }
  if (watch < 0) throw POSIXError(-watch);
  if (isCancelled) InotifyHub::shared().remove(watch, *this);
}

int InotifyObjectSource::watch(bool& isGone) {
  struct stat status{};
  if (::fstat(descriptor_, &status) != 0) return -errno;
  links_ = status.st_nlink;
  size_ = status.st_size;
  isFolder_ = S_ISDIR(status.st_mode);
  std::uint32_t events = IN_ATTRIB | IN_DELETE_SELF;
  if (mask_.contains(FileSystemEvent::write) || mask_.contains(FileSystemEvent::extend)) events |= IN_MODIFY;
  if (mask_.contains(FileSystemEvent::rename)) events |= IN_MOVE_SELF;
  if (isFolder_) events |= entryEvents;
  const int watch =
      InotifyHub::shared().add(fmt::format("/proc/self/fd/{}", descriptor_).c_str(), events, shared_from_this());
  // The kernel sends no event for a removal before the watch existed.
  isGone = watch >= 0 && ::fstat(descriptor_, &status) == 0 && (status.st_nlink == 0 || hasLostName(status));
  return watch;
}

void InotifyObjectSource::cancel() noexcept {
  if (isForkedChild()) return;  // Only the parent calls the handlers.
  int watch = -1;
  {
    UnfairLock::Guard guard(lock_);
    if (std::exchange(isCancelled_, true)) return;
    watch = std::exchange(watch_, -1);
    schedule();
  }
  if (watch >= 0) InotifyHub::shared().remove(watch, *this);
}

bool InotifyObjectSource::note(int /*watch*/, std::uint32_t mask, std::string_view /*name*/) noexcept {
  UnfairLock::Guard guard(lock_);
  if (isCancelled_) return false;
  pending_ |= mask;
  return true;
}

void InotifyObjectSource::wake() noexcept {
  UnfairLock::Guard guard(lock_);
  if (pending_ != 0) schedule();
}

void InotifyObjectSource::schedule() noexcept {
  if (isScheduled_ || hasEnded_) return;
  isScheduled_ = true;
  self_ = shared_from_this();
  queue_.executor().enqueue(*this);
}

void InotifyObjectSource::deliver() noexcept {
  std::shared_ptr<InotifyObjectSource> self;
  Handler eventHandler;
  Handler cancelHandler;
  std::uint32_t events = 0;
  bool isOver = false;
  {
    UnfairLock::Guard guard(lock_);
    self = std::move(self_);
    events = std::exchange(pending_, 0);
    isOver = isCancelled_;
    hasEnded_ = isOver;
    eventHandler = eventHandler_;
    if (isOver) {
      // The handlers may hold references to this source.
      eventHandler_ = nullptr;
      cancelHandler = std::exchange(cancelHandler_, nullptr);
    }
  }
  if (isOver) {
    if (cancelHandler) callNotification("A file source's cancel handler", *cancelHandler);
  } else {
    fired_ = translate(events);
    if (!(fired_ & mask_).isEmpty() && eventHandler) callNotification("A file source's event handler", *eventHandler);
  }
  UnfairLock::Guard guard(lock_);
  isScheduled_ = false;
  if (pending_ != 0 || isCancelled_) schedule();
}

bool InotifyObjectSource::hasLostName(const struct stat& status) const noexcept {
  char buffer[PATH_MAX];
  const ssize_t length = ::readlink(fmt::format("/proc/self/fd/{}", descriptor_).c_str(), buffer, sizeof(buffer) - 1);
  if (length <= 0) return false;
  buffer[length] = 0;
  // The kernel adds this mark to a removed name, but a file's name may also end like that.
  if (!std::string_view(buffer).ends_with(" (deleted)")) return false;
  struct stat named{};
  return ::lstat(buffer, &named) != 0 || named.st_ino != status.st_ino || named.st_dev != status.st_dev;
}

FileSystemEvent InotifyObjectSource::translate(std::uint32_t events) noexcept {
  FileSystemEvent fired;
  struct stat status{};
  const bool isKnown = ::fstat(descriptor_, &status) == 0;
  const bool isRescan = (events & IN_Q_OVERFLOW) != 0;
  if ((events & IN_MODIFY) != 0 || isRescan) fired |= FileSystemEvent::write;
  if (isFolder_ && (events & entryEvents) != 0) fired |= FileSystemEvent::write;
  if ((events & IN_MOVE_SELF) != 0) fired |= FileSystemEvent::rename;
  if ((events & IN_DELETE_SELF) != 0) fired |= FileSystemEvent::delete_;
  if ((events & IN_UNMOUNT) != 0) fired |= FileSystemEvent::revoke;
  if (!isKnown) return fired;
  if (status.st_size > size_) fired |= FileSystemEvent::extend;
  size_ = status.st_size;
  if ((events & IN_ATTRIB) == 0 && !isRescan) return fired;
  if (!isRemoved_ && (status.st_nlink == 0 || hasLostName(status))) {
    isRemoved_ = true;
    fired |= FileSystemEvent::delete_;
  }
  if (status.st_nlink != links_) {
    fired |= FileSystemEvent::link;
  } else if ((events & IN_ATTRIB) != 0) {
    fired |= FileSystemEvent::attrib;
  }
  links_ = status.st_nlink;
  return fired;
}

}  // namespace Tessaly::inline v1::detail
