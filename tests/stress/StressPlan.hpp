// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstdint>
#include <list>

// The graph of tasks that one round of the stress makes. A seed decides the whole graph before the first task starts.

namespace Tessaly::Tests {

/// A generator of random numbers that is small enough for the frame of every coroutine.
class StressRandom {
 public:
  explicit StressRandom(std::uint64_t seed) noexcept : state_(seed) {}

  std::uint64_t next() noexcept {
    state_ += 0x9E3779B97F4A7C15U;
    std::uint64_t mixed = state_;
    mixed = (mixed ^ (mixed >> 30)) * 0xBF58476D1CE4E5B9U;
    mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EBU;
    return mixed ^ (mixed >> 31);
  }
  /// A random number below the limit.
  unsigned below(unsigned limit) noexcept { return static_cast<unsigned>(next() % limit); }
  bool isOneOf(unsigned count) noexcept { return below(count) == 0; }

 private:
  std::uint64_t state_;
};

/// One node of the graph: a piece of work, with the pieces that it starts.
struct Plan {
  enum class Kind : std::uint8_t {
    // Without children.
    leaf,
    sleep,
    interruptedSleep,
    continuation,
    stream,
    failingStream,
    mergedStreams,
    sharedStream,
    broadcast,
    blocking,
    pipe,
    // With children.
    group,
    failingGroup,
    race,
    tasks,
    hop,
    taskLocal,
    cancelledTasks,
    owner,
    scope,
    waitingThread,
  };

  /// Whether all runs of one seed must have the same schedule. A reproducible graph uses no further threads and no
  /// random order.
  enum class Schedule : std::uint8_t { free, reproducible };

  Plan(StressRandom& random, int depth, Schedule schedule, bool isCertain);
  Plan(const Plan&) = delete;
  Plan& operator=(const Plan&) = delete;

  /// The result of the work, or the number in its error, if nothing cancels it.
  [[nodiscard]] long total() const;
  /// The part of a parent's total that comes from this node.
  [[nodiscard]] long contribution() const { return fails ? 3 * total() : total(); }

  Kind kind;
  /// Whether the work throws at its end.
  bool fails;
  /// Whether nothing can cancel the work, so that it runs and its result is known.
  bool isCertain;
  /// The seed of the choices that the work makes while it runs.
  std::uint64_t seed;
  long value;
  std::list<Plan> children;

  // The number of times that the work began and ended.
  mutable std::atomic<unsigned> begun{0};
  mutable std::atomic<unsigned> ended{0};
};

[[nodiscard]] const char* nameOf(Plan::Kind kind);

}  // namespace Tessaly::Tests
