// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Observation/detail/AccessList.hpp"

#include <iterator>
#include <memory>
#include <utility>
#include <vector>

#include "Tessaly/Core/Observation/detail/ObservationPoint.hpp"

namespace Tessaly::inline v1::detail {

__thread AccessList* currentAccessList [[gnu::tls_model("initial-exec")]] = nullptr;

namespace {

std::size_t hashAddress(const ObservationPoint* point) noexcept {
  // Fibonacci hashing (Knuth, The Art of Computer Programming, volume 3, section 6.4).
  return static_cast<std::size_t>((reinterpret_cast<std::uintptr_t>(point) >> 4) * 0x9e3779b97f4a7c15U >> 20);
}

}  // namespace

struct AccessList::Many {
  std::vector<Access> accesses;
  /// A hash table that maps the address of a point to its position in `accesses` plus one. The table has open
  /// addressing and is at most half full.
  std::vector<std::uint32_t> index;
};

const Access* AccessList::accesses() const noexcept { return many_ == nullptr ? few_ : many_->accesses.data(); }

void AccessList::discardMany() noexcept { delete std::exchange(many_, nullptr); }

std::uint64_t* AccessList::find(const ObservationPoint& point) noexcept {
  // The search begins with the newest entry, because a function that reads in a loop reads the same points again.
  if (expected_ != nullptr) {
    for (std::size_t i = seen_; i-- > 0;) {
      if (expected_[i].point == &point) return &expected_[i].version;
    }
    return nullptr;
  }
  if (many_ == nullptr) {
    for (std::size_t i = count_; i-- > 0;) {
      if (few_[i].point == &point) return &few_[i].version;
    }
    return nullptr;
  }
  const std::size_t mask = many_->index.size() - 1;
  for (std::size_t slot = hashAddress(&point) & mask; many_->index[slot] != 0; slot = (slot + 1) & mask) {
    Access& access = many_->accesses[many_->index[slot] - 1];
    if (access.point == &point) return &access.version;
  }
  return nullptr;
}

void AccessList::addSlowly(ObservationPoint& point, std::uint64_t version) {
  if (expected_ != nullptr && isExpected(point, version)) return;
  if (find(point) == nullptr) addOnce(point, version);
}

bool AccessList::isExpected(const ObservationPoint& point, std::uint64_t version) {
  if (seen_ < expectedCount_ && expected_[seen_].point == &point) {
    expected_[seen_].version = version;
    ++seen_;
    return true;
  }
  // The function may be reading the point again. A function often repeats its reads in the same order. If it does not,
  // a short list is searched.
  if (again_ >= seen_) again_ = 0;
  if (again_ < seen_ && expected_[again_].point == &point) {
    ++again_;
    return true;
  }
  if (seen_ <= inlineCount && find(point) != nullptr) return true;
  stopExpecting();
  return false;
}

void AccessList::stopExpecting() {
  const Access* const expected = std::exchange(expected_, nullptr);
  for (std::size_t i = 0; i < seen_; ++i) addOnce(*expected[i].point, expected[i].version);
}

void AccessList::addOnce(ObservationPoint& point, std::uint64_t version) {
  if (count_ < inlineCount && many_ == nullptr) {
    few_[count_] = {&point, version};
  } else {
    if (many_ == nullptr) {
      auto many = std::make_unique<Many>();
      many->accesses.assign(std::begin(few_), std::end(few_));
      many->index.assign(8 * inlineCount, 0);
      many_ = many.release();
      for (std::size_t position = 0; position < count_; ++position) insertIntoIndex(position);
    }
    if (2 * (count_ + 1) > many_->index.size()) rebuildIndex();
    many_->accesses.push_back({&point, version});
    insertIntoIndex(count_);
  }
  ++count_;
  point.retainForReading();
}

void AccessList::rebuildIndex() {
  many_->index.assign(2 * many_->index.size(), 0);
  for (std::size_t position = 0; position < count_; ++position) insertIntoIndex(position);
}

void AccessList::insertIntoIndex(std::size_t position) noexcept {
  const std::size_t mask = many_->index.size() - 1;
  std::size_t slot = hashAddress(many_->accesses[position].point) & mask;
  while (many_->index[slot] != 0) slot = (slot + 1) & mask;
  many_->index[slot] = static_cast<std::uint32_t>(position) + 1;
}

void AccessList::mergeIntoOuter() {
  for (std::size_t i = 0; i < count_; ++i) {
    const Access& access = accesses()[i];
    outer_->add(*access.point, access.version);
  }
}

void AccessList::noteOwnChange(ObservationPoint& point, std::uint64_t before, std::uint64_t after) noexcept {
  for (AccessList* list = this; list != nullptr; list = list->outer_) {
    std::uint64_t* const version = list->find(point);
    if (version != nullptr && *version == before) *version = after;
  }
}

void AccessList::releaseAll() noexcept {
  for (std::size_t i = 0; i < count_; ++i) accesses()[i].point->release();
  count_ = 0;
}

}  // namespace Tessaly::inline v1::detail
