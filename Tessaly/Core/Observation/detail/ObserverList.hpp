// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstdint>

#include "Tessaly/Core/Observation/detail/PointObserver.hpp"

namespace Tessaly::inline v1::detail {

/// The observers of one `ObservationPoint`, in the order in which they were added. The list also counts the turns of
/// the threads that call the observers.
///
/// A turn is the period in which a thread calls observers of the list. A thread that has changed the value takes a
/// turn. During a turn no entry moves: new observers are appended, ended ones are only marked, and an outgrown array is
/// kept.
///
/// While the turns are not shared, one thread holds them all and calls observers without the point's lock. Before each
/// call, that thread marks the observer by `AsymmetricFence::publish`, and then checks whether the turns are shared. A
/// second thread that changes the value or ends an observation must know which thread calls which observer. So the
/// second thread first shares the turns: it sets a flag, and then executes a fence in all threads. From then on, every
/// thread takes the lock before and after each call of an observer. This ends when no turn remains.
///
/// Thread contract: guarded by the point's lock, except `isShared` and the members of `Turn`.
class ObserverList {
 public:
  /// The state that a thread with a turn may read without the lock. This state does not change during the turn.
  struct Turn {
    ObserverList* list = nullptr;
    PointObserver* const* places = nullptr;
    std::uint32_t count = 0;
    bool isShared = false;
    /// Whether `share` can use the asymmetric fence.
    bool isAsymmetric = false;
  };

  ObserverList() noexcept;
  ObserverList(const ObserverList&) = delete;
  ObserverList& operator=(const ObserverList&) = delete;
  ~ObserverList();

  [[nodiscard]] bool isEmpty() const noexcept { return live_ == 0; }
  [[nodiscard]] bool hasTurns() const noexcept { return turns_ > 0; }
  /// Appends an observer and adds a reference to it.
  void add(PointObserver& observer);
  /// Removes an observer. Call this function only while `hasTurns()` is false. The caller takes over the reference that
  /// the list held to the observer.
  void remove(PointObserver& observer) noexcept;
  /// Records that an observation has ended. When no turn remains, `endTurn` removes the observers that have ended.
  void removeLater() noexcept { hasEndedOnes_ = true; }

  [[nodiscard]] Turn beginTurn(std::uint32_t thread) noexcept {
    if (turns_ == 0) [[likely]] {
      holder_ = thread;
    } else if (holder_ != thread) {
      share(thread);
    }
    ++turns_;
    return {this, slots_, count_, isShared(), isAsymmetric_};
  }
  /// Shares the turns: until no turn remains, every thread takes the point's lock before and after each later call of
  /// an observer. Then `callerOf` is exact for all observers. `thread` is the calling thread.
  void share(std::uint32_t thread) noexcept;
  /// Ends a turn. If no other turn remains, removes the ended observers from the list and returns them, linked by
  /// `next_`. The caller then owns the list's references to them. Returns null if other turns remain or no observer has
  /// ended.
  [[nodiscard]] PointObserver* endTurn() noexcept {
    if (--turns_ > 0) return nullptr;
    isShared_.store(false, std::memory_order_relaxed);
    if (grown_ != nullptr) [[unlikely]]
      discardOlder();
    return hasEndedOnes_ ? sweep() : nullptr;
  }

  [[nodiscard]] bool isShared() const noexcept { return isShared_.load(std::memory_order_seq_cst); }
  /// The thread that is calling the observer, or 0. Exact if there are no turns, or if the turns are shared.
  [[nodiscard]] std::uint32_t callerOf(const PointObserver& observer) const noexcept {
    if (observer.caller_ != 0) return observer.caller_;
    return observer.isCalled_.load(std::memory_order_acquire) ? holder_ : 0;
  }

 private:
  static constexpr std::uint32_t inlineCount = 4;

  /// A grown array, and the outgrown arrays that a turn may still read.
  struct Array;

  void grow();
  void discardOlder() noexcept;
  [[nodiscard]] PointObserver* sweep() noexcept;
  /// Closes the gaps that removed observers left.
  void compact() noexcept;

  std::atomic<bool> isShared_{false};
  bool hasEndedOnes_ = false;
  const bool isAsymmetric_;
  std::uint32_t turns_ = 0;
  /// While there are turns: the thread that took the first of them.
  std::uint32_t holder_ = 0;
  std::uint32_t count_ = 0;
  std::uint32_t live_ = 0;
  std::uint32_t capacity_ = inlineCount;
  PointObserver* few_[inlineCount] = {};
  PointObserver** slots_ = few_;
  Array* grown_ = nullptr;
};

}  // namespace Tessaly::inline v1::detail
