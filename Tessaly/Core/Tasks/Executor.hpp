// SPDX-License-Identifier: MIT
// Component: Tessaly::Tasks
#pragma once

#include <atomic>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Tasks/TaskPriority.hpp"

namespace Tessaly::inline v1 {

namespace detail {
class TaskRecord;
}
struct JobFamily;

/// A piece of work. An executor can queue a job without an allocation, because the job contains the links of the queue.
///
/// A job must be in at most one queue at a time. It must stay alive until its function is called. The function may
/// destroy the job.
///
/// Each run has a separate state. The job does not see the current task, the task-locals or the isolation of the code
/// that calls `run()`. That code finds its own state again when `run()` returns.
///
/// Thread contract: thread-compatible. The queue that holds the job synchronises access to the job.
///
///     struct Redraw : Job {
///       Redraw() : Job([](Job& job) noexcept { static_cast<Redraw&>(job).draw(); }) {}
///       void draw();
///     };
class Job {
 public:
  using Function = void (*)(Job&) noexcept;

  explicit Job(Function function, TaskPriority priority = TaskPriority::medium) noexcept
      : function_(function), priority_(priority) {}
  Job(const Job&) = delete;
  Job& operator=(const Job&) = delete;

  /// Runs the work. An executor must call `run()` exactly once for each `enqueue`. On a thread of the library that
  /// serves timers, `run()` passes the job to the global executor instead.
  TESSALY_EXPORT void run() noexcept;

  /// Calls the job's function without a new `JobScope`. `run()` makes such a scope, so that the job cannot see the
  /// state of a job below it on the stack. Only for executors of the library that have already made a `JobScope` or
  /// need none.
  void runInScope() noexcept { function_(*this); }

  [[nodiscard]] TaskPriority priority() const noexcept { return priority_.load(std::memory_order_seq_cst); }

  /// Raises the priority. A lower or equal priority changes nothing. Returns whether the priority was raised. Does not
  /// move a queued job; see `Executor::escalate`.
  bool raisePriority(TaskPriority priority) noexcept;

  /// The links, for the queue that holds the job.
  Job* next = nullptr;
  Job* previous = nullptr;
  /// The family whose list contains this job, or null.
  JobFamily* family = nullptr;
  /// In a queue with several lists, the number of the list that holds the job. Otherwise -1.
  signed char level = -1;

 protected:
  ~Job() = default;
  /// Sets the priority. The job must not be in a queue.
  void setPriority(TaskPriority priority) noexcept { priority_.store(priority, std::memory_order_relaxed); }

 private:
  friend class detail::TaskRecord;

  Function function_;
  std::atomic<TaskPriority> priority_;
};

namespace detail {

/// A linked list whose links are members of the nodes. The list does not own the nodes.
///
/// Thread contract: thread-compatible.
template <typename Node>
class LinkedNodes {
 public:
  [[nodiscard]] bool isEmpty() const noexcept { return first_ == nullptr; }
  [[nodiscard]] Node* first() const noexcept { return first_; }
  [[nodiscard]] Node* last() const noexcept { return last_; }
  /// O(1).
  void append(Node& node) noexcept {
    node.next = nullptr;
    node.previous = last_;
    (last_ != nullptr ? last_->next : first_) = &node;
    last_ = &node;
  }
  /// O(1).
  void prepend(Node& node) noexcept {
    node.next = first_;
    node.previous = nullptr;
    (first_ != nullptr ? first_->previous : last_) = &node;
    first_ = &node;
  }
  /// Removes a node, which must be in this list. O(1).
  void remove(Node& node) noexcept {
    (node.previous != nullptr ? node.previous->next : first_) = node.next;
    (node.next != nullptr ? node.next->previous : last_) = node.previous;
  }
  /// Removes and returns the first node. Returns null if the list is empty. O(1).
  Node* popFirst() noexcept {
    Node* const node = first_;
    if (node == nullptr) return nullptr;
    first_ = node->next;
    (first_ != nullptr ? first_->previous : last_) = nullptr;
    return node;
  }

 private:
  Node* first_ = nullptr;
  Node* last_ = nullptr;
};

}  // namespace detail

/// An intrusive first-in, first-out list of jobs.
///
/// Thread contract: thread-compatible.
///
///     JobList waiting;
///     waiting.append(job);
///     while (Job* next = waiting.popFirst()) next->run();
class JobList : public detail::LinkedNodes<Job> {};

/// The jobs of one task group that wait in one queue. The family must outlive the wait of its jobs.
///
/// Thread contract: thread-compatible. The queue that holds the jobs synchronises access to the family.
struct JobFamily {
  /// The jobs that wait.
  JobList jobs;
  /// Whether any job waits. The queue also reads this member without its lock.
  std::atomic<bool> isWaiting{false};
  /// The links, for the queue.
  JobFamily* next = nullptr;
  JobFamily* previous = nullptr;
};

/// Runs jobs. A host may supply its own executor. Only `enqueue` must be overridden.
///
/// An executor that serves as an `Isolation` must run one job at a time, in order. Any other executor, except the
/// global executor, may run the job inside `enqueue`, as the example does. Such an executor provides no isolation. Its
/// jobs may run at the same time, on any thread that ends the wait of a task. Each job uses the stack of the code that
/// enqueued it. So a task with many waits needs an executor that queues. The global executor must queue. On a thread of
/// the library that serves timers, `Job::run()` passes each job to the global executor. If the global executor then
/// runs the job inside `enqueue`, the process stops.
///
/// Thread contract: thread-safe.
///
///     class Inline : public Executor {
///      public:
///       void enqueue(Job& job) noexcept override { job.run(); }
///     };
class TESSALY_EXPORT Executor {
 public:
  virtual ~Executor() = default;

  /// Runs the job once, later or immediately. Must not throw and must not block.
  virtual void enqueue(Job& job) noexcept = 0;

  /// Like `enqueue`, for a job that belongs to a family. The default implementation ignores the family. At each
  /// priority, the global pool usually prefers the family that began to wait most recently. It runs the jobs of a
  /// family in order.
  virtual void enqueueInFamily(Job& job, JobFamily& family) noexcept {
    static_cast<void>(family);
    enqueue(job);
  }

  /// Notifies the executor that a job's priority was raised, so that the executor can move the job in its queue. The
  /// default implementation does nothing. The job may wait in this executor, be running, or be elsewhere. The caller
  /// must keep the job and the executor alive during the call.
  virtual void escalate(Job& job) noexcept { static_cast<void>(job); }

  /// The executor in whose isolation this executor's jobs run. By default it is this executor itself.
  [[nodiscard]] virtual Executor& base() noexcept { return *this; }

  /// Adds a reference; `release` removes it. An executor that may be destroyed before the process ends must override
  /// both functions. Any other executor must live as long as the process.
  virtual void retain() noexcept {}
  virtual void release() noexcept {}

 protected:
  Executor() = default;
  Executor(const Executor&) = default;
  Executor& operator=(const Executor&) = default;
};

inline bool Job::raisePriority(TaskPriority priority) noexcept {
  TaskPriority current = priority_.load(std::memory_order_relaxed);
  while (current < priority) {
    if (priority_.compare_exchange_weak(current, priority, std::memory_order_seq_cst)) return true;
  }
  return false;
}

}  // namespace Tessaly::inline v1
