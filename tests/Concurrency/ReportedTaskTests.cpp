// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "Tessaly/Concurrency/OwnedTasks.hpp"
#include "Tessaly/Concurrency/TaskScope.hpp"
#include "Tessaly/Core/Tasks/MainQueue.hpp"
#include "Tessaly/Core/Tasks/SyncWait.hpp"
#include "Tessaly/Platform/Testing/RecordingLogBackend.hpp"

namespace Tessaly {
namespace {

int calls = 0;
void countACall() { ++calls; }

class ReportedTask : public testing::Test {
 protected:
  static Async<void> fail() {
    throw std::runtime_error("no such page");
    co_return;
  }
  [[nodiscard]] std::vector<std::string> arguments() const {
    std::vector<std::string> texts;
    for (const RecordedLog& record : log_->records()) {
      EXPECT_EQ(record.type, OSLogType::error);
      EXPECT_EQ(record.subsystem, "Tessaly");
      for (const auto& argument : record.arguments) texts.push_back(argument.text);
    }
    return texts;
  }

  const std::vector<std::string> failure_{"runtime_error", "no such page"};
  std::shared_ptr<RecordingLogBackend> log_ = std::make_shared<RecordingLogBackend>();
  LogBackendInstallation installation_{log_};
};

TEST_F(ReportedTask, FailureWithoutAHandleIsLoggedAtItsEnd) {
  OwnedTasks tasks;
  tasks.add([] { return fail(); });
  MainQueue::drain();
  EXPECT_EQ(arguments(), failure_);
  tasks.end();
  EXPECT_EQ(log_->records().size(), 1U);
}

TEST_F(ReportedTask, TextOfTheErrorIsPrivate) {
  OwnedTasks tasks;
  tasks.add([] { return fail(); });
  MainQueue::drain();
  EXPECT_EQ(log_->messages(),
            std::vector<std::string>{"A task failed, and no task awaits its value. The error is runtime_error: "
                                     "<private>. Catch it in the task, or await value() of the task."});
}

TEST_F(ReportedTask, ErrorThatIsNoExceptionIsLoggedWithItsType) {
  OwnedTasks tasks;
  tasks.add([] { throw 5; });
  MainQueue::drain();
  EXPECT_EQ(arguments(), (std::vector<std::string>{"int", ""}));
}

TEST_F(ReportedTask, FailureInAScopeIsLoggedOnce) {
  {
    TaskScope scope;
    scope.add([] { return fail(); });
    scope.wait();
  }
  EXPECT_EQ(arguments(), failure_);
}

TEST_F(ReportedTask, FailureDuringTheEndOfAScopeIsLogged) {
  {
    TaskScope scope;
    scope.add({.isolation = Isolation()}, [] { return fail(); });
  }
  EXPECT_EQ(arguments(), failure_);
}

TEST_F(ReportedTask, HandleThatOutlivesItsScopeDelaysNoRecord) {
  std::optional<Task<>> handle;
  {
    TaskScope scope;
    handle = scope.add([] { return fail(); });
  }
  EXPECT_EQ(arguments(), failure_);
  handle.reset();
  EXPECT_EQ(log_->records().size(), 1U);
}

TEST_F(ReportedTask, AwaitedFailureIsNotLogged) {
  OwnedTasks tasks;
  TaskScope scope;
  for (const Task<>& task : {tasks.add([] { return fail(); }), scope.add([] { return fail(); })}) {
    EXPECT_THROW(syncWait(task.value()), std::runtime_error);
  }
  tasks.end();
  EXPECT_EQ(arguments(), std::vector<std::string>());
}

TEST_F(ReportedTask, KeptHandleDelaysTheRecordUntilItsEnd) {
  OwnedTasks tasks;
  std::optional<Task<>> handle = tasks.add([] { return fail(); });
  MainQueue::drain();
  tasks.end();
  EXPECT_EQ(arguments(), std::vector<std::string>());
  handle.reset();
  EXPECT_EQ(arguments(), failure_);
}

TEST_F(ReportedTask, CancellationAndSuccessAreNotLogged) {
  OwnedTasks tasks;
  tasks.add([]() -> Async<void> {
    throw CancellationError();
    co_return;
  });
  tasks.add([] {});
  MainQueue::drain();
  tasks.add([] {});  // Ends before it starts.
  tasks.end();
  EXPECT_EQ(arguments(), std::vector<std::string>());
}

TEST_F(ReportedTask, KeepsOverAlignedClosuresOnTheirBoundaries) {
  struct alignas(256) Wide {
    std::array<std::byte, 3000> bytes{};
  };
  std::uintptr_t misalignment = 1;
  OwnedTasks tasks;
  tasks.add([wide = Wide(), &misalignment] { misalignment = reinterpret_cast<std::uintptr_t>(&wide) % 256; });
  MainQueue::drain();
  EXPECT_EQ(0U, misalignment);
}

TEST_F(ReportedTask, CallsFunctionsAndConstantClosures) {
  OwnedTasks tasks;
  calls = 0;
  tasks.add(countACall);
  const auto closure = [] { ++calls; };
  tasks.add(closure);
  while (MainQueue::drain() > 0) continue;
  EXPECT_EQ(2, calls);
}

TEST_F(ReportedTask, DestroysTheClosureOnceAtTheEndOfTheWork) {
  const auto watched = std::make_shared<int>();
  OwnedTasks tasks;
  auto owned = std::make_unique<std::shared_ptr<int>>(watched);
  const Task<> task = tasks.add([owned = std::move(owned)]() -> Async<void> { co_return; });
  EXPECT_EQ(2, watched.use_count());
  MainQueue::drain();
  EXPECT_TRUE(task.isFinished());
  EXPECT_EQ(1, watched.use_count());
}

TEST_F(ReportedTask, DestroysTheClosureOfATaskThatNeverStarts) {
  const auto watched = std::make_shared<int>();
  {
    OwnedTasks tasks;
    tasks.add([watched] {});
    EXPECT_EQ(2, watched.use_count());
  }
  EXPECT_EQ(1, watched.use_count());
}

TEST_F(ReportedTask, ClosureThatCannotBeCopiedMakesNoTask) {
  struct Uncopyable {
    Uncopyable() = default;
    Uncopyable(const Uncopyable&) { throw std::runtime_error("no copy"); }
    void operator()() const { ++calls; }

    std::shared_ptr<int> watched = std::make_shared<int>();
  };
  calls = 0;
  OwnedTasks tasks;
  const Uncopyable closure;
  EXPECT_THROW(static_cast<void>(tasks.add(closure)), std::runtime_error);
  MainQueue::drain();
  EXPECT_EQ(0, calls);
  EXPECT_EQ(1, closure.watched.use_count());
}

}  // namespace
}  // namespace Tessaly
