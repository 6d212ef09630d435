// SPDX-License-Identifier: MIT
#include "Tessaly/SystemServices/ReachabilityService.hpp"

#include <atomic>
#include <cstdint>
#include <memory>
#include <utility>

#include "Tessaly/Core/Base/Error.hpp"
#include "Tessaly/Core/Locks/UnfairLock.hpp"
#include "Tessaly/Core/Observation/ObservationTracking.hpp"
#include "Tessaly/Core/Observation/detail/AccessList.hpp"
#include "Tessaly/Core/Tasks/Cancellation.hpp"
#include "Tessaly/Core/Tasks/MainQueue.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"
#include "Tessaly/Core/Tasks/WithIsolation.hpp"
#include "Tessaly/Platform/Network/NetworkBackend.hpp"
#include "Tessaly/SystemServices/detail/ReachabilityMonitors.hpp"

namespace Tessaly::inline v1 {

namespace ReachabilityService {
namespace {

constexpr const char* file = "Tessaly/ReachabilityService";
// Frozen: crash reports are grouped by these lines.
constexpr unsigned lineOfTheWait = 57;
constexpr unsigned lineOfThePathUpdate = 159;

const Default<bool>::Key& settingKey() { return Default<bool>::Key::canConnectToHost; }

/// The value of the setting. Searching the store costs several times as much as the other steps, so the search is
/// repeated only after a write to the store.
bool canConnectToHost() {
  static constinit std::atomic<std::uint64_t> known{0};
  const std::uint64_t revision = UserDefaults::standard()->revision();
  const std::uint64_t latest = known.load(std::memory_order_acquire);
  if (revision != 0 && latest >> 1 == revision) return (latest & 1) != 0;
  const bool value = Default<bool>::value(settingKey());
  known.store(revision << 1 | std::uint64_t{value}, std::memory_order_release);
  return value;
}

/// Whether the path counts as online.
bool verdictOn(const NWPath& path) {
  if (!canConnectToHost()) return false;
  switch (path.status()) {
    case NWPath::Status::satisfied:
      return true;
    case NWPath::Status::unsatisfied:
    case NWPath::Status::requiresConnection:
      return false;
    default:
      return true;
  }
}

Status statusOf(const NWPath& path) { return {.isOnline = verdictOn(path), .isExpensive = path.isExpensive()}; }

std::shared_ptr<Default<bool>::ValueObserver> makeSettingObserver() {
  return Default<bool>::ValueObserver::make(UserDefaults::standard(), settingKey());
}

/// The object that the process shares while the same network backend and settings store are installed. It is made at
/// first use. A host's tests replace the backend and the store. No such object is destroyed, because another thread may
/// still be using it.
template <typename Object>
class Shared {
 public:
  template <typename Make>
  const Object& get(Make make) {
    const Seams seams;
    const Entry* const latest = latest_.load(std::memory_order_acquire);
    if (latest != nullptr && latest->seams == seams) return *latest->object;
    const UnfairLock::Guard guard(lock_);
    Entry* entry = first_;
    while (entry != nullptr && !(entry->seams == seams)) entry = entry->next;
    if (entry == nullptr) first_ = entry = new Entry{seams, make(), first_};
    latest_.store(entry, std::memory_order_release);
    return *entry->object;
  }

 private:
  struct Seams {
    const void* network = NetworkBackend::installed().load(std::memory_order_acquire);
    const void* settings = UserDefaults::installed().load(std::memory_order_acquire);
    bool operator==(const Seams&) const = default;
  };
  struct Entry {
    Seams seams;
    std::shared_ptr<Object> object;
    Entry* next;
  };

  UnfairLock lock_;
  Entry* first_ TESSALY_GUARDED_BY(lock_) = nullptr;
  std::atomic<const Entry*> latest_{nullptr};
};

const NWPathMonitor& sharedMonitor() {
  static constinit Shared<NWPathMonitor> shared;
  return shared.get([] {
    auto monitor = NWPathMonitor::make();
    monitor->start(OS_dispatch_queue::global(QualityOfService::default_));
    return monitor;
  });
}

const detail::MonitorWrapper& sharedWrapper() {
  static constinit Shared<detail::MonitorWrapper> shared;
  return shared.get([] { return detail::MonitorWrapper::make(); });
}

Async<void> waitOnTheMainThread() {
  const std::shared_ptr<NWPathMonitor> monitor = NWPathMonitor::make();
  const std::shared_ptr<Default<bool>::ValueObserver> observer = makeSettingObserver();
  co_await withTaskCancellationHandler(
      [&] {
        return withCheckedContinuation<>(
            [&](CheckedContinuation<> continuation) {
              detail::waitUntilOnline(monitor, *observer, std::move(continuation));
            },
            "nextIsOnline()");
      },
      [monitor] { monitor->cancel(); });
}

}  // namespace

namespace detail {

std::shared_ptr<MonitorWrapper> MonitorWrapper::make() {
  auto wrapper = std::make_shared<MonitorWrapper>(Private());
  wrapper->start();
  return wrapper;
}

MonitorWrapper::MonitorWrapper(Private) : canConnectToHost_(settingKey()), monitor_(NWPathMonitor::make()) {
  const NWPath path = monitor_->currentPath();
  isExpensive_ = path.isExpensive();
  isOnline_ = verdictOn(path);
}

MonitorWrapper::~MonitorWrapper() { monitor_->cancel(); }

void MonitorWrapper::start() {
  monitor_->setPathUpdateHandler([weak = weak_from_this()](const NWPath& path) {
    if (const auto self = weak.lock()) self->update(path);
  });
  monitor_->start(OS_dispatch_queue::main());
  followSetting();
}

bool MonitorWrapper::isOnline() const {
  registrar_.access(*this, keyPath<&MonitorWrapper::isOnline>);
  return isOnline_;
}

bool MonitorWrapper::isExpensive() const {
  registrar_.access(*this, keyPath<&MonitorWrapper::isExpensive>);
  return isExpensive_;
}

void MonitorWrapper::update(const NWPath& path) {
  assertMainIsolated(file, lineOfThePathUpdate);
  setIsOnline(verdictOn(path));
  setIsExpensive(path.isExpensive());
}

void MonitorWrapper::followSetting() {
  // The first read of a property makes the wrapper. The reading function must not observe the setting itself.
  const ::Tessaly::detail::WithoutTracking untracked;
  withObservationTracking([this] { static_cast<void>(canConnectToHost_.value()); },
                          [weak = weak_from_this()] {
                            if (MainQueue::isMainThread()) {
                              if (const auto self = weak.lock()) self->settingDidChange();
                              return;
                            }
                            OS_dispatch_queue::main().async([weak] {
                              if (const auto self = weak.lock()) self->settingDidChange();
                            });
                          });
}

void MonitorWrapper::settingDidChange() {
  // In this order no change is lost between the two calls.
  followSetting();
  setIsOnline(verdictOn(monitor_->currentPath()));
}

void MonitorWrapper::setIsOnline(bool isOnline) {
  if (isOnline == isOnline_) return;
  registrar_.withMutation(*this, keyPath<&MonitorWrapper::isOnline>, [&] { isOnline_ = isOnline; });
}

void MonitorWrapper::setIsExpensive(bool isExpensive) {
  if (isExpensive == isExpensive_) return;
  registrar_.withMutation(*this, keyPath<&MonitorWrapper::isExpensive>, [&] { isExpensive_ = isExpensive; });
}

void waitUntilOnline(const std::shared_ptr<NWPathMonitor>& monitor, Default<bool>::ValueObserver& observer,
                     CheckedContinuation<> continuation) {
  assertMainIsolated(file, lineOfTheWait);
  const auto waiting = std::make_shared<ResumeContinuation>(std::move(continuation));
  if (Task<>::isCurrentCancelled()) {
    waiting->resumeThrowing(std::make_exception_ptr(CancellationError()));
    return;
  }
  const auto check = [waiting](NWPathMonitor& followed, const NWPath& path) {
    if (Task<>::isCurrentCancelled()) {
      waiting->resumeThrowing(std::make_exception_ptr(CancellationError()));
    } else if (verdictOn(path)) {
      followed.cancel();
      waiting->resume();
    }
  };
  // The monitor owns this handler, and the caller of the handler keeps the monitor alive.
  monitor->setPathUpdateHandler([check, &followed = *monitor](const NWPath& path) { check(followed, path); });
  monitor->start(OS_dispatch_queue::main());
  observer.startObservingIfNeeded([check, monitor](bool) { check(*monitor, monitor->currentPath()); });
}

void StatusFeed::yield(std::optional<NWPath> path, const NWPathMonitor& monitor) {
  lock_.lock();
  std::optional<Status>& place = row_.statuses.emplace_back();
  lock_.unlock();
  const Status status = statusOf(path ? *path : monitor.currentPath());
  lock_.lock();
  place = status;
  if (std::exchange(row_.isYielding, true)) {
    lock_.unlock();
    return;
  }
  while (!row_.statuses.empty() && row_.statuses.front()) {
    const Status next = *row_.statuses.front();
    row_.statuses.pop_front();
    lock_.unlock();
    continuation_.yield(next);
    lock_.lock();
  }
  row_.isYielding = false;
  lock_.unlock();
}

}  // namespace detail

bool isOnline() { return verdictOn(sharedMonitor().currentPath()); }

bool isExpensive() { return sharedMonitor().currentPath().isExpensive(); }

bool observableIsOnline() { return sharedWrapper().isOnline(); }

bool observedIsExpensive() { return sharedWrapper().isExpensive(); }

Async<void> nextIsOnline() {
  co_await withIsolation(Isolation::main(), [] { return waitOnTheMainThread(); });
}

AsyncStream<Status> statuses() {
  return AsyncStream<Status>(BufferingPolicy::unbounded(), [](const AsyncStream<Status>::Continuation& continuation) {
    const std::shared_ptr<NWPathMonitor> monitor = NWPathMonitor::make();
    const auto feed = std::make_shared<detail::StatusFeed>(continuation);
    monitor->setPathUpdateHandler([feed, &followed = *monitor](const NWPath& path) { feed->yield(path, followed); });
    const std::shared_ptr<Default<bool>::ValueObserver> observer = makeSettingObserver();
    observer->startObservingIfNeeded([feed, monitor](bool) { feed->yield(std::nullopt, *monitor); });
    continuation.setOnTermination([monitor, observer](const StreamTermination&) { monitor->cancel(); });
    monitor->start(OS_dispatch_queue::global(QualityOfService::default_));
  });
}

}  // namespace ReachabilityService
}  // namespace Tessaly::inline v1
