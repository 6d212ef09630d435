// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Observation/AccessList.hpp"

#include "Tessaly/Platform/Observation/ObservationPoint.hpp"

namespace Tessaly::inline v1::detail {

__thread AccessList* currentAccessList [[gnu::tls_model("initial-exec")]] = nullptr;

namespace {

std::size_t hashAddress(const ObservationPoint* point) noexcept {
  // Fibonacci hashing (Knuth, The Art of Computer Programming, volume 3, section 6.4).
  return static_cast<std::size_t>((reinterpret_cast<std::uintptr_t>(point) >> 4) * 0x9e3779b97f4a7c15U >> 20);
}

}  // namespace

Access* AccessList::find(ObservationPoint& point) noexcept {
  if (index_.empty()) {
    Access* const accesses = more_.empty() ? few_.data() : more_.data();
    // Newest first: a function that reads in a loop reads the same again.
    for (std::size_t i = count_; i-- > 0;) {
      if (accesses[i].point == &point) return &accesses[i];
    }
    return nullptr;
  }
  const std::size_t mask = index_.size() - 1;
  for (std::size_t slot = hashAddress(&point) & mask; index_[slot] != 0; slot = (slot + 1) & mask) {
    Access& access = more_[index_[slot] - 1];
    if (access.point == &point) return &access;
  }
  return nullptr;
}

void AccessList::add(ObservationPoint& point) {
  // The version is read before the value is: what changes from here on shows.
  if (find(point) == nullptr) addOnce(point, point.version());
}

void AccessList::addOnce(ObservationPoint& point, std::uint64_t version) {
  if (count_ < inlineCount && more_.empty()) {
    few_[count_] = {&point, version};
  } else {
    if (more_.empty()) more_.assign(few_.begin(), few_.end());
    more_.push_back({&point, version});
  }
  ++count_;
  point.retain();
  if (count_ <= 2 * inlineCount) return;
  if (2 * count_ > index_.size()) {
    rebuildIndex();
  } else {
    insertIntoIndex(count_ - 1);
  }
}

void AccessList::rebuildIndex() {
  index_.assign(std::max<std::size_t>(8 * inlineCount, 2 * index_.size()), 0);
  for (std::size_t position = 0; position < count_; ++position) insertIntoIndex(position);
}

void AccessList::insertIntoIndex(std::size_t position) noexcept {
  const std::size_t mask = index_.size() - 1;
  std::size_t slot = hashAddress(more_[position].point) & mask;
  while (index_[slot] != 0) slot = (slot + 1) & mask;
  index_[slot] = static_cast<std::uint32_t>(position) + 1;
}

void AccessList::end() {
  if (std::exchange(hasEnded_, true)) return;
  currentAccessList = outer_;
  if (outer_ == nullptr) return;
  for (std::size_t i = 0; i < count_; ++i) {
    const Access& access = accesses()[i];
    if (outer_->find(*access.point) == nullptr) outer_->addOnce(*access.point, access.version);
  }
}

void AccessList::noteOwnChange(ObservationPoint& point, std::uint64_t before, std::uint64_t after) noexcept {
  for (AccessList* list = this; list != nullptr; list = list->outer_) {
    Access* const access = list->find(point);
    if (access != nullptr && access->version == before) access->version = after;
  }
}

void AccessList::releaseAll() noexcept {
  for (std::size_t i = 0; i < count_; ++i) accesses()[i].point->release();
  count_ = 0;
}

}  // namespace Tessaly::inline v1::detail
