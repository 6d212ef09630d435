// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string_view>
#include <vector>

#include "Tessaly/Core/Base/detail/OwnedDescriptor.hpp"
#include "Tessaly/Core/Locks/UnfairLock.hpp"
#include "Tessaly/Core/Tasks/detail/Reactor.hpp"

namespace Tessaly::inline v1::detail {

/// The process's one inotify instance, of which the system lends each user few, shared by all who watch. It is opened
/// at first need and never closed.
///
/// Thread contract: thread-safe.
class InotifyHub {
 public:
  class Subscriber {
   public:
    virtual ~Subscriber() = default;
    /// Takes note of an event; true to be woken. Called under the hub's lock: it must not use the hub.
    virtual bool note(int watch, std::uint32_t mask, std::string_view name) noexcept = 0;
    /// Called after `note`, without the lock, perhaps once for several.
    virtual void wake() noexcept = 0;
  };

  static InotifyHub& shared() noexcept;

  /// Watches a path for the events of the mask, which may be told together with those that others asked for. Only what
  /// happens from now on is told. A negative number: the `errno` of the refusal.
  int add(const char* path, std::uint32_t mask, const std::shared_ptr<Subscriber>& subscriber);
  /// Takes one `add` back. Afterwards the subscriber is told nothing of that watch.
  void remove(int watch, const Subscriber& subscriber) noexcept;
  /// Tells the subscribers of what is waiting, as the hub's own thread does soon.
  void drain();

 private:
  struct Interest {
    std::weak_ptr<Subscriber> subscriber;
    const Subscriber* identity;
  };
  using Wakes = std::vector<std::shared_ptr<Subscriber>>;

  bool open() TESSALY_REQUIRES(lock_);
  void read(Wakes& wakes) TESSALY_REQUIRES(lock_);
  void tell(Wakes& wakes, int watch, std::uint32_t mask, std::string_view name) TESSALY_REQUIRES(lock_);

  UnfairLock lock_;
  OwnedDescriptor descriptor_ TESSALY_GUARDED_BY(lock_);
  std::shared_ptr<DescriptorSource> source_ TESSALY_GUARDED_BY(lock_);
  std::map<int, std::vector<Interest>> interests_ TESSALY_GUARDED_BY(lock_);
};

}  // namespace Tessaly::inline v1::detail
