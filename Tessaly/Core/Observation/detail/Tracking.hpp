// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <utility>

#include "Tessaly/Core/Base/CallNotification.hpp"
#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Observation/detail/AccessList.hpp"
#include "Tessaly/Core/Observation/detail/ObservationPoint.hpp"
#include "Tessaly/Core/Tasks/detail/FramePool.hpp"

namespace Tessaly::inline v1::detail {

/// A handler that is registered with one or more points. It is called at most once, at the first change of any of these
/// points.
///
/// A tracking is reference-counted. Each registration in a list holds a reference, and so does each owner. The memory
/// of a tracking comes from the free lists of coroutine frames.
///
/// Thread contract: thread-safe.
class TESSALY_EXPORT Tracking {
 public:
  static void* operator new(std::size_t size) { return allocateFrame(size); }
  static void operator delete(void* memory, std::size_t size) noexcept { freeFrame(memory, size); }

  Tracking(const Tracking&) = delete;
  Tracking& operator=(const Tracking&) = delete;

  void retain() noexcept { references_.fetch_add(1, std::memory_order_relaxed); }
  void release() noexcept {
    if (isSoleReference() || references_.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
  }

  /// Takes over the points of `accesses` and registers with each point. The caller must have called `accesses.end()`.
  /// If a point has changed since its read and that change has ended, the handler is called at once. If the change is
  /// still running, the handler is called after the change. The creator of the tracking must call this function once,
  /// while no other thread knows the tracking. This function takes over one reference of the creator.
  void install(AccessList& accesses) noexcept;
  /// Calls the handler, unless it was called or the tracking was cancelled before. The caller must hold a reference to
  /// the tracking.
  void fire() noexcept {
    if (claim()) finish(Finish::calling);
  }
  /// Like `fire`, for a point that has removed a registration of this tracking. The caller must disable the recording
  /// of reads on this thread during the call (`WithoutTracking`). If the tracking has more than one registration, this
  /// function removes the others.
  void fireTaken() noexcept {
    if (!claim()) return;
    count_ > 1 ? finish(Finish::calling) : finishHandler(Finish::calling);
  }
  /// Releases the reference that a removed registration held on this tracking. Returns true if no other reference is
  /// left and the tracking has only one point. Then the caller owns the tracking's reference to that point.
  [[nodiscard]] bool releaseTaken() noexcept {
    if (count_ > 1 || !isSoleReference()) {
      release();
      return false;
    }
    one_.point = nullptr;
    delete this;
    return true;
  }
  /// Ends the tracking without calling the handler. A call of the handler that began earlier may still be running on
  /// another thread. The caller must hold a reference to the tracking.
  void cancel() noexcept {
    if (claim()) finish(Finish::silently);
  }
  [[nodiscard]] bool isFired() const noexcept { return isFired_.load(std::memory_order_seq_cst); }

 protected:
  /// Whether the handler is called before it is destroyed.
  enum class Finish : std::uint8_t { calling, silently };

  /// Makes a tracking with room for one registration per point of the list.
  explicit Tracking(const AccessList& accesses) : count_(static_cast<std::uint32_t>(accesses.count())) {
    if (count_ > 1) makeRoomForMany();
  }
  virtual ~Tracking() {
    if (count_ > 1 || one_.point != nullptr) releasePoints();
  }
  /// Calls the handler if `finish` is `calling`, and then destroys the handler.
  virtual void finishHandler(Finish finish) noexcept = 0;

 private:
  [[nodiscard]] bool isSoleReference() const noexcept { return references_.load(std::memory_order_acquire) == 1; }
  [[nodiscard]] bool claim() noexcept {
    if (!isSoleReference()) return !isFired_.exchange(true, std::memory_order_seq_cst);
    if (isFired_.load(std::memory_order_relaxed)) return false;
    isFired_.store(true, std::memory_order_relaxed);
    return true;
  }
  void finish(Finish finish) noexcept;
  void makeRoomForMany();
  /// Releases the points, and frees the room for many registrations.
  void releasePoints() noexcept;
  void installMany(AccessList& accesses) noexcept;
  [[nodiscard]] Registration* registrations() noexcept { return many_ != nullptr ? many_ : &one_; }

  std::atomic<std::uint32_t> references_{1};
  std::uint32_t count_ = 0;
  std::atomic<bool> isFired_{false};
  Registration one_;
  Registration* many_ = nullptr;
};

/// A tracking that stores its handler in itself.
template <typename Handler>
class HandlerTracking final : public Tracking {
  static_assert(alignof(Handler) <= __STDCPP_DEFAULT_NEW_ALIGNMENT__);

 public:
  HandlerTracking(const AccessList& accesses, Handler handler) : Tracking(accesses), handler_(std::move(handler)) {}

 private:
  ~HandlerTracking() override = default;
  void finishHandler(Finish finish) noexcept override {
    if (finish == Finish::calling && handler_.has_value())
      callNotification("The change handler of an observation", *handler_);
    handler_.reset();
  }

  std::optional<Handler> handler_;
};

}  // namespace Tessaly::inline v1::detail
