// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <utility>

#include "Tessaly/Core/Base/CallNotification.hpp"
#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Observation/detail/AccessList.hpp"
#include "Tessaly/Core/Observation/detail/ObservationPoint.hpp"
#include "Tessaly/Core/Tasks/detail/FramePool.hpp"

namespace Tessaly::inline v1::detail {

/// A handler that waits for the first change of any of several points: registered in each of them, called once.
///
/// Reference-counted: each registration that is in a list is worth a reference, and so is what keeps it. Its memory
/// comes from the lists that coroutine frames come from.
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

  /// Takes the points over from an ended list and registers in each. If one was changed by another thread since it was
  /// read, the handler is called at once; if a change of it is under way, after that. Called once, by who made it and
  /// holds the only reference, which this takes.
  void install(AccessList& accesses) noexcept;
  /// Calls the handler, unless that was done or the tracking was cancelled. The caller holds a reference.
  void fire() noexcept {
    if (claim()) finish(Finish::calling);
  }
  /// The same, from a point that has taken a registration out and tracks nothing meanwhile. If the registration is the
  /// only one, there is nothing to deregister.
  void fireTaken() noexcept {
    if (!claim()) return;
    count_ > 1 ? finish(Finish::calling) : finishHandler(Finish::calling);
  }
  /// Gives back the reference of a registration that was taken out. True if that was the last one of all and the point
  /// was the only one: then the reference on the point is the caller's.
  [[nodiscard]] bool releaseTaken() noexcept {
    if (count_ > 1 || !isSoleReference()) {
      release();
      return false;
    }
    one_.point = nullptr;
    delete this;
    return true;
  }
  /// Ends the tracking without a call. A call on another thread may be under way. The caller holds a reference.
  void cancel() noexcept {
    if (claim()) finish(Finish::silently);
  }
  [[nodiscard]] bool isFired() const noexcept { return isFired_.load(std::memory_order_seq_cst); }

 protected:
  enum class Finish : std::uint8_t { calling, silently };

  /// With room for a registration in each point of the list.
  explicit Tracking(const AccessList& accesses) : count_(static_cast<std::uint32_t>(accesses.count())) {
    if (count_ > 1) many_ = std::make_unique<Registration[]>(count_);
  }
  virtual ~Tracking() {
    if (count_ > 1 || one_.point != nullptr) releasePoints();
  }
  /// Calls the handler if told so, and destroys it.
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
  void releasePoints() noexcept;
  void installMany(AccessList& accesses) noexcept;
  [[nodiscard]] Registration* registrations() noexcept { return many_ != nullptr ? many_.get() : &one_; }

  std::atomic<std::uint32_t> references_{1};
  std::uint32_t count_ = 0;
  std::atomic<bool> isFired_{false};
  Registration one_;
  std::unique_ptr<Registration[]> many_;
};

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
