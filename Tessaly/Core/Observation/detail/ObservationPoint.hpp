// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstdint>
#include <utility>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Observation/detail/AccessList.hpp"
#include "Tessaly/Core/Observation/detail/ObserverList.hpp"
#include "Tessaly/Core/Observation/detail/VersionWord.hpp"

namespace Tessaly::inline v1::detail {

class ObservationPoint;
class PointObserver;
class Tracking;

/// The entry of a tracking in one of a point's lists.
struct Registration {
  /// The list that contains the entry: for calls before a change, or for calls after it.
  enum class List : std::uint8_t { none, before, after };

  ObservationPoint* point = nullptr;
  Tracking* tracking = nullptr;
  Registration* next = nullptr;
  Registration* previous = nullptr;
  /// Guarded by the point's lock.
  List list = List::none;
};

/// The trackings and observers of one property of one object. The first tracked read of the property makes the point.
/// The property, every recorded access, every registration and every observer hold a reference to the point.
///
/// Each recorded access contains the version at the time of the read. The registration of a tracking compares that
/// version with the current version under the lock. No change ends while another thread holds the lock. So a change by
/// another thread between the read and the registration is not lost.
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
  /// Like `retain`, but takes the reference from the thread's stock of references if the stock belongs to this point.
  /// So a thread that tracks a point again after each change needs no atomic operation. A thread releases its stock
  /// when it destroys the point's property, begins a stock for another point, or exits.
  void retainForReading() noexcept;
  void releaseAfterCall(std::uint32_t count) noexcept;

  [[nodiscard]] Version version() const noexcept { return word_.version(); }

  /// Adds the read to the innermost list of this thread, if there is a list.
  void recordAccess() {
    if (currentAccessList != nullptr) currentAccessList->add(*this, version());
  }
  /// Called before the value changes. Calls the trackings that wait for the beginning of a change. This function and
  /// `didChange` are never inlined. So an assignment to an untracked property stays short enough to be inlined.
  [[gnu::noinline]] void willChange() noexcept {
    Version last = 0;
    if (word_.beginChange(last)) callBeforeChange(last);
  }
  /// Called after the value has changed. Calls the observers, and the trackings that were registered during the change.
  [[gnu::noinline]] void didChange() noexcept {
    Version last = 0;
    if (word_.endChange(last)) return callAfterChange(last);
    if (currentAccessList != nullptr) noteOwnChange(last, VersionWord::atEnd(last));
  }
  /// Called when the property ends. The end counts as a last change.
  void end() noexcept;

  /// The outcome of `link`: the tracking is registered, or it is not registered for one of three reasons.
  enum class Link : std::uint8_t { made, changed, fired, ended };
  /// Registers a tracking whose function read the point at `version`. The point calls the tracking at most once:
  /// - at the end of the running change, if `willChange` has announced that change
  /// - otherwise at the next announced beginning of a change, or at the next end of a change that was not announced at
  ///   its beginning, whichever comes first
  ///
  /// In three cases the tracking is not registered:
  /// - `changed`: the version has changed, and either no announced change is running or the point has ended
  /// - `fired`: another point has already called the tracking
  /// - `ended`: the point has ended, and its version is still `version`
  [[nodiscard]] Link link(Registration& registration, Tracking& tracking, Version version) noexcept;
  /// Removes a registration. Returns whether a list contained it.
  bool unlink(Registration& registration) noexcept;

  /// Registers an observer that read the point at `version`. If a change is running, the thread that ends the change
  /// calls the observer. Returns true if the version has changed since the read, unless a change announced by
  /// `willChange` is still running. Then the caller must call the observer.
  [[nodiscard]] bool add(PointObserver& observer, Version version) noexcept;
  /// Registers an observer and calls it at once.
  void addAndCall(PointObserver& observer) noexcept;
  /// Calls a registered observer, as a change does.
  void call(PointObserver& observer) noexcept;
  /// Ends an observer's registration. If a thread is calling the observer, that thread discards the observer's captures
  /// after the call. Otherwise this function discards them. Returns true if a thread is calling the observer and is not
  /// the current thread.
  [[nodiscard]] bool remove(PointObserver& observer) noexcept;

 private:
  friend class AccessList;
  using List = Registration::List;

  ~ObservationPoint();

  void callBeforeChange(Version last) noexcept TESSALY_RELEASE(word_);
  void callAfterChange(Version last) noexcept TESSALY_RELEASE(word_);
  void callTaken(Registration* taken) noexcept;

  void addLocked(PointObserver& observer) TESSALY_REQUIRES(word_);
  void callLocked(PointObserver& observer, Version now) noexcept TESSALY_RELEASE(word_);
  /// Calls the observers of a turn, and ends the turn.
  void notify(const ObserverList::Turn& turn) noexcept;
  /// Calls the observers without the lock while the turn is not shared. Returns how many entries at the beginning of
  /// the list need no further call.
  template <bool isAsymmetric>
  [[nodiscard]] std::uint32_t notifyAlone(const ObserverList::Turn& turn, const AccessList* accesses) noexcept;
  /// Calls one observer, unless it has ended. If another thread is calling it, that thread will repeat the call.
  void notifyShared(ObserverList& list, PointObserver& observer, const AccessList* accesses) noexcept;
  /// Completes a call of the observer. Discards the observer's captures if `remove` has left that to this thread.
  /// Returns true if no other call of the observer is running and another thread has made a change during the call.
  /// Then the observer needs one more call.
  [[nodiscard]] bool settle(ObserverList& list, PointObserver& observer) noexcept;
  void discard(PointObserver& observer) noexcept;
  void endTurn(ObserverList& list) noexcept;

  void insert(Registration& registration, List list) noexcept TESSALY_REQUIRES(word_);
  void erase(Registration& registration) noexcept TESSALY_REQUIRES(word_);
  [[nodiscard]] Registration* takeAll(Registration*& head) noexcept TESSALY_REQUIRES(word_) {
    for (Registration* each = head; each != nullptr; each = each->next) each->list = List::none;
    return std::exchange(head, nullptr);
  }
  [[nodiscard]] Registration*& head(List list) noexcept TESSALY_REQUIRES(word_) {
    return list == List::before ? before_ : after_;
  }
  void unlock(Version version) noexcept TESSALY_RELEASE(word_) {
    const bool hasObservers = observers_ != nullptr && !observers_->isEmpty();
    word_.unlock(version, (before_ != nullptr ? VersionWord::before : VersionWord::noList) |
                              (after_ != nullptr ? VersionWord::after : VersionWord::noList) |
                              (hasObservers ? VersionWord::observers : VersionWord::noList));
  }
  void noteOwnChange(Version before, Version after) noexcept;

  VersionWord word_;
  Registration* before_ TESSALY_GUARDED_BY(word_) = nullptr;
  Registration* after_ TESSALY_GUARDED_BY(word_) = nullptr;
  /// Made when the first observer is added.
  ObserverList* observers_ TESSALY_GUARDED_BY(word_) = nullptr;
  std::atomic<std::uint32_t> references_{1};
  bool hasEnded_ TESSALY_GUARDED_BY(word_) = false;
};

/// A pointer to a point. The first tracked read makes the point.
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
