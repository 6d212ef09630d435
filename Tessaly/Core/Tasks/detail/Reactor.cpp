// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Tasks/detail/Reactor.hpp"

#include <sys/epoll.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <span>
#include <string>
#include <system_error>
#include <unordered_map>
#include <utility>

#include "Tessaly/Core/Base/CallNotification.hpp"
#include "Tessaly/Core/Base/FatalError.hpp"
#include "Tessaly/Core/Base/detail/FirstUse.hpp"
#include "Tessaly/Core/Base/detail/ForkGuard.hpp"
#include "Tessaly/Core/Base/detail/OwnedDescriptor.hpp"
#include "Tessaly/Core/Base/detail/Thread.hpp"
#include "Tessaly/Core/Logging/detail/PlatformLog.hpp"
#include "Tessaly/Core/Tasks/detail/EventThread.hpp"

namespace Tessaly::inline v1::detail {
namespace {

constexpr std::uint64_t timerKey = 0;

constinit std::atomic<Reactor*> started{nullptr};

/// The descriptor is closed, cannot be polled, has a source already, or exceeds the user's limit.
[[noreturn]] void stopUnwatchable(int descriptor, int error) {
  fatalError(
      "The descriptor " + std::to_string(descriptor) + " cannot be watched: " + std::system_category().message(error),
      "Tessaly/Reactor", __LINE__);
}

/// The sources by key. An event that was read before its source was cancelled finds no source here.
struct Sources {
  UnfairLock lock;
  std::unordered_map<std::uint64_t, std::weak_ptr<DescriptorSource>> byKey TESSALY_GUARDED_BY(lock);
  std::uint64_t lastKey TESSALY_GUARDED_BY(lock) = timerKey;

  static Sources& shared() {
    return madeOnce<[] { return new Sources; }>();
  }
};

}  // namespace

Reactor& Reactor::shared() noexcept {
  if (!start()) fatalError("The reactor could not make its descriptors", "Tessaly/Reactor", __LINE__);
  return *started.load(std::memory_order_acquire);
}

bool Reactor::start() noexcept {
  if (started.load(std::memory_order_acquire) != nullptr) return true;
  static constinit UnfairLock lock;
  const UnfairLock::Guard guard(lock);
  if (started.load(std::memory_order_relaxed) != nullptr) return true;
  OwnedDescriptor epoll(::epoll_create1(EPOLL_CLOEXEC));
  OwnedDescriptor timer(::timerfd_create(CLOCK_BOOTTIME, TFD_CLOEXEC | TFD_NONBLOCK));
  if (!epoll.isOpen() || !timer.isOpen()) return false;
  started.store(new Reactor(epoll.release(), timer.release()), std::memory_order_release);
  return true;
}

Reactor::Reactor(int epoll, int timer) : epoll_(epoll), timerDescriptor_(timer) {
  // Each expiration gives one event, without a read that would make the descriptor unreadable.
  epoll_event event{.events = EPOLLIN | EPOLLET, .data = {.u64 = timerKey}};
  ::epoll_ctl(epoll_, EPOLL_CTL_ADD, timerDescriptor_, &event);
  // The kernel gives an event to the thread that began to wait last. While that thread runs a job, the other thread
  // waits.
  for (int i = 0; i < 2; ++i) startLibraryThread("tessaly-reactor", [this] { work(); });
}

void Reactor::add(ClockTimer& timer) {
  stopIfForkedChild();
  UnfairLock::Guard guard(lock_);
  timers_.add(timer);
  rearm();
}

bool Reactor::remove(ClockTimer& timer) noexcept {
  UnfairLock::Guard guard(lock_);
  return timers_.remove(timer);
}

void Reactor::rearm() {
  if (timers_.first()->deadline() >= wakesAt_) return;
  wakesAt_ = timers_.first()->deadline();
  // A time of zero would disarm the descriptor, so a deadline of zero or below becomes the first nanosecond.
  const auto deadline = std::max<std::int64_t>(wakesAt_.count(), 1);
  itimerspec setting{};
  setting.it_value.tv_sec = deadline / 1'000'000'000;
  setting.it_value.tv_nsec = deadline % 1'000'000'000;
  ::timerfd_settime(timerDescriptor_, TFD_TIMER_ABSTIME, &setting, nullptr);
}

void Reactor::fireDueTimers() {
  {
    // Two threads would fire timers out of order. The firing thread checks for due timers once more before it stops
    // firing.
    UnfairLock::Guard guard(lock_);
    if (std::exchange(isFiring_, true)) return;
  }
  for (;;) {
    ClockTimer* due = nullptr;
    {
      // The thread that takes the timer out of the heap resumes its owner: here or in `remove`, never both.
      UnfairLock::Guard guard(lock_);
      due = timers_.first();
      if (due == nullptr || due->deadline() > ContinuousClock::shared().now()) {
        isFiring_ = false;
        wakesAt_ = Clock::Instant::max();
        if (due != nullptr) rearm();
        return;
      }
      timers_.remove(*due);
    }
    due->fire();
  }
}

void Reactor::work() {
  EventThread thread;
  std::array<epoll_event, 64> events;
  for (;;) {
    const int count = ::epoll_wait(epoll_, events.data(), static_cast<int>(events.size()), -1);
    if (count <= 0) continue;
    thread.beginServing();
    for (const epoll_event& event : std::span(events).first(static_cast<std::size_t>(count))) serve(event.data.u64);
    thread.endServing();
  }
}

void Reactor::serve(std::uint64_t key) {
  if (key == timerKey) {
    fireDueTimers();
    return;
  }
  std::shared_ptr<DescriptorSource> source;
  {
    Sources& sources = Sources::shared();
    UnfairLock::Guard guard(sources.lock);
    if (const auto found = sources.byKey.find(key); found != sources.byKey.end()) source = found->second.lock();
  }
  if (source != nullptr) source->becameReadable(std::move(source));
}

DescriptorSource::Delivery::Delivery(DescriptorSource& owner) noexcept
    : Job([](Job& job) noexcept { static_cast<Delivery&>(job).source.deliver(); }), source(owner) {}

DescriptorSource::DescriptorSource(int descriptor, Executor& executor, std::function<void()> onReadable)
    : descriptor_(descriptor), executor_(executor), onReadable_(std::move(onReadable)), delivery_(*this) {}

std::shared_ptr<DescriptorSource> DescriptorSource::make(int descriptor, Executor& executor,
                                                         std::function<void()> onReadable) {
  stopIfForkedChild();
  std::shared_ptr<DescriptorSource> source(new DescriptorSource(descriptor, executor, std::move(onReadable)));
  {
    Sources& sources = Sources::shared();
    UnfairLock::Guard guard(sources.lock);
    source->key_ = ++sources.lastKey;
    sources.byKey.emplace(source->key_, source);
  }
  epoll_event event{.events = EPOLLIN | EPOLLONESHOT, .data = {.u64 = source->key_}};
  if (::epoll_ctl(Reactor::shared().epoll_, EPOLL_CTL_ADD, descriptor, &event) != 0) stopUnwatchable(descriptor, errno);
  return source;
}

DescriptorSource::~DescriptorSource() { cancel(); }

void DescriptorSource::becameReadable(std::shared_ptr<DescriptorSource> self) noexcept {
  // The job is enqueued even after `cancel()`, because the last reference must not be released on a thread of the
  // reactor.
  {
    UnfairLock::Guard guard(lock_);
    delivering_ = std::move(self);
  }
  executor_.enqueue(delivery_);
}

void DescriptorSource::deliver() noexcept {
  std::shared_ptr<DescriptorSource> self;
  {
    UnfairLock::Guard guard(lock_);
    self = std::move(delivering_);
  }
  const CallGate::Call call(calls_);
  if (!call.isAdmitted()) return;
  callNotification("A descriptor's handler", onReadable_);
  // A handler that cancelled its own source may have closed the descriptor. Another thread's `cancel()` waits for the
  // end of this function.
  if (calls_.isClosed()) return;
  epoll_event event{.events = EPOLLIN | EPOLLONESHOT, .data = {.u64 = key_}};
  if (::epoll_ctl(Reactor::shared().epoll_, EPOLL_CTL_MOD, descriptor_, &event) != 0) {
    logPlatformError("Reactor",
                     "The descriptor " + std::to_string(descriptor_) + " is watched no longer: it was closed.");
  }
}

void DescriptorSource::cancel() noexcept {
  if (isForkedChild()) return;  // The kernel's set is the parent's.
  calls_.close();
  Sources& sources = Sources::shared();
  UnfairLock::Guard guard(sources.lock);
  // Only the first of several calls removes the descriptor. The other calls wait for the removal, because the
  // descriptor may be closed after any of them.
  if (sources.byKey.erase(key_) != 0) ::epoll_ctl(Reactor::shared().epoll_, EPOLL_CTL_DEL, descriptor_, nullptr);
}

}  // namespace Tessaly::inline v1::detail
