// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Observation/detail/ObserverList.hpp"

#include <algorithm>
#include <cstddef>
#include <memory>
#include <utility>

#include "Tessaly/Core/Observation/detail/AsymmetricFence.hpp"

namespace Tessaly::inline v1::detail {

struct ObserverList::Array {
  std::unique_ptr<PointObserver*[]> places;
  std::unique_ptr<Array> older;
};

ObserverList::ObserverList() noexcept : isAsymmetric_(AsymmetricFence::isAvailable()) {}

// Every observer holds a reference on the point, so no observer is left when the point is destroyed.
ObserverList::~ObserverList() { delete grown_; }

void ObserverList::add(PointObserver& observer) {
  if (count_ == capacity_) {
    if (turns_ == 0 && live_ <= capacity_ / 2) {
      compact();
    } else {
      grow();
    }
  }
  observer.retain();
  observer.index_ = count_;
  slots_[count_++] = &observer;
  ++live_;
}

void ObserverList::grow() {
  auto larger = std::make_unique<Array>();
  larger->places = std::make_unique_for_overwrite<PointObserver*[]>(std::size_t{2} * capacity_);
  std::copy_n(slots_, count_, larger->places.get());
  std::unique_ptr<Array> former(std::exchange(grown_, nullptr));
  if (turns_ > 0) larger->older = std::move(former);
  slots_ = larger->places.get();
  grown_ = larger.release();
  capacity_ *= 2;
}

void ObserverList::discardOlder() noexcept { grown_->older.reset(); }

void ObserverList::remove(PointObserver& observer) noexcept {
  slots_[observer.index_] = nullptr;
  --live_;
  while (count_ > 0 && slots_[count_ - 1] == nullptr) --count_;
  if (live_ < count_ / 4) compact();
}

void ObserverList::compact() noexcept {
  std::uint32_t kept = 0;
  for (std::uint32_t i = 0; i < count_; ++i) {
    PointObserver* const observer = slots_[i];
    if (observer == nullptr) continue;
    observer->index_ = kept;
    slots_[kept++] = observer;
  }
  count_ = kept;
}

void ObserverList::share(std::uint32_t thread) noexcept {
  if (isShared()) return;
  isShared_.store(true, std::memory_order_seq_cst);
  // A thread sees its own stores.
  if (holder_ != thread) AsymmetricFence::fenceAll();
}

PointObserver* ObserverList::sweep() noexcept {
  hasEndedOnes_ = false;
  PointObserver* swept = nullptr;
  for (std::uint32_t i = 0; i < count_; ++i) {
    PointObserver*& slot = slots_[i];
    if (slot == nullptr || !slot->hasEnded_) continue;
    slot->next_ = swept;
    swept = std::exchange(slot, nullptr);
    --live_;
  }
  compact();
  return swept;
}

}  // namespace Tessaly::inline v1::detail
