// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstdint>
#include <utility>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Observation/detail/AccessList.hpp"
#include "Tessaly/Core/Observation/detail/VersionWord.hpp"

namespace Tessaly::inline v1::detail {

class ChangeFollower;
class ObservationPoint;
class Tracking;

/// Who registers: a `Tracking`, which a change takes out of the list, or a `ChangeFollower`, which stays.
class Registrant {};

/// A registrant's place among those that are called at a change of one point.
struct Registration {
  enum class List : std::uint8_t { none, before, after, followers, marker };

  ObservationPoint* point = nullptr;
  Registrant* registrant = nullptr;
  Registration* next = nullptr;
  Registration* previous = nullptr;
  /// At which the point was read.
  VersionWord::Version version = 0;
  /// Under the point's lock. A marker stands for a thread that calls the followers, before the next one to be called.
  List list = List::none;
};

/// What is tracked: one property of one object. Made when somebody first reads the property under tracking; the
/// property keeps it from then on, and so does everything that has read it and every registration.
///
/// Reading records the version; a tracking that is installed compares, under the lock without which no change begins or
/// ends, so that no change by another thread is lost between the two.
///
/// Thread contract: thread-safe.
class TESSALY_EXPORT ObservationPoint {
 public:
  using Version = VersionWord::Version;

  ObservationPoint() = default;
  ObservationPoint(const ObservationPoint&) = delete;
  ObservationPoint& operator=(const ObservationPoint&) = delete;

  void retain() noexcept { references_.fetch_add(1, std::memory_order_relaxed); }
  void release(std::uint32_t count = 1) noexcept {
    if (references_.fetch_sub(count, std::memory_order_acq_rel) == count) delete this;
  }
  /// The same, but a thread keeps the reference that it gave back last: who goes on tracking what has just changed
  /// takes it again, at no cost. The end of the point or of the thread gives it back for good.
  void retainForReading() noexcept;
  void releaseAfterCall(std::uint32_t count) noexcept;

  [[nodiscard]] Version version() const noexcept { return word_.version(); }

  /// Adds the reading to the innermost list of this thread, if there is one.
  void recordAccess() {
    if (currentAccessList != nullptr) currentAccessList->add(*this);
  }
  /// Before the value changes: calls those who wait for that.
  void willChange() noexcept {
    Version last = 0;
    if (word_.beginChange(last)) return callBeforeChange(last);
    if (currentAccessList != nullptr) noteOwnChange(last, VersionWord::atBeginning(last));
  }
  /// After it: calls those who follow the property, and those who read the value while it was changing.
  void didChange() noexcept {
    Version last = 0;
    if (word_.endChange(last)) return callAfterChange(last);
    if (currentAccessList != nullptr) noteOwnChange(last, VersionWord::atEnd(last));
  }
  /// The property's end: one last change.
  void end() noexcept;

  enum class Link : std::uint8_t { made, changed, fired, ended };
  /// Registers a tracking, which read at a version. If a change is under way, or the tracking wants to be called after
  /// a change anyway, for the end of that. It is not registered if the point was changed since, if the tracking was
  /// fired from another point, or if this point has ended with that version.
  [[nodiscard]] Link link(Registration& registration, Tracking& tracking, Version version) noexcept;
  /// Registers a follower, unless the point has ended. False if the point was changed since the version.
  [[nodiscard]] bool linkFollower(Registration& registration, Version version) noexcept;
  /// True if it was registered.
  bool unlink(Registration& registration) noexcept;

 private:
  friend class AccessList;
  using List = Registration::List;

  ~ObservationPoint() = default;

  void callBeforeChange(Version last) noexcept TESSALY_RELEASE(word_);
  void callAfterChange(Version last) noexcept TESSALY_RELEASE(word_);
  void callTaken(Registration* taken) noexcept;
  /// Gives the first follower from there on its turn, and puts the marker behind it if there are more.
  struct FollowersTurn;
  [[nodiscard]] FollowersTurn nextTurn(Registration* from, Registration& marker) noexcept TESSALY_REQUIRES(word_);
  /// Calls those that a marker stands before. Gives a reference back.
  void callFollowersFrom(Registration& marker) noexcept;

  void insert(Registration& registration, List list, Registration* previous = nullptr) noexcept TESSALY_REQUIRES(word_);
  void remove(Registration& registration) noexcept TESSALY_REQUIRES(word_);
  [[nodiscard]] Registration* takeAll(Registration*& head) noexcept TESSALY_REQUIRES(word_);
  [[nodiscard]] Registration*& head(List list) noexcept TESSALY_REQUIRES(word_);
  void unlock(Version version) noexcept TESSALY_RELEASE(word_);
  void noteOwnChange(Version before, Version after) noexcept;

  VersionWord word_;
  Registration* before_ TESSALY_GUARDED_BY(word_) = nullptr;
  Registration* after_ TESSALY_GUARDED_BY(word_) = nullptr;
  Registration* followers_ TESSALY_GUARDED_BY(word_) = nullptr;
  std::atomic<std::uint32_t> references_{1};
  bool hasEnded_ TESSALY_GUARDED_BY(word_) = false;
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
