// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Tasks/detail/InotifyHub.hpp"

#include <fcntl.h>
#include <limits.h>
#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstring>
#include <thread>
#include <utility>

#include "Tessaly/Core/Base/detail/FirstUse.hpp"
#include "Tessaly/Core/Base/detail/ForkGuard.hpp"
#include "Tessaly/Core/Base/detail/Thread.hpp"
#include "Tessaly/Core/Tasks/BlockingWork.hpp"
#include "Tessaly/Core/Tasks/Executor.hpp"

namespace Tessaly::inline v1::detail {

InotifyHub& InotifyHub::shared() noexcept {
  return madeOnce<[] { return new InotifyHub; }>();
}

/// Calls subscribers on a thread that may block. The thread that adds a watch may hold locks that the subscribers need.
struct InotifyHub::Waking final : Job {
  explicit Waking(Wakes wakes)
      : Job([](Job& job) noexcept {
          const std::unique_ptr<Waking> self(static_cast<Waking*>(&job));
          for (const auto& subscriber : self->subscribers) subscriber->wake();
        }),
        subscribers(std::move(wakes)) {}
  const Wakes subscribers;
};

int InotifyHub::add(const char* path, std::uint32_t mask, const std::shared_ptr<Subscriber>& subscriber) {
  stopIfForkedChild();  // Its watches would be those of its parent.
  Wakes wakes;
  int watch = -1;
  {
    UnfairLock::Guard guard(lock_);
    if (!open()) return -errno;
    // A shared watch may have pending events from before this call. They do not concern the new subscriber.
    read(wakes);
    watch = ::inotify_add_watch(descriptor_.get(), path, mask | IN_MASK_ADD);
    if (watch < 0) {
      watch = -errno;
    } else {
      interests_[watch].push_back({subscriber, subscriber.get(), subscriber->isPatient()});
    }
  }
  if (!wakes.empty()) blockingExecutor().enqueue(*new Waking(std::move(wakes)));
  return watch;
}

void InotifyHub::remove(int watch, const Subscriber& subscriber) noexcept {
  if (isForkedChild()) return;  // The kernel's watch belongs to the parent.
  UnfairLock::Guard guard(lock_);
  const auto found = interests_.find(watch);
  if (found == interests_.end()) return;
  auto& interested = found->second;
  const auto interest = std::ranges::find(interested, &subscriber, &Interest::identity);
  if (interest == interested.end()) return;
  interested.erase(interest);
  if (!interested.empty()) return;
  interests_.erase(found);
  ::inotify_rm_watch(descriptor_.get(), watch);
}

void InotifyHub::drain() {
  for (const auto& subscriber : takeWakes()) subscriber->wake();
}

InotifyHub::Wakes InotifyHub::takeWakes() {
  stopIfForkedChild();  // It would take the events of its parent.
  Wakes wakes;
  UnfairLock::Guard guard(lock_);
  read(wakes);
  return wakes;
}

bool InotifyHub::open() {
  if (descriptor_.isOpen()) return true;
  descriptor_ = OwnedDescriptor(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK));
  if (!descriptor_.isOpen()) return false;
  // Without this file of the kernel, `poll` ignores the descriptor.
  const int mounts = ::open("/proc/self/mountinfo", O_RDONLY | O_CLOEXEC);
  startLibraryThread("tessaly-files", [this, descriptor = descriptor_.get(), mounts] { work(descriptor, mounts); });
  return true;
}

void InotifyHub::work(int descriptor, int mounts) {
  using std::chrono::steady_clock;
  steady_clock::time_point last;
  for (std::array<pollfd, 2> events{{{descriptor, POLLIN, 0}, {mounts, POLLPRI, 0}}};;) {
    ::poll(events.data(), events.size(), -1);
    drain();
    if (events[1].revents != 0) tellMounts();
    // The answer of another process to a write of this process takes longer than this interval, so it is not late.
    const bool isBurst = steady_clock::now() - last < std::chrono::microseconds(30);
    if (isBurst && isEachSubscriberPatient()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    last = steady_clock::now();
  }
}

void InotifyHub::tellMounts() {
  Wakes wakes;
  {
    UnfairLock::Guard guard(lock_);
    for (const auto& [watch, interested] : interests_) {
      tell(wakes, watch, [](Subscriber& subscriber) { return subscriber.noteMounts(); });
    }
  }
  for (const auto& subscriber : wakes) subscriber->wake();
}

bool InotifyHub::isEachSubscriberPatient() {
  UnfairLock::Guard guard(lock_);
  return std::ranges::all_of(
      interests_, [](const auto& watched) { return std::ranges::all_of(watched.second, &Interest::isPatient); });
}

void InotifyHub::read(Wakes& wakes) {
  alignas(inotify_event) char buffer[32 * 1024];
  for (;;) {
    // NOLINTNEXTLINE(clang-analyzer-unix.BlockInCriticalSection): it never blocks.
    const ssize_t size = ::read(descriptor_.get(), buffer, sizeof(buffer));
    if (size < 0 && errno == EINTR) continue;
    if (size <= 0) return;
    for (const char* position = buffer; position < buffer + size;) {
      inotify_event event;
      std::memcpy(&event, position, sizeof(event));
      const char* const name = position + sizeof(event);
      const std::string_view text(name, event.len == 0 ? 0 : ::strnlen(name, event.len));
      const auto note = [mask = event.mask, text](int watch) {
        return [=](Subscriber& subscriber) { return subscriber.note(watch, mask, text); };
      };
      if ((event.mask & IN_Q_OVERFLOW) != 0) {
        for (const auto& [watch, interested] : interests_) tell(wakes, watch, note(watch));
      } else {
        tell(wakes, event.wd, note(event.wd));
        if ((event.mask & IN_IGNORED) != 0) interests_.erase(event.wd);
      }
      position = name + event.len;
    }
    // If the buffer has room for one more event, the kernel's queue is empty.
    if (sizeof(buffer) - static_cast<std::size_t>(size) >= sizeof(inotify_event) + NAME_MAX + 1) return;
  }
}

template <typename Note>
void InotifyHub::tell(Wakes& wakes, int watch, Note note) {
  const auto found = interests_.find(watch);
  if (found == interests_.end()) return;
  for (const Interest& interest : found->second) {
    auto subscriber = interest.subscriber.lock();
    if (subscriber == nullptr || !note(*subscriber)) continue;
    if (std::ranges::find(wakes, subscriber) == wakes.end()) wakes.push_back(std::move(subscriber));
  }
}

}  // namespace Tessaly::inline v1::detail
