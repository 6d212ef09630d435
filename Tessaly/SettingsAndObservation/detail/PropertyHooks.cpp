// SPDX-License-Identifier: MIT
#include "Tessaly/SettingsAndObservation/detail/PropertyHooks.hpp"

namespace Tessaly::inline v1::detail {

void StoredPropertyHook::start(AccessList& accesses) noexcept {
  // A plain data member announces nothing.
  if (accesses.count() == 0) return;
  const Access access = accesses[0];
  accesses.surrender();
  if (registerWith(access)) call();
}

void StoredPropertyHook::notify(const AccessList* accesses) noexcept {
  static_cast<void>(accesses);
  if (!object_.expired()) monitoring_->monitors.tell(keyPath_, identity_);
}

}  // namespace Tessaly::inline v1::detail
