// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <list>
#include <string>

#include "Tessaly/Core/Tasks/Clock.hpp"
#include "Tessaly/Core/Tasks/Executor.hpp"
#include "Tessaly/Core/Tasks/Isolation.hpp"
#include "Tessaly/Core/Tasks/TaskLocal.hpp"
#include "Tessaly/Core/Tasks/TaskPriority.hpp"
#include "tests/stress/StressPlan.hpp"

namespace Tessaly::Tests {

/// A deliberate defect. The stress test must find it.
enum class Breakage : std::uint8_t {
  none,
  /// An executor loses every fifth job.
  lostJob,
  /// A serial isolation runs its jobs side by side.
  sharedIsolation,
  /// A sequence leaves one element out.
  lostElement,
  /// The tasks of an owner are cancelled, but not ended.
  forgottenOwner,
  /// A group starts a child twice.
  childTwice,
  /// A task-local value is not bound.
  lostTaskLocal,
};

/// The error of work that fails by its plan.
struct StressError final : std::exception {
  explicit StressError(long sum) noexcept : total(sum) {}
  [[nodiscard]] const char* what() const noexcept override { return "an error that the plan wants"; }
  long total;
};

/// An isolation that checks that its jobs run one at a time.
struct Zone {
  Isolation isolation;
  bool isExclusive = true;
  /// Relaxed, so that it hides no data race of `visits` from the thread sanitizer.
  std::atomic<bool> isInside{false};
  std::uint64_t visits = 0;
};

/// The part of an object with tasks that its tasks use.
struct Owned {
  bool hasEnded = false;
  std::uint64_t uses = 0;
};

class Round;

/// The place at which a piece of work runs. Every piece of work, and every closure that makes one, holds a copy. The
/// copies keep the round in use.
class Context {
 public:
  explicit Context(Round& owner) noexcept;
  Context(const Context& other) noexcept;
  Context& operator=(const Context&) = delete;
  ~Context();

  /// The context in another isolation, or without an isolation.
  [[nodiscard]] Context in(Zone* other) const;
  [[nodiscard]] Context withLocal(int value) const;
  [[nodiscard]] Context withPriority(TaskPriority least) const;
  [[nodiscard]] Context withOwner(Owned& object) const;
  /// The context in code outside any task.
  [[nodiscard]] Context outsideTasks() const { return Context(round); }

  Round& round;
  /// The present isolation. Null without an isolation.
  Zone* zone = nullptr;
  Owned* owned = nullptr;
  int local = 0;
  TaskPriority priority = TaskPriority::background;
};

extern const TaskLocal<int> stressLocal;

/// One graph while it runs, and the checks on it.
class Round {
 public:
  Round(std::uint64_t seed, Plan::Schedule schedule, Breakage breakage, Clock& clock);
  Round(const Round&) = delete;
  Round& operator=(const Round&) = delete;

  /// The checks that hold at every step of every piece of work.
  void step(const Context& context, const Plan& at);
  void expect(bool holds, const char* rule) {
    if (!holds) fail(rule);
  }
  [[noreturn]] void fail(const std::string& rule) const;

  /// An isolation that runs its jobs one at a time. The last such isolation is omitted, because a defect may make it
  /// shared.
  [[nodiscard]] Zone& exclusiveZone(StressRandom& random) { return zones_[random.below(exclusiveZones - 1)]; }
  /// Any isolation, or null.
  [[nodiscard]] Zone* anyZone(StressRandom& random);
  [[nodiscard]] Owned& makeOwned();

  /// Waits until no piece of work holds the round.
  void waitUntilUnused() const;
  [[nodiscard]] bool isUsed() const { return users_.load(std::memory_order_acquire) != 0; }
  /// The checks after the last piece of work has ended.
  void checkEnd() const;

  const std::uint64_t seed;
  const Plan::Schedule schedule;
  const Breakage breakage;
  Clock& clock;
  const Plan plan;
  std::atomic<std::uint64_t> steps{0};
  /// A hash of the order of all steps. It is meaningful only for a reproducible schedule.
  std::uint64_t trace = 0;

 private:
  friend class Context;

  static constexpr std::size_t exclusiveZones = 3;
  static constexpr std::size_t allZones = exclusiveZones + 1;

  std::array<Zone, allZones> zones_;
  std::atomic_flag listsOwned_;
  std::list<Owned> owned_;
  std::atomic<std::uint32_t> users_{0};
};

/// Counts the beginning and the end of a piece of work.
class Visit {
 public:
  explicit Visit(const Plan& plan) noexcept : plan_(plan) { plan_.begun.fetch_add(1, std::memory_order_relaxed); }
  ~Visit() { plan_.ended.fetch_add(1, std::memory_order_relaxed); }
  Visit(const Visit&) = delete;
  Visit& operator=(const Visit&) = delete;

 private:
  const Plan& plan_;
};

}  // namespace Tessaly::Tests
