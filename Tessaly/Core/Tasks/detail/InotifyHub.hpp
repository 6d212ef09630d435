// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string_view>
#include <vector>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Base/detail/OwnedDescriptor.hpp"
#include "Tessaly/Core/Locks/UnfairLock.hpp"

namespace Tessaly::inline v1::detail {

/// The one inotify instance of the process. All subscribers share the instance, because the system gives each user only
/// a few instances. The instance is opened at first use and never closed.
///
/// The hub's own thread reads the events, and also waits for changes of the system's mounts. So a slow subscriber
/// delays later events, but delays neither timers nor tasks.
///
/// Thread contract: thread-safe.
class TESSALY_EXPORT InotifyHub {
 public:
  class Subscriber {
   public:
    virtual ~Subscriber() = default;
    /// Records an event. Returns whether the hub should call `wake`. Called under the hub's lock, so `note` must not
    /// use the hub.
    virtual bool note(int watch, std::uint32_t mask, std::string_view name) noexcept = 0;
    /// Records that volumes were mounted or unmounted. The kernel sends no inotify event for a mount. It reports an
    /// unmount only to watches on the unmounted volume. Otherwise like `note`.
    virtual bool noteMounts() noexcept { return false; }
    /// Called without the lock after `note` or `noteMounts` has returned true, perhaps once for several events. Must
    /// return soon: later events wait.
    virtual void wake() noexcept = 0;
    /// Whether later events may wait for 1 ms if events follow each other within 30 µs. Such a wait saves wake-ups of
    /// the hub's thread if the process itself causes many events. The events wait only if all subscribers are patient.
    /// The hub calls this function only in `add`, so later changes of the result have no effect.
    [[nodiscard]] virtual bool isPatient() const noexcept { return false; }
  };

  static InotifyHub& shared() noexcept;

  /// Watches a path for the events of the mask. The subscriber may also receive events that other subscribers
  /// requested, but no event from before this call. Returns the number of the watch, or the negative `errno`.
  ///
  /// The caller must have just examined the path. If the volume does not answer, the caller blocks in that examination,
  /// and not here under the hub's lock. The caller may hold locks that a subscriber's `wake` needs, because the hub
  /// calls `wake` on another thread. But `add` may call `note` on this thread.
  int add(const char* path, std::uint32_t mask, const std::shared_ptr<Subscriber>& subscriber);
  /// Reverts one `add`. If the subscriber added the same watch several times, it needs one `remove` for each `add`.
  /// After the final `remove`, the hub passes no event of that watch to the subscriber. A `wake` for earlier events may
  /// still follow.
  void remove(int watch, const Subscriber& subscriber) noexcept;
  /// Reads the pending events now, and notifies their subscribers on this thread. Without this call, the hub's own
  /// thread would soon do so.
  void drain();

 private:
  struct Interest {
    std::weak_ptr<Subscriber> subscriber;
    const Subscriber* identity;
    bool isPatient;
  };
  using Wakes = std::vector<std::shared_ptr<Subscriber>>;

  struct Waking;

  bool open() TESSALY_REQUIRES(lock_);
  Wakes takeWakes();
  [[noreturn]] void work(int descriptor, int mounts);
  /// Tells all subscribers that the mounts have changed.
  void tellMounts();
  void read(Wakes& wakes) TESSALY_REQUIRES(lock_);
  /// Calls the function `note` with each subscriber of a watch. If the result is true, adds the subscriber to `wakes`.
  template <typename Note>
  void tell(Wakes& wakes, int watch, Note note) TESSALY_REQUIRES(lock_);
  bool isEachSubscriberPatient();

  UnfairLock lock_;
  OwnedDescriptor descriptor_ TESSALY_GUARDED_BY(lock_);
  std::map<int, std::vector<Interest>> interests_ TESSALY_GUARDED_BY(lock_);
};

}  // namespace Tessaly::inline v1::detail
