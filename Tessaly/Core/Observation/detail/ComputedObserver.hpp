// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Base/Retained.hpp"
#include "Tessaly/Core/Observation/detail/AccessList.hpp"
#include "Tessaly/Core/Observation/detail/PointObserver.hpp"

namespace Tessaly::inline v1::detail {

/// Observes every point that a function reads. After each change it is notified on the changing thread, and calls the
/// function again.
///
/// It stays registered with the points of the last reading. While further readings find the same points, a change costs
/// neither an allocation nor a registration.
///
/// A change that the observer makes is delivered at once, nested. A change on another thread makes the thread that is
/// in a step take one more, so the last step is made after the last change.
///
/// Thread contract: thread-safe.
class TESSALY_EXPORT ComputedObserver : public Observer {
 public:
  /// Makes the first step. Called once. A throw of the function ends the observer and reaches the caller.
  void start();
  /// Ends it. No step begins afterwards; one may be under way.
  void cancel() noexcept override;
  void stop() noexcept override;

 protected:
  enum class Occasion : std::uint8_t { start, change };

  ComputedObserver();
  ~ComputedObserver() override;

  /// Calls `track` with a function that reads, and then passes on what it read. A step without `track` is the last.
  virtual void step(Occasion occasion) = 0;
  /// Called once, at the end, when no step is under way and none will be.
  virtual void discard() noexcept {}

  /// Calls the function, and makes a step after the next change of what it read.
  template <typename Read>
  void track(Read read) {
    AccessList accesses(accesses_.data(), accesses_.size());
    {
      const Reading reading(*this, accesses);
      read();
      accesses.end();
    }
    if (!accesses.isAsExpected()) registerWith(accesses);
    isTracking_ = true;
  }

 private:
  /// Passes on the changes of one point.
  class Link;

  class Reading {
   public:
    Reading(ComputedObserver& observer, const AccessList& accesses) noexcept
        : observer_(observer), outer_(std::exchange(observer.reading_, &accesses)) {}
    Reading(const Reading&) = delete;
    Reading& operator=(const Reading&) = delete;
    ~Reading() { observer_.reading_ = outer_; }

   private:
    ComputedObserver& observer_;
    const AccessList* outer_;
  };

  enum class Turn : std::uint8_t { none, outermost, nested };

  static constexpr std::uint32_t hasEnded = 0x8000'0000;
  static constexpr std::uint32_t hasMissedOne = 0x4000'0000;
  static constexpr std::uint32_t isAwaited = 0x2000'0000;
  static constexpr std::uint32_t threadMask = isAwaited - 1;

  void notify(const AccessList* accesses) noexcept;
  [[nodiscard]] Turn takeTurn(const AccessList* accesses) noexcept;
  void stepOnce(Occasion occasion);
  void stepUntilUpToDate(Occasion occasion);
  [[nodiscard]] bool isRegisteredWith(const AccessList& accesses) const noexcept;
  void registerWith(AccessList& accesses);
  void deregister() noexcept;
  void finish() noexcept;

  /// The thread that is in a step, or 0; whether a change came meanwhile, whether the observer has ended, whether a
  /// thread waits for the step's end. A futex.
  std::atomic<std::uint32_t> state_{0};
  // The rest belongs to the thread that is in a step.
  bool isTracking_ = false;
  /// The reading of the function.
  const AccessList* reading_ = nullptr;
  /// The points that it has read. The links hold the points.
  std::vector<Access> accesses_;
  std::vector<Retained<Link>> links_;
};

}  // namespace Tessaly::inline v1::detail
