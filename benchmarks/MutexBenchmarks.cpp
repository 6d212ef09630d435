// SPDX-License-Identifier: MIT
#include <absl/synchronization/mutex.h>

#include <memory>
#include <mutex>

#include "Harness.hpp"
#include "Tessaly/Concurrency/Mutex.hpp"
#include "TwoThreads.hpp"

namespace Tessaly::Benchmarks {
namespace {

constexpr int contendedTurns = 20'000;

struct StandardGuarded {
  std::mutex mutex;
  std::int64_t value = 0;
};

struct AbseilGuarded {
  absl::Mutex mutex;
  std::int64_t value = 0;
};

std::int64_t increment(Mutex<std::int64_t>& guarded) {
  return guarded.withLock([](std::int64_t& value) { return ++value; });
}

std::int64_t increment(StandardGuarded& guarded) {
  const std::lock_guard guard(guarded.mutex);
  return ++guarded.value;
}

std::int64_t increment(AbseilGuarded& guarded) {
  const absl::MutexLock guard(&guarded.mutex);
  return ++guarded.value;
}

/// Two threads increment at once. One operation is one increment, so the figure is the time between two increments of
/// either.
template <typename Guarded, typename... Arguments>
auto contended(Arguments... arguments) {
  return [=] {
    auto guarded = std::make_shared<Guarded>(arguments...);
    return [guarded, threads = std::make_shared<TwoThreads>()] {
      threads->run([&] {
        for (int turn = 0; turn < contendedTurns; ++turn) benchmark::DoNotOptimize(increment(*guarded));
      });
    };
  };
}

const Facility mutex("Mutex", [](Facility& facility) {
  // Debian builds abseil with its checks, one of which detects deadlocks at every lock. A release build has none.
  absl::SetMutexDeadlockDetectionMode(absl::OnDeadlockCycle::kIgnore);

  facility.row("withLock, free")
      .ours([guarded = std::make_shared<Mutex<std::int64_t>>(0)] { return increment(*guarded); })
      .peer("std::mutex", [guarded = std::make_shared<StandardGuarded>()] { return increment(*guarded); })
      .peer("absl::Mutex", [guarded = std::make_shared<AbseilGuarded>()] { return increment(*guarded); })
      .notSlowerThan("std::mutex");

  facility.row("withLock, 2 threads", 2 * contendedTurns)
      .ours(contended<Mutex<std::int64_t>>(0))
      .peer("std::mutex", contended<StandardGuarded>())
      .peer("absl::Mutex", contended<AbseilGuarded>());

  facility.row("assignWithLock, free")
      .ours([guarded = std::make_shared<Mutex<std::int64_t>>(0), next = std::int64_t(0)]() mutable {
        guarded->assignWithLock(++next);
      })
      .peer("std::mutex",
            [guarded = std::make_shared<StandardGuarded>(), next = std::int64_t(0)]() mutable {
              ++next;
              const std::lock_guard guard(guarded->mutex);
              guarded->value = next;
            })
      .peer("absl::Mutex",
            [guarded = std::make_shared<AbseilGuarded>(), next = std::int64_t(0)]() mutable {
              ++next;
              const absl::MutexLock guard(&guarded->mutex);
              guarded->value = next;
            })
      .notSlowerThan("std::mutex");
});

}  // namespace
}  // namespace Tessaly::Benchmarks
