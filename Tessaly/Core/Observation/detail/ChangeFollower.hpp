// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <utility>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Observation/detail/AccessList.hpp"
#include "Tessaly/Core/Observation/detail/ObservationPoint.hpp"

namespace Tessaly::inline v1::detail {

/// Follows what a function reads: after each change it is told, on the changing thread, reads again and goes on.
///
/// It stays registered with what it has read. As long as a further reading finds the same, a change costs neither an
/// allocation nor a registration.
///
/// A change that is made while it is being told of another one, on the same thread, is told at once, nested. One made
/// on another thread is told when the thread that is at it has come to its end, by that thread: so the last value told
/// is the last one there was.
///
/// Reference-counted: until it is ended, being there to be told is worth a reference.
///
/// Thread contract: thread-safe.
class TESSALY_EXPORT ChangeFollower : public Registrant {
 public:
  ChangeFollower(const ChangeFollower&) = delete;
  ChangeFollower& operator=(const ChangeFollower&) = delete;

  void retain() noexcept { references_.fetch_add(1, std::memory_order_relaxed); }
  void release() noexcept {
    if (references_.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
  }

  /// Makes the first step. Called once. A throw of what it reads ends the follower and reaches the caller.
  void start();
  /// Ends it. No step begins afterwards; one may be under way.
  void cancel() noexcept;
  /// The same, and waits for a step that is under way on another thread.
  void stop() noexcept;

  /// What a point that has changed gives a follower.
  enum class Turn : std::uint8_t { none, outermost, nested };
  /// Asked by a point under its lock, so that this is there yet. Whoever has the turn then calls `change`.
  [[nodiscard]] Turn takeTurn() noexcept;
  void change(Turn turn) noexcept;

 protected:
  enum class Occasion : std::uint8_t { start, change };

  ChangeFollower() = default;
  virtual ~ChangeFollower();

  /// Calls `track` with a function that reads, or `trackTheSame`, and then tells of what it read. To call neither is to
  /// stop.
  virtual void follow(Occasion occasion) = 0;
  /// Called once, at the end, when no step is under way nor will be.
  virtual void letGo() noexcept {}

  /// Calls the function, and makes a step after the next change of what it read.
  template <typename Read>
  void track(Read read) {
    AccessList accesses(registrations_.get(), count_);
    {
      const Reading reading(*this, accesses);
      read();
      accesses.end();
    }
    if (!accesses.isAsExpected()) registerWith(accesses);
    isTracking_ = true;
  }
  /// What the function would read is known to be what it has read before.
  void trackTheSame() noexcept { isTracking_ = true; }

 private:
  class Reading {
   public:
    Reading(ChangeFollower& follower, const AccessList& accesses) noexcept
        : follower_(follower), outer_(std::exchange(follower.reading_, &accesses)) {}
    Reading(const Reading&) = delete;
    Reading& operator=(const Reading&) = delete;
    ~Reading() { follower_.reading_ = outer_; }

   private:
    ChangeFollower& follower_;
    const AccessList* outer_;
  };

  static constexpr std::uint32_t hasEnded = 0x8000'0000;
  static constexpr std::uint32_t hasMissedOne = 0x4000'0000;
  static constexpr std::uint32_t isAwaited = 0x2000'0000;
  static constexpr std::uint32_t threadMask = isAwaited - 1;

  void step(Occasion occasion);
  void takeSteps(Occasion occasion);
  [[nodiscard]] bool isRegisteredWith(const AccessList& accesses) const noexcept;
  void registerWith(AccessList& accesses);
  void deregister() noexcept;
  void finish() noexcept;

  std::atomic<std::uint32_t> references_{2};
  /// The thread that is at it, 0 if none is; whether a change came meanwhile, whether this has ended, whether somebody
  /// waits until the thread has gone. A futex.
  std::atomic<std::uint32_t> state_{0};
  // What follows belongs to who is at it.
  std::uint32_t count_ = 0;
  bool isTracking_ = false;
  /// What the function is reading.
  const AccessList* reading_ = nullptr;
  std::unique_ptr<Registration[]> registrations_;
};

}  // namespace Tessaly::inline v1::detail
