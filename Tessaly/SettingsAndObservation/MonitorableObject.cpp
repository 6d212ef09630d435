// SPDX-License-Identifier: MIT
#include "Tessaly/SettingsAndObservation/MonitorableObject.hpp"

#include <algorithm>

namespace Tessaly::inline v1 {

MonitorableObject::~MonitorableObject() {
  const auto monitoring = Retained<detail::Monitoring>::adopt(monitoring_.load(std::memory_order_acquire));
  if (!monitoring) return;
  detail::PropertyHooks ended;
  {
    UnfairLock::Guard guard(monitoring->lock);
    ended = std::exchange(monitoring->hooks, {});
  }
  for (const auto& [keyPath, hook] : ended) hook->cancel();
}

detail::Monitoring& MonitorableObject::makeMonitoring() {
  auto made = std::make_unique<detail::Monitoring>();
  detail::Monitoring* current = nullptr;
  if (monitoring_.compare_exchange_strong(current, made.get(), std::memory_order_acq_rel, std::memory_order_acquire)) {
    return *made.release();
  }
  return *current;
}

bool MonitorableObject::isFollowing(const AnyKeyPath& keyPath) {
  detail::Monitoring& monitoring = this->monitoring();
  UnfairLock::Guard guard(monitoring.lock);
  return std::ranges::find(monitoring.hooks, keyPath, &detail::PropertyHooks::value_type::first) !=
         monitoring.hooks.end();
}

bool MonitorableObject::keepHook(const AnyKeyPath& keyPath, const detail::PropertyHook& hook) {
  detail::Monitoring& monitoring = this->monitoring();
  UnfairLock::Guard guard(monitoring.lock);
  if (std::ranges::find(monitoring.hooks, keyPath, &detail::PropertyHooks::value_type::first) != monitoring.hooks.end())
    return false;
  monitoring.hooks.emplace_back(keyPath, hook);
  return true;
}

void MonitorableObject::removeMonitor(const KeyPathsMonitor& monitor) {
  detail::Monitoring& monitoring = this->monitoring();
  monitoring.monitors.remove(monitor);
  detail::PropertyHooks ended;
  {
    UnfairLock::Guard guard(monitoring.lock);
    // A registration inserts its monitor before it searches for the hooks.
    if (monitoring.monitors.isEmpty()) ended = std::exchange(monitoring.hooks, {});
  }
  for (const auto& [keyPath, hook] : ended) hook->cancel();
}

}  // namespace Tessaly::inline v1
