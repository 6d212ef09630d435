// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Observation/detail/AccessList.hpp"
#include "Tessaly/Core/Tasks/detail/FramePool.hpp"

namespace Tessaly::inline v1::detail {

/// The observer of a stored or computed property. Reference-counted.
///
/// Thread contract: thread-safe.
class TESSALY_EXPORT Observer {
 public:
  Observer(const Observer&) = delete;
  Observer& operator=(const Observer&) = delete;

  static void* operator new(std::size_t size) { return allocateFrame(size); }
  static void operator delete(void* memory, std::size_t size) noexcept { freeFrame(memory, size); }

  void retain() noexcept { references_.fetch_add(1, std::memory_order_relaxed); }
  void release() noexcept {
    if (references_.load(std::memory_order_acquire) == 1 || references_.fetch_sub(1, std::memory_order_acq_rel) == 1)
      delete this;
  }

  /// Ends the observation. No call of the observer begins afterwards, but a call may still be running on any thread.
  virtual void cancel() noexcept = 0;
  /// Ends the observation like `cancel`. If a call of the observer is running on another thread, waits until that call
  /// has ended.
  virtual void stop() noexcept = 0;

 protected:
  Observer() = default;
  virtual ~Observer();

 private:
  std::atomic<std::uint32_t> references_{1};
};

/// An observer of one `ObservationPoint`. The point notifies the observer after every change. The point keeps a
/// reference to the observer until the observation has ended and no running notification can reach the observer.
///
/// At most one thread calls the observer at a time. If another thread makes a change meanwhile, the calling thread
/// calls the observer once more. So at least one call begins after the final change. If the observer itself makes a
/// change during a call, that change is delivered at once, in a nested call.
///
/// Thread contract: thread-safe.
class TESSALY_EXPORT PointObserver : public Observer {
 public:
  void cancel() noexcept override;
  void stop() noexcept override;

 protected:
  PointObserver() = default;
  ~PointObserver() override;

  /// Registers with the point of the access, and takes over the reference that the access holds on the point. An
  /// observer must be registered only once. Returns true if the caller must call the observer, because the point has
  /// changed since the access. Returns false while a change announced by `willChange` is running. The end of that
  /// change calls the observer.
  [[nodiscard]] bool registerWith(const Access& access) noexcept;
  /// Registers like `registerWith`, and then calls the observer at once.
  void registerAndCall(const Access& access) noexcept;
  /// Calls the observer, as a change of the point does. The observer must be registered.
  void call() noexcept;

  /// Notifies the observer of a change. `accesses` is the innermost access list of the calling thread before the call,
  /// or null. During the call, the reads of this thread are not recorded.
  virtual void notify(const AccessList* accesses) noexcept = 0;
  /// Destroys the captures of the observer. Called once, after the observation has ended, while no call is running.
  virtual void discard() noexcept {}

 private:
  friend class ObservationPoint;
  friend class ObserverList;

  /// Whether the thread that is calling the observer must still call `discard`, and whether another thread waits for
  /// the end of `discard`.
  enum Discarding : std::uint32_t { settled, due, awaited };

  void waitUntilSettled() noexcept;

  ObservationPoint* point_ = nullptr;
  /// The next observer in the chain that `ObserverList::endTurn` returns.
  PointObserver* next_ = nullptr;
  /// A futex that holds a `Discarding` value.
  std::atomic<std::uint32_t> discarding_{settled};
  // The point's lock guards the members below, except `isCalled_`.
  std::uint32_t index_ = 0;
  /// The thread that is calling the observer, if `ObserverList::isShared()` was true when the call began. Otherwise 0.
  std::uint32_t caller_ = 0;
  /// Whether a thread is in a call of the observer that began while the turns of the `ObserverList` were not shared.
  /// Only the calling thread writes this flag.
  std::atomic<bool> isCalled_{false};
  bool hasEnded_ = false;
  bool hasMissedOne_ = false;
  bool discardIsDue_ = false;
};

}  // namespace Tessaly::inline v1::detail
