// SPDX-License-Identifier: MIT
// What happens to the runtime at the edges of a process's life: forks, exit, a host that forgot its loop.

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <latch>
#include <memory>
#include <mutex>
#include <semaphore>
#include <string>
#include <thread>
#include <vector>

#include "Tessaly/Core/Tasks/BlockingWork.hpp"
#include "Tessaly/Core/Tasks/CheckedContinuation.hpp"
#include "Tessaly/Core/Tasks/OS_dispatch_queue.hpp"
#include "Tessaly/Core/Tasks/SyncWait.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"
#include "Tessaly/Core/Tasks/TaskGroup.hpp"
#include "Tessaly/Platform/Testing/ManualClock.hpp"
#include "Tessaly/Platform/Testing/RecordingLogBackend.hpp"
#include "tests/Support/LeftSuspended.hpp"

namespace Tessaly {
namespace {

using namespace std::chrono_literals;

struct ChildsEnd {
  int status = 0;
  std::string standardError;
};

/// Runs the body in the child of a fork, and tells how the child ended.
template <typename Body>
ChildsEnd inAChild(Body body) {
  int ends[2];
  EXPECT_EQ(::pipe(ends), 0);
  const pid_t child = ::fork();
  if (child == 0) {
    ::dup2(ends[1], STDERR_FILENO);
    ::close(ends[0]);
    ::close(ends[1]);
    body();
    std::_Exit(77);
  }
  ::close(ends[1]);
  ChildsEnd end;
  char buffer[512];
  for (ssize_t size = 0; (size = ::read(ends[0], buffer, sizeof(buffer))) > 0;) {
    end.standardError.append(buffer, static_cast<std::size_t>(size));
  }
  ::close(ends[0]);
  EXPECT_EQ(::waitpid(child, &end.status, 0), child);
  return end;
}

int usePool() {
  return syncWait(Task<int>({.isolation = Isolation()}, []() -> Async<int> {
                    co_await Task<>::sleep(1ms);
                    co_return co_await runBlocking([] { return 5; });
                  }).value());
}

TEST(RuntimeLifetime, AForkBeforeFirstUseWorks) {
  const ChildsEnd end = inAChild([] { std::_Exit(usePool()); });
  ASSERT_TRUE(WIFEXITED(end.status)) << end.standardError;
  EXPECT_EQ(WEXITSTATUS(end.status), 5);
  EXPECT_EQ(usePool(), 5);
}

TEST(RuntimeLifetime, TheChildOfALaterForkIsStoppedWithAMessageWhenItUsesTheRuntime) {
  EXPECT_EQ(usePool(), 5);
  const ChildsEnd end = inAChild([] { usePool(); });
  ASSERT_TRUE(WIFSIGNALED(end.status));
  EXPECT_EQ(WTERMSIG(end.status), SIGABRT);
  EXPECT_NE(end.standardError.find("Fatal error: The runtime was used in the child of a fork that happened after the "
                                   "runtime had started; fork before first use, or call exec in the child"),
            std::string::npos)
      << end.standardError;
  EXPECT_EQ(usePool(), 5);
}

TEST(RuntimeLifetime, TheChildOfALaterForkMayCallExec) {
  EXPECT_EQ(usePool(), 5);
  const ChildsEnd end = inAChild([] { ::execl("/bin/sh", "sh", "-c", "exit 9", nullptr); });
  ASSERT_TRUE(WIFEXITED(end.status));
  EXPECT_EQ(WEXITSTATUS(end.status), 9);
}

TEST(RuntimeLifetime, ExitWithWorkInFlightIsClean) {
  for (int i = 0; i < 10; ++i) {
    const ChildsEnd end = inAChild([] {
      std::latch started(3);
      Task<>::detached([&]() -> Async<void> {
        started.count_down();
        for (;;) co_await Task<>::yield();
      });
      Task<>::detached([&]() -> Async<void> {
        started.count_down();
        for (;;) co_await Task<>::sleep(10us);
      });
      Task<>::detached([&]() -> Async<void> {
        started.count_down();
        for (;;) co_await runBlocking([] {});
      });
      started.wait();
      std::exit(0);
    });
    ASSERT_TRUE(WIFEXITED(end.status)) << WTERMSIG(end.status) << end.standardError;
    EXPECT_EQ(WEXITSTATUS(end.status), 0) << end.standardError;
  }
}

/// Counts down when a record is written.
class NotifyingBackend final : public LogBackend {
 public:
  void write(const LogRecord& record) noexcept override {
    recorder.write(record);
    written.release();
  }
  void flush(std::chrono::nanoseconds) noexcept override {}

  RecordingLogBackend recorder;
  std::counting_semaphore<> written{0};
};

TEST(RuntimeLifetime, AHostThatNeverDrainsItsMainQueueIsToldOnce) {
  const auto backend = std::make_shared<NotifyingBackend>();
  const LogBackendInstallation installation(backend);
  OS_dispatch_queue::main().async([] {});
  backend->written.acquire();
  OS_dispatch_queue::main().async([] {});
  // Longer than it takes until the next report would come.
  EXPECT_FALSE(backend->written.try_acquire_for(2500ms));
  EXPECT_EQ(
      backend->recorder.messages(),
      (std::vector<std::string>{
          "Work for the main thread has been waiting for 2 s: nobody drains the main queue. Call MainQueue::run(), "
          "or watch MainQueue::fileDescriptor() and call MainQueue::drain()."}));
}

TEST(RuntimeLifetime, BusyMainThreadIsNotAForgottenLoop) {
  const auto backend = std::make_shared<NotifyingBackend>();
  const LogBackendInstallation installation(backend);
  OS_dispatch_queue::main().async([&] {
    OS_dispatch_queue::main().async([] { MainQueue::stop(); });
    backend->written.acquire();
  });
  MainQueue::run();
  ASSERT_EQ(backend->recorder.records().size(), 1U);
  EXPECT_EQ(backend->recorder.records()[0].type, OSLogType::default_);
  EXPECT_EQ(backend->recorder.messages()[0], "The main thread has been busy for at least 2 s while work for it waits.");
}

TEST(RuntimeLifetime, ServedQueueIsBusyNotForgotten) {
  const auto backend = std::make_shared<NotifyingBackend>();
  const LogBackendInstallation installation(backend);
  const MainQueue::Service service;
  OS_dispatch_queue::main().async([] {});
  backend->written.acquire();
  backend->written.acquire();
  MainQueue::drain();
  EXPECT_EQ(backend->recorder.messages(),
            (std::vector<std::string>{"The main thread has been busy for at least 2 s while work for it waits.",
                                      "The main thread has been busy for at least 4 s while work for it waits."}));
}

Async<void> frameOfItsOwn() { co_return; }

/// Makes frames on one thread and destroys them on another, so that they pass through the lists of all threads.
class CrosswiseFrames {
 public:
  CrosswiseFrames() {
    for (int pair = 0; pair < 2; ++pair) {
      auto& box = boxes_[static_cast<std::size_t>(pair)];
      threads_.emplace_back([this, &box] {
        while (!isOver_) {
          std::vector<Async<void>> made;
          for (int i = 0; i < 256; ++i) made.push_back(frameOfItsOwn());
          const std::lock_guard guard(box.lock);
          box.frames.swap(made);
        }
      });
      threads_.emplace_back([this, &box] {
        while (!isOver_) {
          std::vector<Async<void>> taken;
          const std::lock_guard guard(box.lock);
          taken.swap(box.frames);
        }
      });
    }
  }
  CrosswiseFrames(const CrosswiseFrames&) = delete;
  CrosswiseFrames& operator=(const CrosswiseFrames&) = delete;
  ~CrosswiseFrames() {
    isOver_ = true;
    for (auto& thread : threads_) thread.join();
  }

 private:
  struct Box {
    std::mutex lock;
    std::vector<Async<void>> frames;
  };
  std::array<Box, 2> boxes_;
  std::atomic<bool> isOver_ = false;
  std::vector<std::thread> threads_;
};

TEST(RuntimeLifetime, ForkWhileFramesChangeThreadsLeavesChildUsable) {
  const CrosswiseFrames crosswise;
  for (int i = 0; i < 300; ++i) {
    const ChildsEnd end = inAChild([] {
      ::alarm(5);  // Ends a child that hangs.
      std::vector<Async<void>> frames;
      for (int made = 0; made < 300; ++made) frames.push_back(frameOfItsOwn());
      frames.clear();
      std::_Exit(0);
    });
    ASSERT_TRUE(WIFEXITED(end.status)) << "child " << i << " hung";
  }
}

TEST(RuntimeLifetime, ChildOfForkMayDropTasksThatItCannotCancel) {
  static ManualClock clock;
  const Task<> task({.isolation = Isolation()}, [] { return Task<>::sleep(1h, clock); });
  clock.waitForTimers(1);
  const ChildsEnd end = inAChild([&] {
    task.cancel();
    std::_Exit(task.isCancelled() ? 1 : 0);
  });
  ASSERT_TRUE(WIFEXITED(end.status)) << end.standardError;
  EXPECT_EQ(WEXITSTATUS(end.status), 0);
  task.cancel();
  EXPECT_THROW(syncWait(task.value()), CancellationError);
}

TEST(RuntimeLifetime, AContinuationThatIsDroppedIsNamedInOneLogRecordAndItsTaskStaysSuspended) {
  const auto backend = std::make_shared<RecordingLogBackend>();
  const LogBackendInstallation installation(backend);
  const Tests::LeftSuspended theTask;
  const Task<> task([]() -> Async<void> {
    co_await withCheckedContinuation<int>(
        [](const CheckedContinuation<int>& continuation) { auto copy = continuation; }, "streamedElement");
  });
  MainQueue::drain();
  EXPECT_FALSE(task.isFinished());
  ASSERT_EQ(backend->records().size(), 1U);
  EXPECT_EQ(backend->records()[0].category, "CheckedContinuation");
  EXPECT_EQ(backend->messages()[0],
            "The continuation 'streamedElement' was dropped without being resumed; its task stays suspended.");
}

}  // namespace
}  // namespace Tessaly
