// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1::detail {

class ObservationPoint;
class AccessList;

/// The innermost list of this thread; null while nothing is tracked.
TESSALY_EXPORT extern __thread AccessList* currentAccessList [[gnu::tls_model("initial-exec")]];

/// A read of a point, and the point's version at that time. An access that an `AccessList` stores holds a reference on
/// the point.
struct Access {
  ObservationPoint* point;
  std::uint64_t version;
};

/// The points that a function reads, with the version at the first read of each point. The list contains each point
/// once. From its construction until `end()`, the list records the reads of its thread. While a nested list records,
/// the outer list does not record. `end()` of the nested list adds its points to the outer list.
///
/// Thread contract: thread-compatible.
class TESSALY_EXPORT AccessList {
 public:
  AccessList() noexcept : outer_(std::exchange(currentAccessList, this)) {}
  /// A list that expects reads of exactly the points in `expected`, in that order, and stores the versions there. The
  /// caller must hold references on these points, so the list takes none. An unexpected read turns the list into an
  /// ordinary list.
  AccessList(Access* expected, std::size_t count) noexcept : AccessList() {
    expected_ = expected;
    expectedCount_ = count;
  }
  AccessList(const AccessList&) = delete;
  AccessList& operator=(const AccessList&) = delete;
  ~AccessList() {
    end();
    if (count_ != 0) releaseAll();
    if (many_ != nullptr) discardMany();
  }

  /// Adds a read. The caller must load the version before it reads the value, so that a later change is detected.
  void add(ObservationPoint& point, std::uint64_t version) {
    if (expected_ == nullptr && count_ == 0) return addOnce(point, version);
    addSlowly(point, version);
  }
  /// Stops recording, and adds the points to the next outer list. A list that has recorded only expected reads adds
  /// none.
  void end() {
    if (std::exchange(hasEnded_, true)) return;
    currentAccessList = outer_;
    if (outer_ != nullptr) mergeIntoOuter();
  }
  /// Whether exactly the expected points were read. If so, the list is empty, and the versions are in `expected`. If
  /// not, the list contains the points that were read.
  [[nodiscard]] bool isAsExpected() {
    if (expected_ == nullptr) return false;
    if (seen_ == expectedCount_) return true;
    stopExpecting();
    return false;
  }
  /// Whether this list is `innermost` or one of the outer lists of `innermost`.
  [[nodiscard]] bool isIn(const AccessList* innermost) const noexcept {
    for (const AccessList* list = innermost; list != nullptr; list = list->outer_) {
      if (list == this) return true;
    }
    return false;
  }
  /// Records a change that the running function itself made, so that the change does not count as missed.
  void noteOwnChange(ObservationPoint& point, std::uint64_t before, std::uint64_t after) noexcept;

  [[nodiscard]] std::size_t count() const noexcept { return count_; }
  [[nodiscard]] const Access& operator[](std::size_t index) const noexcept {
    return many_ == nullptr ? few_[index] : accesses()[index];
  }
  /// Empties the list. The caller then owns the references.
  void surrender() noexcept { count_ = 0; }

 private:
  static constexpr std::size_t inlineCount = 8;

  /// The storage for more than `inlineCount` accesses.
  struct Many;

  [[nodiscard]] const Access* accesses() const noexcept;
  void addSlowly(ObservationPoint& point, std::uint64_t version);
  [[nodiscard]] bool isExpected(const ObservationPoint& point, std::uint64_t version);
  void stopExpecting();
  /// The recorded version of the point, or null if the point was not read.
  [[nodiscard]] std::uint64_t* find(const ObservationPoint& point) noexcept;
  void addOnce(ObservationPoint& point, std::uint64_t version);
  void rebuildIndex();
  void insertIntoIndex(std::size_t position) noexcept;
  void releaseAll() noexcept;
  void discardMany() noexcept;
  void mergeIntoOuter();

  AccessList* outer_;
  bool hasEnded_ = false;
  Access* expected_ = nullptr;
  std::size_t expectedCount_ = 0;
  std::size_t seen_ = 0;
  std::size_t again_ = 0;
  std::size_t count_ = 0;
  Access few_[inlineCount];
  Many* many_ = nullptr;
};

/// Disables tracking on this thread for a scope, so that reads by handlers do not enter the lists.
class WithoutTracking {
 public:
  WithoutTracking() noexcept : list_(std::exchange(currentAccessList, nullptr)) {}
  WithoutTracking(const WithoutTracking&) = delete;
  WithoutTracking& operator=(const WithoutTracking&) = delete;
  ~WithoutTracking() { currentAccessList = list_; }

  /// The list that was the innermost one before this scope.
  [[nodiscard]] const AccessList* list() const noexcept { return list_; }

 private:
  AccessList* list_;
};

}  // namespace Tessaly::inline v1::detail
