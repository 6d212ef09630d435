// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Observation/ObservationRegistrar.hpp"

#include <memory>

namespace Tessaly::inline v1 {

struct ObservationRegistrar::Entry {
  AnyKeyPath keyPath;
  Entry* next;
  detail::ObservationPoint* point;
};

detail::ObservationPoint* ObservationRegistrar::findSlowly(const AnyKeyPath& keyPath) const noexcept {
  for (const Entry* entry = first_.load(std::memory_order_acquire); entry != nullptr; entry = entry->next) {
    if (entry->keyPath == keyPath) return entry->point;
  }
  return nullptr;
}

void ObservationRegistrar::recordAccess(const AnyKeyPath& keyPath) const {
  std::unique_ptr<Entry> made;
  for (;;) {
    Entry* first = first_.load(std::memory_order_acquire);
    for (const Entry* entry = first; entry != nullptr; entry = entry->next) {
      if (entry->keyPath != keyPath) continue;
      if (made != nullptr) made->point->release();
      entry->point->recordAccess();
      return;
    }
    if (made == nullptr) {
      made = std::make_unique<Entry>(keyPath, nullptr, nullptr);
      made->point = new detail::ObservationPoint;
    }
    made->next = first;
    if (first_.compare_exchange_strong(first, made.get(), std::memory_order_acq_rel, std::memory_order_acquire)) {
      made.release()->point->recordAccess();
      return;
    }
  }
}

void ObservationRegistrar::endAll() noexcept {
  // A handler that is called here may read the ending object again. That read searches for entries and may add one.
  const Entry* ended = nullptr;
  while (first_.load(std::memory_order_acquire) != ended) {
    const Entry* const first = first_.load(std::memory_order_acquire);
    for (const Entry* entry = first; entry != ended; entry = entry->next) entry->point->end();
    ended = first;
  }
  Entry* entry = first_.exchange(nullptr, std::memory_order_acq_rel);
  while (entry != nullptr) {
    const std::unique_ptr<Entry> last(entry);
    entry = entry->next;
    last->point->release();
  }
}

}  // namespace Tessaly::inline v1
