// SPDX-License-Identifier: MIT
#include "Tessaly/SettingsAndObservation/MonitorableObject.hpp"

#include <algorithm>

namespace Tessaly::inline v1 {

MonitorableObject::~MonitorableObject() {
  const auto monitoring = detail::TaskReference<Monitoring>::adopt(monitoring_.load(std::memory_order_acquire));
  if (!monitoring) return;
  Hooks ended;
  {
    UnfairLock::Guard guard(monitoring->lock);
    ended = std::exchange(monitoring->hooks, {});
  }
  for (const auto& [keyPath, hook] : ended) hook->cancel();
}

void MonitorableObject::StoredHook::start(detail::AccessList& accesses) noexcept {
  // A plain data member announces nothing.
  if (accesses.count() == 0) return;
  const detail::Access access = accesses[0];
  accesses.surrender();
  if (registerWith(access)) call();
}

void MonitorableObject::StoredHook::notify(const detail::AccessList* accesses) noexcept {
  static_cast<void>(accesses);
  if (!object_.expired()) monitoring_->monitors.tell(keyPath_, identity_);
}

MonitorableObject::Monitoring& MonitorableObject::makeMonitoring() {
  auto made = std::make_unique<Monitoring>();
  Monitoring* current = nullptr;
  if (monitoring_.compare_exchange_strong(current, made.get(), std::memory_order_acq_rel, std::memory_order_acquire)) {
    return *made.release();
  }
  return *current;
}

bool MonitorableObject::isFollowing(const AnyKeyPath& keyPath) {
  Monitoring& monitoring = this->monitoring();
  UnfairLock::Guard guard(monitoring.lock);
  return std::ranges::find(monitoring.hooks, keyPath, &Hooks::value_type::first) != monitoring.hooks.end();
}

bool MonitorableObject::keepHook(const AnyKeyPath& keyPath, const Hook& hook) {
  Monitoring& monitoring = this->monitoring();
  UnfairLock::Guard guard(monitoring.lock);
  if (std::ranges::find(monitoring.hooks, keyPath, &Hooks::value_type::first) != monitoring.hooks.end()) return false;
  monitoring.hooks.emplace_back(keyPath, hook);
  return true;
}

void MonitorableObject::removeMonitor(const KeyPathsMonitor& monitor) {
  Monitoring& monitoring = this->monitoring();
  monitoring.monitors.remove(monitor);
  Hooks ended;
  {
    UnfairLock::Guard guard(monitoring.lock);
    // Whoever registers inserts his monitor before he looks for the hooks.
    if (monitoring.monitors.isEmpty()) ended = std::exchange(monitoring.hooks, {});
  }
  for (const auto& [keyPath, hook] : ended) hook->cancel();
}

}  // namespace Tessaly::inline v1
