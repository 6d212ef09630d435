// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <utility>

#include "Tessaly/Platform/Base/Export.hpp"
#include "Tessaly/Platform/Locks/UnfairLock.hpp"
#include "Tessaly/Platform/Observation/Tracking.hpp"
#include "Tessaly/Platform/Tasks/TaskReference.hpp"

namespace Tessaly::inline v1::detail {

/// Follows what a function reads: after each change it is told, on the changing thread, reads again and goes on.
///
/// A change that is made while it is being told of another one, on the same thread, is told at once, nested. One made
/// on another thread is told when the thread that is at it has come to its end, by that thread: so the last value told
/// is the last one there was.
///
/// Thread contract: thread-safe. Held by `std::shared_ptr`; what is tracked keeps it until it is stopped.
class TESSALY_EXPORT ChangeFollower : public std::enable_shared_from_this<ChangeFollower> {
 public:
  ChangeFollower(const ChangeFollower&) = delete;
  ChangeFollower& operator=(const ChangeFollower&) = delete;
  virtual ~ChangeFollower();

  /// Makes the first step. Called once.
  void start() {
    const WithoutTracking untracked;
    step(Occasion::start);
  }
  /// Ends it. No step begins afterwards; one may be under way.
  void cancel() noexcept;
  /// The same, and waits for a step that is under way on another thread.
  void stop() noexcept;

 protected:
  enum class Occasion : std::uint8_t { start, change };

  ChangeFollower() = default;

  /// Calls `track` with a function that reads, and then tells of what it read. Not to call `track` is to stop.
  virtual void follow(Occasion occasion) = 0;

  /// Calls the function, and makes a step after the next change of what it read.
  template <typename Read>
  void track(Read read) {
    AccessList accesses;
    read();
    accesses.end();
    install(accesses);
  }

 private:
  void step(Occasion occasion);
  void install(AccessList& accesses);

  UnfairLock lock_;
  bool isStopped_ TESSALY_GUARDED_BY(lock_) = false;
  /// A change came while somebody was at it, or while what there is was being read.
  bool hasMissedOne_ TESSALY_GUARDED_BY(lock_) = false;
  bool isInstalling_ TESSALY_GUARDED_BY(lock_) = false;
  TaskReference<Tracking> tracking_ TESSALY_GUARDED_BY(lock_);
  /// Who is at it; 0 if nobody is. A futex.
  std::atomic<std::uint32_t> thread_{0};
  std::atomic<std::uint32_t> waiters_{0};
};

}  // namespace Tessaly::inline v1::detail
