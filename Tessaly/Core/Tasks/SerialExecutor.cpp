// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Tasks/SerialExecutor.hpp"

#include <utility>

#include "Tessaly/Core/Tasks/GlobalExecutor.hpp"
#include "Tessaly/Core/Tasks/detail/ThreadState.hpp"

// One word hands the executor over. It holds the newly enqueued jobs and a phase:
//
//   idle           no thread holds the executor
//   queued(level)  a turn waits on the global executor, at this level
//   running        a thread holds the executor; the next turn's level is decided when the turn is queued
//   raised         running, and a job that may wait here was raised since the holder last looked
//
// tests/models explores every interleaving of the protocol. Memory orders: the holder's plain data passes through
// acquire and release on the word, and through the queue of the global executor. The word and the jobs' priorities are
// sequentially consistent: either a raise sees the job's word, or the job's enqueuer sees the raise.
//
// The word has no version. A job that is raised while it is enqueued may therefore wait for one turn at its old
// priority, if a whole turn passes between the enqueuer's load of the word and the enqueuer's exchange.

namespace Tessaly::inline v1 {
namespace {

using Phase = std::uintptr_t;

constexpr Phase idle = 0;
constexpr Phase running = 1;
constexpr Phase raised = 2;
constexpr Phase queuedAtLowest = 3;
constexpr Phase phaseBits = 7;
static_assert(queuedAtLowest + detail::priorityLevelCount - 1 <= phaseBits && alignof(Job) > phaseBits);

/// The maximum number of jobs in a turn. The next turn waits at the back of the global executor's queue.
constexpr int jobsPerTurn = 256;

Phase phaseOf(std::uintptr_t word) { return word & phaseBits; }
Job* jobOf(std::uintptr_t word) { return reinterpret_cast<Job*>(word & ~phaseBits); }
std::uintptr_t wordOf(const Job& job, Phase phase) { return reinterpret_cast<std::uintptr_t>(&job) | phase; }
bool isQueued(Phase phase) { return phase >= queuedAtLowest; }
Phase queuedAt(unsigned level) { return queuedAtLowest + level; }
unsigned levelOfTurn(Phase phase) { return static_cast<unsigned>(phase - queuedAtLowest); }

}  // namespace

SerialExecutor::Turn::Turn(SerialExecutor& executor) noexcept
    : Job([](Job& job) noexcept { static_cast<Turn&>(job).owner.runTurn(); }), owner(executor) {}

SerialExecutor::SerialExecutor() noexcept : word_(idle), turn_(*this) {}

SerialExecutor::~SerialExecutor() = default;

void SerialExecutor::release() noexcept {
  if (references_.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
}

void SerialExecutor::enqueue(Job& job) noexcept {
  bool isRetained = false;
  std::uintptr_t word = word_.load(std::memory_order_seq_cst);
  for (;;) {
    const Phase phase = phaseOf(word);
    // Read after the word: a raise that found the executor idle is seen here.
    const unsigned level = detail::levelOf(job.priority());
    const bool raises = isQueued(phase) && level > levelOfTurn(phase);
    job.next = jobOf(word);
    // Once the job is handed over it may run and release the last reference.
    if (raises && !std::exchange(isRetained, true)) retain();
    const Phase next = phase == idle ? running : raises ? queuedAt(level) : phase;
    if (!word_.compare_exchange_weak(word, wordOf(job, next), std::memory_order_seq_cst)) continue;
    if (phase == idle) {
      retain();  // For the holder. The job cannot run before the turn is queued.
      queueTurn();
    } else if (raises) {
      raiseTurn(level);
    }
    break;
  }
  if (isRetained) release();
}

void SerialExecutor::escalate(Job& job) noexcept {
  const unsigned level = detail::levelOf(job.priority());
  std::uintptr_t word = word_.load(std::memory_order_seq_cst);
  for (;;) {
    const Phase phase = phaseOf(word);
    if (phase == idle || phase == raised || (isQueued(phase) && levelOfTurn(phase) >= level)) return;
    const Phase next = phase == running ? raised : queuedAt(level);
    if (word_.compare_exchange_weak(word, (word & ~phaseBits) | next, std::memory_order_seq_cst)) {
      if (next != raised) raiseTurn(level);
      return;
    }
  }
}

/// Called after the caller raised the level in the word.
void SerialExecutor::raiseTurn(unsigned level) noexcept {
  turn_.raisePriority(detail::priorityOf(level));
  GlobalExecutor::shared().escalate(turn_);
}

bool SerialExecutor::enterIfIdle() noexcept {
  std::uintptr_t expected = idle;
  if (!word_.compare_exchange_strong(expected, running, std::memory_order_acquire, std::memory_order_relaxed)) {
    return false;
  }
  retain();
  detail::threadState.executor = this;
  return true;
}

void SerialExecutor::leaveCurrent() noexcept {
  auto* self = static_cast<SerialExecutor*>(detail::threadState.executor);
  detail::threadState.executor = nullptr;
  if (self->giveUpIfEmpty()) {
    self->release();
  } else {
    self->queueTurn();
  }
}

/// Hands the executor and the holder's reference to a turn. Called by the holder.
void SerialExecutor::queueTurn() noexcept {
  for (;;) {
    takeIncoming();
    const unsigned level = highestWaiting();
    // The priority is set before the phase changes. So a raise that sees the new phase comes later and is not
    // overwritten.
    turn_.setPriority(detail::priorityOf(level));
    std::uintptr_t expected = running;
    if (word_.compare_exchange_strong(expected, queuedAt(level), std::memory_order_seq_cst)) break;
  }
  GlobalExecutor::shared().enqueue(turn_);
}

/// Returns true if no job waited. Then the executor is idle, and the caller releases the holder's reference. Called by
/// the holder.
bool SerialExecutor::giveUpIfEmpty() noexcept {
  while (ready_.isEmpty()) {
    std::uintptr_t expected = running;
    if (word_.load(std::memory_order_relaxed) == running &&
        word_.compare_exchange_strong(expected, idle, std::memory_order_acq_rel, std::memory_order_relaxed)) {
      return true;
    }
    takeIncoming();
  }
  return false;
}

/// Takes the newly enqueued jobs, and discards the raises after it has read them. Called by the holder.
void SerialExecutor::takeIncoming() noexcept {
  const std::uintptr_t word = word_.exchange(running, std::memory_order_seq_cst);
  const Phase phase = phaseOf(word);
  appendInOrder(jobOf(word));
  // If the turn's level exceeds the recorded levels of all waiting jobs, the turn was raised for a job that an earlier
  // turn had taken from the word.
  if (phase == raised || (isQueued(phase) && levelOfTurn(phase) > highestWaiting())) lookAtReadyAgain();
}

void SerialExecutor::appendInOrder(Job* newest) noexcept {
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
    lastOf_[detail::levelOf(inOrder->priority())] = ++taken_;
    inOrder = next;
  }
}

void SerialExecutor::lookAtReadyAgain() noexcept {
  std::uint64_t number = started_;
  for (const Job* job = ready_.first(); job != nullptr; job = job->next) {
    lastOf_[detail::levelOf(job->priority())] = ++number;
  }
}

unsigned SerialExecutor::highestWaiting() const noexcept {
  unsigned level = detail::priorityLevelCount - 1;
  while (level > 0 && lastOf_[level] <= started_) --level;
  return level;
}

void SerialExecutor::runTurn() noexcept {
  detail::ThreadState& state = detail::threadState;
  takeIncoming();
  for (int jobs = 0; jobs < jobsPerTurn; ++jobs) {
    if (giveUpIfEmpty()) {
      state.executor = nullptr;
      release();
      return;
    }
    state.executor = this;
    ++started_;
    ready_.popFirst()->runInScope();
    // A task that hopped away gave the executor up. The executor may be gone.
    if (state.executor != this) return;
    // The turn goes on, so the task that the job left behind must not wait for the thread.
    if (state.traded != nullptr) GlobalExecutor::shared().enqueue(*std::exchange(state.traded, nullptr));
  }
  state.executor = this;
  leaveCurrent();
}

}  // namespace Tessaly::inline v1
