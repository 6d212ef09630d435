// SPDX-License-Identifier: MIT
// The order in which the pool runs groups and single jobs.

#include <gtest/gtest.h>

#include <atomic>
#include <deque>
#include <functional>
#include <latch>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "Tessaly/Core/Tasks/GlobalExecutor.hpp"
#include "Tessaly/Core/Tasks/SyncWait.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"
#include "Tessaly/Core/Tasks/TaskGroup.hpp"

namespace Tessaly {
namespace {

using Names = std::vector<std::string>;

/// Holds threads of the pool. As long as one thread is free, the order of the jobs shows.
class HeldThreads {
 public:
  explicit HeldThreads(unsigned count) : held_(count) {
    for (unsigned i = 0; i < count; ++i) {
      tasks_.push_back(Task<>::detached([this] {
        held_.count_down();
        release_.wait();
      }));
    }
    held_.wait();
  }
  HeldThreads(const HeldThreads&) = delete;
  HeldThreads& operator=(const HeldThreads&) = delete;
  ~HeldThreads() {
    release();
    for (const auto& task : tasks_) syncWait(task.finished());
  }
  void release() {
    if (!std::exchange(isReleased_, true)) release_.count_down();
  }

  static unsigned all() {
    cpu_set_t cores;
    ::sched_getaffinity(0, sizeof(cores), &cores);
    return static_cast<unsigned>(CPU_COUNT(&cores));
  }

 private:
  std::latch held_;
  std::latch release_{1};
  bool isReleased_ = false;
  std::vector<Task<>> tasks_;
};

/// The jobs that ran, in order.
class Record {
 public:
  void add(std::string name) {
    const std::lock_guard guard(lock_);
    names_.push_back(std::move(name));
  }
  Names names() {
    const std::lock_guard guard(lock_);
    return names_;
  }

 private:
  std::mutex lock_;
  Names names_;
};

Async<void> runGroup(Record& record, std::string name, int depth) {
  record.add(name);
  if (depth == 0) co_return;
  co_await withTaskGroup<>([&](TaskGroup<>& group) -> Async<void> {
    for (const char* child : {"a", "b", "c"}) {
      group.addTask([&record, name = name + child, depth] { return runGroup(record, name, depth - 1); });
    }
    co_await group.waitForAll();
  });
}

TEST(GlobalExecutor, RunsTheNewestGroupFirstAndItsChildrenInOrder) {
  const HeldThreads held(HeldThreads::all() - 1);
  Record record;
  syncWait(Task<>::detached([&] { return runGroup(record, "", 2); }).value());
  EXPECT_EQ(record.names(), (Names{"", "a", "aa", "ab", "ac", "b", "ba", "bb", "bc", "c", "ca", "cb", "cc"}));
}

/// Groups of one child, one after the other, until the flag is set.
Async<void> runGroupsUntil(const std::atomic<bool>& flag) {
  while (!flag) {
    co_await withTaskGroup<>([&](TaskGroup<>& group) -> Async<void> {
      group.addTask([] {});
      co_await group.waitForAll();
    });
  }
}

TEST(GlobalExecutor, SingleJobHasItsTurnBesideEndlessGroups) {
  const HeldThreads held(HeldThreads::all() - 1);
  std::atomic<bool> flag = false;
  const auto groups = Task<>::detached([&] { return runGroupsUntil(flag); });
  const auto single = Task<>::detached([&] { flag = true; });
  syncWait(groups.value());
}

TEST(GlobalExecutor, OldGroupHasItsTurnBesideEndlessGroups) {
  const HeldThreads held(HeldThreads::all() - 1);
  std::atomic<bool> flag = false;
  syncWait(Task<>::detached([&] {
             return withTaskGroup<>([&](TaskGroup<>& group) -> Async<void> {
               group.addTask([&] { return runGroupsUntil(flag); });
               group.addTask([&] { flag = true; });
               co_await group.waitForAll();
             });
           }).value());
}

struct NamedJob final : Job {
  NamedJob(Record& target, std::string text, TaskPriority priority, std::latch& end)
      : Job([](Job& job) noexcept { static_cast<NamedJob&>(job).run(); }, priority),
        record(target),
        name(std::move(text)),
        ended(end) {}
  void run() {
    record.add(name);
    ended.count_down();
  }
  Record& record;
  std::string name;
  std::latch& ended;
};

TEST(GlobalExecutor, RaisedJobLeavesItsFamily) {
  HeldThreads held(HeldThreads::all() - 1);
  Record record;
  std::latch ended(6);
  JobFamily family;
  std::deque<NamedJob> jobs;
  for (const char* name : {"first", "second", "third"}) jobs.emplace_back(record, name, TaskPriority::low, ended);
  jobs.emplace_back(record, "other level", TaskPriority::background, ended);
  NamedJob single(record, "single", TaskPriority::medium, ended);
  Executor& pool = GlobalExecutor::shared();
  NamedJob* const raised = &jobs[1];
  std::latch isBusy(1);
  std::latch mayContinue(1);
  const auto last = Task<>::detached([&] {
    isBusy.count_down();
    mayContinue.wait();
    ended.count_down();
  });
  isBusy.wait();  // Now no thread is free, and the jobs wait.
  for (auto& job : jobs) pool.enqueueInFamily(job, family);
  pool.enqueue(single);
  raised->raisePriority(TaskPriority::high);
  pool.escalate(*raised);
  mayContinue.count_down();
  ended.wait();
  EXPECT_EQ(record.names(), (Names{"second", "single", "first", "third", "other level"}));
}

TEST(GlobalExecutor, GroupsOfGroupsEndOnAllThreads) {
  for (int round = 0; round < 20; ++round) {
    Record record;
    syncWait(Task<>::detached([&] { return runGroup(record, "", 5); }).value());
    EXPECT_EQ(record.names().size(), 364U);
  }
}

}  // namespace
}  // namespace Tessaly
