// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Tasks/SerialExecutor.hpp"

#include "Tessaly/Core/Base/FatalError.hpp"
#include "Tessaly/Core/Locks/UnfairLock.hpp"
#include "Tessaly/Core/Tasks/GlobalExecutor.hpp"
#include "Tessaly/Core/Tasks/detail/ThreadState.hpp"

namespace Tessaly::inline v1 {
namespace {

constexpr std::uintptr_t idle = 0;
constexpr std::uintptr_t heldAndEmpty = 1;
/// After so many jobs in a row the executor goes to the back of the pool's queue.
constexpr int jobsPerTurn = 256;

constinit UnfairLock escalationLock;

Job* jobOf(std::uintptr_t word) { return word == heldAndEmpty ? nullptr : reinterpret_cast<Job*>(word); }

}  // namespace

SerialExecutor::Drain::Drain(SerialExecutor& executor) noexcept
    : Job([](Job& job) noexcept { static_cast<Drain&>(job).owner.drain(); }), owner(executor) {}

SerialExecutor::SerialExecutor() noexcept : incoming_(idle), drain_(*this) {}

SerialExecutor::~SerialExecutor() {
  UnfairLock::Guard guard(escalationLock);  // An escalation that is under way may still look at this executor.
}

void SerialExecutor::release() noexcept {
  if (references_.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
}

void SerialExecutor::enqueue(Job& job) noexcept {
  const TaskPriority priority = job.priority();
  std::uintptr_t word = incoming_.load(std::memory_order_relaxed);
  do {
    // Before the job is handed over: it may run at once elsewhere, and be the last that kept this executor.
    if (word != idle && drain_.raisePriority(priority)) GlobalExecutor::shared().escalate(drain_);
    job.next = word == idle ? nullptr : jobOf(word);
  } while (!incoming_.compare_exchange_weak(word, reinterpret_cast<std::uintptr_t>(&job), std::memory_order_acq_rel,
                                            std::memory_order_relaxed));
  if (word != idle) return;
  drain_.startAt(priority);
  retain();
  schedule();
}

void SerialExecutor::escalate(Job& job) noexcept {
  if (drain_.raisePriority(job.priority())) GlobalExecutor::shared().escalate(drain_);
}

bool SerialExecutor::enterIfIdle() noexcept {
  std::uintptr_t expected = idle;
  if (!incoming_.compare_exchange_strong(expected, heldAndEmpty, std::memory_order_acquire,
                                         std::memory_order_relaxed)) {
    return false;
  }
  retain();
  detail::threadState.executor = this;
  return true;
}

// Whoever holds the executor holds a reference, too: the last handle may go while a thread still gives the executor up.
// It passes to the drain.
void SerialExecutor::schedule() noexcept { GlobalExecutor::shared().enqueue(drain_); }

void SerialExecutor::leaveCurrent() noexcept {
  auto* self = static_cast<SerialExecutor*>(detail::threadState.executor);
  detail::threadState.executor = nullptr;
  std::uintptr_t expected = heldAndEmpty;
  if (self->ready_.isEmpty() &&
      self->incoming_.compare_exchange_strong(expected, idle, std::memory_order_release, std::memory_order_relaxed)) {
    self->release();
    return;
  }
  self->schedule();
}

Job* SerialExecutor::takeOrGiveUp() noexcept {
  if (ready_.isEmpty()) {
    std::uintptr_t expected = heldAndEmpty;
    if (incoming_.compare_exchange_strong(expected, idle, std::memory_order_acq_rel, std::memory_order_relaxed)) {
      return nullptr;
    }
    Job* newest = jobOf(incoming_.exchange(heldAndEmpty, std::memory_order_acquire));
    Job* inOrder = nullptr;
    while (newest != nullptr) {
      Job* older = newest->next;
      newest->next = inOrder;
      inOrder = newest;
      newest = older;
    }
    while (inOrder != nullptr) {
      Job* next = inOrder->next;
      ready_.append(*inOrder);
      inOrder = next;
    }
  }
  return ready_.popFirst();
}

void SerialExecutor::drain() noexcept {
  detail::ThreadState& state = detail::threadState;
  Executor* const previous = state.executor;
  for (int jobs = 0; jobs < jobsPerTurn; ++jobs) {
    state.executor = this;
    Job* job = takeOrGiveUp();
    if (job == nullptr) {
      state.executor = previous;
      release();
      return;
    }
    job->run();
    if (state.executor != this) {
      // The job's task hopped away and gave the executor up, which may be gone; what this thread holds now is that
      // task's affair.
      return;
    }
  }
  state.executor = previous;
  schedule();
}

void detail::escalateOnExecutor(const std::atomic<Executor*>& executor, Job& job) noexcept {
  UnfairLock::Guard guard(escalationLock);
  Executor* found = executor.load(std::memory_order_acquire);
  (found != nullptr ? *found : GlobalExecutor::shared()).escalate(job);
}

}  // namespace Tessaly::inline v1
