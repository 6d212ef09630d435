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

/// Observes every point that a function reads. After each change, the observer is notified on the changing thread and
/// calls the function again.
///
/// The observer stays registered with the points of the most recent run of the function. While later runs read the same
/// points in the same order, a change costs neither an allocation nor a registration.
///
/// Each notification runs `step()`, which calls the function. If `step()` makes a change before or after it calls the
/// observed function, that change is delivered at once, in a nested step. The observer ignores a change that the
/// function itself makes. If another thread makes a change during a step, the thread in the step makes one more step.
/// So at least one step begins after each change by another thread.
///
/// Thread contract: thread-safe.
class TESSALY_EXPORT ComputedObserver : public Observer {
 public:
  /// Makes the first step. The creator of the observer must call `start` exactly once. If `step()` throws during this
  /// call, the observer ends and the caller receives the exception.
  void start();
  /// Ends the observer. No step begins afterwards, but a step may still be running.
  void cancel() noexcept override;
  void stop() noexcept override;

 protected:
  /// The reason for a step: the start of the observation, or a change.
  enum class Occasion : std::uint8_t { start, change };

  ComputedObserver();
  ~ComputedObserver() override;

  /// Calls `track` with the reading function, and then passes on the function's result. A step that does not call
  /// `track` deregisters the observer from all points.
  virtual void step(Occasion occasion) = 0;
  /// Called once, at the end, when no step is running and no step will begin.
  virtual void discard() noexcept {}

  /// Calls the function. The next change of a property that the function reads causes a step.
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

  /// Makes `reading_` point to the list of the running function's reads. The destructor restores the earlier pointer.
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

  /// The permission to make a step: no step, an outermost step, or a step inside a step of this thread.
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

  /// A futex. The word contains the identifier of the thread that is in a step, or 0 if no thread is in a step. Three
  /// flags say that a change came during the step, that the observer has ended, and that a thread waits for the step's
  /// end.
  std::atomic<std::uint32_t> state_{0};
  // Only the thread that is in a step uses the members below.
  bool isTracking_ = false;
  /// The list of the running function's reads.
  const AccessList* reading_ = nullptr;
  /// The points that the function has read. The elements of `links_` hold the references to these points.
  std::vector<Access> accesses_;
  std::vector<Retained<Link>> links_;
};

}  // namespace Tessaly::inline v1::detail
