// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <atomic>
#include <bit>
#include <cstdint>
#include <utility>

#include "Tessaly/Core/Tasks/Executor.hpp"
#include "Tessaly/Core/Tasks/detail/PriorityLevel.hpp"

namespace Tessaly::inline v1::detail {

/// The jobs that wait in the global pool, in the order in which they run: higher priorities first, and at each priority
/// mostly the family that began to wait last.
///
/// Thread contract: thread-compatible. `isEmpty`, `isEmptyFrom` and `taken` may be called while another thread changes
/// the queue.
class JobQueue {
 public:
  void push(Job& job, unsigned level) noexcept {
    job.level = static_cast<signed char>(level);
    jobs_[level].append(job);
    setFilled(filled() | bitOfJobs(level));
  }

  /// Queues the job after the other jobs of the family. A job of another priority waits as a single job.
  void pushInFamily(Job& job, JobFamily& family, unsigned level) noexcept {
    if (const Job* const sibling = family.jobs.first(); sibling == nullptr) {
      families_[level].prepend(family);
      family.isWaiting.store(true, std::memory_order_relaxed);
      setFilled(filled() | bitOfFamilies(level));
    } else if (sibling->level != static_cast<signed char>(level)) {
      push(job, level);
      return;
    }
    job.level = static_cast<signed char>(level);
    job.family = &family;
    family.jobs.append(job);
  }

  /// Removes and returns the next job. Returns null if no job waits.
  Job* pop() noexcept {
    const unsigned lists = filled();
    if (lists == 0) return nullptr;
    taken_.store(taken() + 1, std::memory_order_relaxed);
    if (lists < bitOfFamilies(0)) return popSingle(highestOf(lists));
    const unsigned level = highestOf(levelsOf(lists));
    JobFamily* const family = familyWithTurn(level);
    return family != nullptr ? popOf(*family, level) : popSingle(level);
  }

  /// Moves a job to the list of its priority, if it waits here.
  void escalate(Job& job) noexcept {
    if (job.level < 0) return;
    remove(job);
    push(job, levelOf(job.priority()));
  }

  [[nodiscard]] bool isEmpty() const noexcept { return filled() == 0; }
  /// Whether no job of this level or a higher one waits.
  [[nodiscard]] bool isEmptyFrom(unsigned level) const noexcept { return levelsOf(filled()) >> level == 0; }
  /// The number of jobs that `pop` has returned so far, modulo 2^32.
  [[nodiscard]] std::uint32_t taken() const noexcept { return taken_.load(std::memory_order_relaxed); }

 private:
  Job* popSingle(unsigned level) noexcept {
    Job* const job = jobs_[level].popFirst();
    if (jobs_[level].isEmpty()) setFilled(filled() & ~bitOfJobs(level));
    job->level = -1;
    return job;
  }
  Job* popOf(JobFamily& family, unsigned level) noexcept {
    Job* const job = family.jobs.popFirst();
    if (family.jobs.isEmpty()) removeFamily(family, level);
    job->family = nullptr;
    job->level = -1;
    return job;
  }

  /// The family that runs a job now, or null if a single job has the turn. Usually it is the newest family. Every 16th
  /// turn goes to a single job if one waits, and every 1024th turn to the oldest family. So each job has its turn at
  /// some time.
  JobFamily* familyWithTurn(unsigned level) noexcept {
    JobFamily* const newest = families_[level].first();
    if (newest == nullptr || ++turn_ % turnsOfFamilies != 0) [[likely]]
      return newest;
    if (turn_ % turnsOfNewestFamilies == 0) return families_[level].last();
    return jobs_[level].isEmpty() ? newest : nullptr;
  }

  /// Takes out a job that waits.
  void remove(Job& job) noexcept {
    const unsigned level = static_cast<unsigned char>(job.level);
    if (JobFamily* const family = std::exchange(job.family, nullptr)) {
      family->jobs.remove(job);
      if (family->jobs.isEmpty()) removeFamily(*family, level);
    } else {
      jobs_[level].remove(job);
      if (jobs_[level].isEmpty()) setFilled(filled() & ~bitOfJobs(level));
    }
  }
  void removeFamily(JobFamily& family, unsigned level) noexcept {
    families_[level].remove(family);
    family.isWaiting.store(false, std::memory_order_relaxed);
    if (families_[level].isEmpty()) setFilled(filled() & ~bitOfFamilies(level));
  }

  static constexpr unsigned bitOfJobs(unsigned level) { return 1u << level; }
  static constexpr unsigned bitOfFamilies(unsigned level) {
    // NOLINTNEXTLINE(clang-analyzer-core.BitwiseShift): `level` is that of a list that is not empty.
    return 1u << (level + priorityLevelCount);
  }
  [[nodiscard]] unsigned filled() const noexcept { return filled_.load(std::memory_order_relaxed); }
  void setFilled(unsigned filled) noexcept { filled_.store(filled, std::memory_order_relaxed); }
  /// The levels at which something waits.
  static constexpr unsigned levelsOf(unsigned filled) {
    return (filled | filled >> priorityLevelCount) & (bitOfFamilies(0) - 1);
  }
  static constexpr unsigned highestOf(unsigned levels) { return static_cast<unsigned>(std::bit_width(levels) - 1); }

  /// After this number of turns of families, a single job has a turn.
  static constexpr std::uint32_t turnsOfFamilies = 16;
  /// After this number of turns, the oldest family has a turn. Such turns are rare, because each family that begins to
  /// run takes memory.
  static constexpr std::uint32_t turnsOfNewestFamilies = 1024;

  /// For each level the single jobs, the oldest first, and the families, the newest first.
  std::array<JobList, priorityLevelCount> jobs_;
  std::array<LinkedNodes<JobFamily>, priorityLevelCount> families_;
  std::uint32_t turn_ = 0;
  std::atomic<std::uint32_t> taken_{0};
  /// The levels at which jobs or families wait. Threads that wait for a job read this all the time, so it has a cache
  /// line of its own.
  alignas(64) std::atomic<unsigned> filled_{0};
};

}  // namespace Tessaly::inline v1::detail
