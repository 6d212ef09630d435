// SPDX-License-Identifier: MIT
// How the store hears of what others do in its folder, and tells observers.
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <memory>
#include <thread>
#include <utility>

#include "Tessaly/Core/Tasks/BlockingWork.hpp"
#include "Tessaly/Platform/Linux/JournalLock.hpp"
#include "Tessaly/Platform/Linux/JournaledUserDefaults.hpp"

namespace Tessaly::inline v1 {
namespace {

using detail::LockMode;
using detail::Patience;

}  // namespace

/// The job in which observers hear of others' changes.
class JournaledUserDefaults::Delivery final : public Job {
 public:
  explicit Delivery(std::weak_ptr<Object> store)
      : Job([](Job& job) noexcept {
          const std::unique_ptr<Delivery> self(static_cast<Delivery*>(&job));
          if (const auto store = std::static_pointer_cast<JournaledUserDefaults>(self->store_.lock())) {
            store->deliverNext();
          }
        }),
        store_(std::move(store)) {}

 private:
  std::weak_ptr<Object> store_;
};

void JournaledUserDefaults::announce(const std::vector<Change>& changes) const {
  for (const Change& change : changes) {
    observers_.notify(*this, change.key, change.value, ChangeOrigin::thisProcess);
  }
}

void JournaledUserDefaults::deliver(Change change) {
  const UnfairLock::Guard guard(deliveryLock_);
  deliveries_.push_back(std::move(change));
  if (std::exchange(isDelivering_, true)) return;
  others_.enqueue(*new Delivery(weak_from_this()));
}

void JournaledUserDefaults::deliverNext() {
  for (;;) {
    Change change;
    {
      const UnfairLock::Guard guard(deliveryLock_);
      if (deliveries_.empty()) {
        isDelivering_ = false;
        return;
      }
      change = std::move(deliveries_.front());
      deliveries_.pop_front();
    }
    observers_.notify(*this, change.key, change.value, ChangeOrigin::otherProcess);
  }
}

void JournaledUserDefaults::watch() {
  struct stat status{};
  if (::stat(folder_.c_str(), &status) != 0 || status.st_ino == watchedInode_) return;
  if (!notifications_.isOpen()) {
    notifications_ = detail::OwnedDescriptor(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK));
    if (!notifications_.isOpen()) return noteError(errno);
    source_ =
        detail::DescriptorSource::make(notifications_.get(), detail::blockingExecutor(), [this] { folderChanged(); });
  }
  constexpr std::uint32_t mask = IN_MODIFY | IN_CLOSE_WRITE | IN_MOVED_TO | IN_DELETE | IN_DELETE_SELF | IN_MOVE_SELF;
  if (::inotify_add_watch(notifications_.get(), folder_.c_str(), mask | IN_ONLYDIR) < 0) return noteError(errno);
  watchedInode_ = status.st_ino;
  const std::string target = detail::folderOfPath(detail::followed(propertyListPath_));
  if (target != folder_) ::inotify_add_watch(notifications_.get(), target.c_str(), IN_CLOSE_WRITE | IN_MOVED_TO);
}

void JournaledUserDefaults::folderChanged() {
  alignas(inotify_event) std::array<char, 8192> events;
  bool isClosed = false;
  bool isGone = false;
  for (;;) {
    const ssize_t size = ::read(notifications_.get(), events.data(), events.size());
    if (size <= 0) break;
    for (std::size_t at = 0; at < static_cast<std::size_t>(size);) {
      inotify_event event{};
      std::memcpy(&event, events.data() + at, sizeof(event));
      isClosed = isClosed || (event.mask & (IN_CLOSE_WRITE | IN_MOVED_TO | IN_Q_OVERFLOW | IN_DELETE)) != 0;
      isGone = isGone || (event.mask & (IN_DELETE_SELF | IN_MOVE_SELF | IN_IGNORED | IN_UNMOUNT)) != 0;
      at += sizeof(event) + event.len;
    }
  }
  bool mayBeOwn = true;
  bool isUnknown = false;
  {
    const UnfairLock::Guard guard(lock_);
    if (isGone) {
      watchedInode_ = 0;
      watch();  // Somebody may have made it again meanwhile.
    }
    if (watchedInode_ == 0) checkpointLater(checkpointDelay);  // Which makes the folder again and watches it.
    struct stat journal{};
    const bool hasJournal = ::stat(journalPath_.c_str(), &journal) == 0;
    const bool isJournalNews = !hasJournal || journal.st_ino != journal_.inode ||
                               static_cast<std::uint64_t>(journal.st_size) > journal_.offset;
    const detail::FileIdentity propertyList = detail::identityAt(propertyListPath_);
    const bool isPropertyListNews = propertyList != state_.propertyList;
    if (!hasJournal || (propertyList.isNone() && isPropertyListNews)) {
      // Somebody has removed what the others still need.
      state_.wantsCheckpoint = true;
      checkpointLater(checkpointDelay);
    } else if (isJournalNews || (isPropertyListNews && isClosed)) {
      JournalLock lock(*this, LockMode::shared, Patience::some);
      if (lock.error() == EWOULDBLOCK) retry_->schedule(retryDelay);  // Whoever holds it may have been stopped.
      isUnknown = lock.error() == 0 && catchUp() == 0 && journal_.isWritable && isClosed &&
                  detail::identityAt(propertyListPath_) != state_.propertyList;
      mayBeOwn = false;
    } else if (isPropertyListNews) {
      resolveDamageLater();  // Somebody is writing it in place, or has been killed there.
    }
  }
  if (isUnknown) {
    const int error = withExclusiveJournal([this]() TESSALY_REQUIRES(lock_) {
      const int error = catchUp();
      return error == 0 ? lookAtPropertyList() : error;
    });
    if (error == ETIMEDOUT) checkpointLater(checkpointDelay);  // Which looks at it, too.
  }
  // Most often these were our own writes. To be woken for each would cost more than the write.
  if (mayBeOwn) std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

}  // namespace Tessaly::inline v1
