// SPDX-License-Identifier: MIT
#include "Tessaly/SettingsAndObservation/KeyPathsMonitor.hpp"

#include "Tessaly/Core/Base/CallNotification.hpp"
#include "Tessaly/Core/Base/Error.hpp"
#include "Tessaly/Core/Base/FatalError.hpp"

namespace Tessaly::inline v1 {

std::size_t KeyPathsMonitor::Weak::hash() const noexcept {
  const auto alive = monitor.lock();
  constexpr std::size_t isAlive = 1;
  return alive == nullptr ? 0 : isAlive + 31 * std::hash<UUID>()(alive->id());
}

bool KeyPathsMonitor::Weak::operator==(const Weak& other) const noexcept {
  const auto first = monitor.lock();
  const auto second = other.monitor.lock();
  if (first == nullptr || second == nullptr) return first == second;
  return first->id() == second->id();
}

KeyPathsMonitor::Locked::Locked(const Locked& other) : lock_(other.lock_), monitors_(other.copyOfMonitors()) {}

KeyPathsMonitor::Locked& KeyPathsMonitor::Locked::operator=(const Locked& other) {
  if (this == &other) return *this;
  auto monitors = other.copyOfMonitors();
  lock_ = other.lock_;
  monitors_ = std::move(monitors);
  return *this;
}

KeyPathsMonitor::Locked::Monitors KeyPathsMonitor::Locked::copyOfMonitors() const {
  return lock_.withLock([&] { return monitors_; });
}

void KeyPathsMonitor::Locked::insert(const std::shared_ptr<KeyPathsMonitor>& monitor) {
  lock_.withLock([&] { monitors_.modify().try_emplace(monitor->id(), Weak{monitor}); });
}

void KeyPathsMonitor::Locked::remove(const KeyPathsMonitor& monitor) {
  lock_.withLock([&] {
    if (monitors_.read().contains(monitor.id())) monitors_.modify().erase(monitor.id());
  });
}

bool KeyPathsMonitor::Locked::isEmpty() const {
  return lock_.withLock([&] { return monitors_.read().empty(); });
}

void KeyPathsMonitor::Locked::tell(const AnyKeyPath& keyPath, const void* root) const {
  std::shared_ptr<KeyPathsMonitor> only;
  Monitors snapshot;
  lock_.withLock([&] {
    const auto& monitors = monitors_.read();
    // A single monitor needs no snapshot of the set.
    if (monitors.size() == 1) {
      only = monitors.begin()->second.monitor.lock();
    } else {
      snapshot = monitors_;
    }
  });
  if (only != nullptr) only->report(keyPath, root);
  for (const auto& [id, weak] : snapshot.read()) {
    if (const auto monitor = weak.monitor.lock()) monitor->report(keyPath, root);
  }
}

KeyPathsMonitor::KeyPathsMonitor(Private, OnChange onChange) : onChange_(std::move(onChange)) {}

KeyPathsMonitor::~KeyPathsMonitor() {
  for (const auto& [keyPath, weak] : keyPathToMonitorable_) {
    if (const auto root = weak.root()) weak.removeMonitor_(root.get(), *this);
  }
}

void KeyPathsMonitor::monitoring(const AnyKeyPath& keyPath, Update update) {
  const auto shared = std::make_shared<Update>(std::move(update));
  updates_.insert_or_assign(keyPath, shared);
  (*shared)(*this);
}

void KeyPathsMonitor::report(const AnyKeyPath& keyPath, const void* root) {
  if (const auto found = updates_.find(keyPath); found != updates_.end()) {
    const std::shared_ptr<Update> update =
        found->second;  // The function may set another update function for the key path.
    callNotification("An update function of a key-path monitor", *update, *this);
  }
  const auto found = keyPathToMonitorable_.find(keyPath);
  if (found == keyPathToMonitorable_.end()) return;
  if (found->second.identity_ != root || found->second.root_.expired()) return;
  if (onChange_.asynchronous_ == nullptr) {
    callNotification("The change handler of a key-path monitor", onChange_.synchronous_);
    return;
  }
  if (onChangeTask_.has_value()) onChangeTask_->cancel();
  onChangeTask_.emplace([callback = onChange_.asynchronous_] { return run(callback); });
}

Async<void> KeyPathsMonitor::run(OnChange::Shared callback) {
  try {
    co_await (*callback)();
  } catch (const CancellationError&) {
    co_return;  // Usually because a later change has replaced this task.
  } catch (...) {
    fatalError("The change handler of a key-path monitor has thrown", "Tessaly/KeyPathsMonitor", __LINE__);
  }
}

void KeyPathsMonitor::store(std::vector<std::shared_ptr<KeyPathsMonitor>>& monitors) {
  monitors.push_back(shared_from_this());
}

}  // namespace Tessaly::inline v1
