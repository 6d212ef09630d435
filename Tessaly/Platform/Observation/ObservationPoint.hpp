// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstdint>
#include <utility>

#include "Tessaly/Platform/Base/Export.hpp"
#include "Tessaly/Platform/Locks/UnfairLock.hpp"
#include "Tessaly/Platform/Observation/AccessList.hpp"

namespace Tessaly::inline v1::detail {

class Tracking;

/// A tracking's place among those that wait for a change of one point.
struct Registration {
  enum class List : std::uint8_t { none, before, after };

  ObservationPoint* point = nullptr;
  Tracking* tracking = nullptr;
  Registration* next = nullptr;
  Registration* previous = nullptr;
  /// Under the point's lock.
  List list = List::none;
};

/// What is tracked: one property of one object. Made when somebody first reads the property under tracking; the
/// property keeps it from then on, and so does every tracking that read it.
///
/// The version word counts the changes that have begun and those that are under way. Reading records it; a tracking
/// that is installed compares, so that no change by another thread is lost between the two. Who changes writes the word
/// and then reads the heads of the lists, who registers does it the other way round, all in one total order: one of
/// them sees the other (Dekker's argument).
///
/// Thread contract: thread-safe.
class TESSALY_EXPORT ObservationPoint {
 public:
  using Version = std::uint64_t;

  /// Whether a change was under way.
  [[nodiscard]] static constexpr bool isChanging(Version version) noexcept { return (version & underWayMask) != 0; }

  ObservationPoint() = default;
  ObservationPoint(const ObservationPoint&) = delete;
  ObservationPoint& operator=(const ObservationPoint&) = delete;

  void retain() noexcept { references_.fetch_add(1, std::memory_order_relaxed); }
  void release() noexcept {
    if (references_.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
  }

  [[nodiscard]] Version version() const noexcept { return version_.load(std::memory_order_seq_cst); }

  /// Adds the reading to the innermost list of this thread, if there is one.
  void recordAccess() {
    if (currentAccessList != nullptr) currentAccessList->add(*this);
  }
  /// Before the value changes: calls those who wait for that.
  void willChange() noexcept {
    const Version before = version_.fetch_add(begun + underWay, std::memory_order_seq_cst);
    if (currentAccessList != nullptr) noteOwnChange(before, before + begun + underWay);
    if (before_.load(std::memory_order_seq_cst) != nullptr) fire(before_);
  }
  /// After it: calls those who wait for that, and those who read the value while it was changing. A change that was not
  /// announced before, because the point did not exist yet, counts from here.
  void didChange() noexcept {
    Version before = version_.load(std::memory_order_relaxed);
    while (!version_.compare_exchange_weak(before, isChanging(before) ? before - underWay : before + begun,
                                           std::memory_order_seq_cst, std::memory_order_relaxed)) {
    }
    const bool wasAnnounced = isChanging(before);
    if (currentAccessList != nullptr) noteOwnChange(before, wasAnnounced ? before - underWay : before + begun);
    if (!wasAnnounced && before_.load(std::memory_order_seq_cst) != nullptr) fire(before_);
    if (after_.load(std::memory_order_seq_cst) != nullptr) fire(after_);
  }
  /// The property's end: one last change.
  void end() noexcept;

  enum class Link : std::uint8_t { made, changed, fired, ended };
  /// When a registration wants to be called.
  enum class Moment : std::uint8_t { beforeTheChange, afterTheChange };

  /// Adds a registration, of a reading at a version, to the list that it belongs to. It is not added if the point was
  /// changed since, if the tracking was fired from another point, or if this point has ended with that version.
  [[nodiscard]] Link link(Registration& registration, Version version, Moment moment) noexcept;
  /// True if it was in a list.
  bool unlink(Registration& registration) noexcept;

 private:
  friend class AccessList;

  static constexpr Version underWay = 1;
  static constexpr Version underWayMask = 0xffff;
  static constexpr Version begun = underWayMask + 1;

  ~ObservationPoint() = default;
  void fire(std::atomic<Registration*>& list) noexcept;
  void remove(Registration& registration) noexcept TESSALY_REQUIRES(lock_);
  void noteOwnChange(Version before, Version after) noexcept;
  std::atomic<Registration*>& head(Registration::List list) noexcept {
    return list == Registration::List::before ? before_ : after_;
  }

  std::atomic<Version> version_{0};
  /// Written under the lock.
  std::atomic<Registration*> before_{nullptr};
  std::atomic<Registration*> after_{nullptr};
  std::atomic<std::uint32_t> references_{1};
  UnfairLock lock_;
  bool hasEnded_ TESSALY_GUARDED_BY(lock_) = false;
};

/// A pointer to a point that is made when it is first needed.
class LazyObservationPoint {
 public:
  constexpr LazyObservationPoint() noexcept = default;
  LazyObservationPoint(const LazyObservationPoint&) = delete;
  LazyObservationPoint& operator=(const LazyObservationPoint&) = delete;
  ~LazyObservationPoint() {
    if (ObservationPoint* point = get(); point != nullptr) [[unlikely]] {
      point->end();
      point->release();
    }
  }

  void recordAccess() const {
    if (currentAccessList != nullptr) [[unlikely]]
      make().recordAccess();
  }
  void willChange() const noexcept {
    if (ObservationPoint* point = get(); point != nullptr) [[unlikely]]
      point->willChange();
  }
  void didChange() const noexcept {
    if (ObservationPoint* point = get(); point != nullptr) [[unlikely]]
      point->didChange();
  }

 private:
  [[nodiscard]] ObservationPoint* get() const noexcept { return point_.load(std::memory_order_acquire); }
  [[nodiscard]] ObservationPoint& make() const {
    ObservationPoint* point = get();
    return point != nullptr ? *point : makeSlowly();
  }
  TESSALY_EXPORT ObservationPoint& makeSlowly() const;

  mutable std::atomic<ObservationPoint*> point_{nullptr};
};

}  // namespace Tessaly::inline v1::detail
