// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Base/Retained.hpp"
#include "Tessaly/Core/Locks/UnfairLock.hpp"
#include "Tessaly/Core/Observation/KeyPath.hpp"
#include "Tessaly/Core/Observation/detail/ComputedObserver.hpp"
#include "Tessaly/Core/Observation/detail/PointObserver.hpp"
#include "Tessaly/SettingsAndObservation/KeyPathsMonitor.hpp"

namespace Tessaly::inline v1::detail {

/// A reference to the observer of one property of a monitored object.
using PropertyHook = Retained<Observer>;
using PropertyHooks = std::vector<std::pair<AnyKeyPath, PropertyHook>>;

/// The monitors and the hooks of an object. The object and the hooks of its stored properties share the ownership of
/// this state.
struct Monitoring {
  KeyPathsMonitor::Locked monitors;
  UnfairLock lock;
  PropertyHooks hooks TESSALY_GUARDED_BY(lock);
  std::atomic<std::uint32_t> references{1};

  void retain() noexcept { references.fetch_add(1, std::memory_order_relaxed); }
  void release() noexcept {
    if (references.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
  }
};

/// Reports the changes of a stored property to the object's monitors. The hook reads no part of the object, because
/// another thread may be destroying the object.
class TESSALY_EXPORT StoredPropertyHook final : public PointObserver {
 public:
  StoredPropertyHook(std::weak_ptr<const void> object, const void* identity, Monitoring& monitoring,
                     const AnyKeyPath& keyPath) noexcept
      : object_(std::move(object)),
        identity_(identity),
        monitoring_(Retained<Monitoring>::sharing(monitoring)),
        keyPath_(keyPath) {}

  void start(AccessList& accesses) noexcept;

 private:
  void notify(const AccessList* accesses) noexcept override;

  const std::weak_ptr<const void> object_;
  const void* const identity_;
  const Retained<Monitoring> monitoring_;
  const AnyKeyPath keyPath_;
};

}  // namespace Tessaly::inline v1::detail
