// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Testing/SeededScheduler.hpp"

#include "Tessaly/Core/Tasks/GlobalExecutor.hpp"

namespace Tessaly::inline v1 {

SeededScheduler& SeededScheduler::install() {
  static SeededScheduler* const scheduler = [] {
    auto* made = new SeededScheduler;
    GlobalExecutor::install(*made);
    return made;
  }();
  return *scheduler;
}

void SeededScheduler::reseed(std::uint64_t seed) {
  UnfairLock::Guard guard(lock_);
  random_.seed(seed);
}

void SeededScheduler::enqueue(Job& job) noexcept {
  UnfairLock::Guard guard(lock_);
  jobs_.push_back(&job);
}

bool SeededScheduler::runOne() {
  Job* job = nullptr;
  {
    UnfairLock::Guard guard(lock_);
    if (jobs_.empty()) return false;
    const std::size_t chosen = random_() % jobs_.size();
    job = jobs_[chosen];
    jobs_.erase(jobs_.begin() + static_cast<std::ptrdiff_t>(chosen));
  }
  job->run();
  return true;
}

std::size_t SeededScheduler::runUntilIdle() {
  std::size_t count = 0;
  while (runOne()) ++count;
  return count;
}

}  // namespace Tessaly::inline v1
