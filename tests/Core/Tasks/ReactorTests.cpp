// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <latch>
#include <memory>
#include <random>
#include <thread>
#include <vector>

#include "Tessaly/Core/Tasks/BlockingWork.hpp"
#include "Tessaly/Core/Tasks/GlobalExecutor.hpp"
#include "Tessaly/Core/Tasks/OS_dispatch_queue.hpp"
#include "Tessaly/Core/Tasks/SyncWait.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"
#include "Tessaly/Core/Tasks/TaskGroup.hpp"
#include "Tessaly/Core/Tasks/detail/Reactor.hpp"
#include "Tessaly/Platform/Testing/ManualClock.hpp"
#include "tests/Support/Repetitions.hpp"

namespace Tessaly {
namespace {

using namespace std::chrono_literals;

struct Timer final : ClockTimer {
  Timer() : ClockTimer([](ClockTimer& timer) noexcept { static_cast<Timer&>(timer).fired.count_down(); }) {}
  std::latch fired{1};
};

TEST(TimerHeap, GivesTimersInTheOrderOfTheirDeadlines) {
  std::mt19937 random(7);
  for (int round = 0; round < 200; ++round) {
    std::vector<std::unique_ptr<Timer>> timers;
    std::vector<Clock::Instant> left;
    detail::TimerHeap heap;
    for (int i = 0; i < 60; ++i) {
      timers.push_back(std::make_unique<Timer>());
      timers.back()->setDeadline(Clock::Instant(random() % 40));
      heap.add(*timers.back());
    }
    for (auto& timer : timers) {
      if (random() % 3 == 0) {
        EXPECT_TRUE(heap.remove(*timer));
        EXPECT_FALSE(heap.remove(*timer));
      } else {
        left.push_back(timer->deadline());
      }
    }
    std::sort(left.begin(), left.end());
    for (const auto deadline : left) {
      ASSERT_NE(heap.first(), nullptr);
      EXPECT_EQ(heap.first()->deadline(), deadline);
      heap.remove(*heap.first());
    }
    EXPECT_EQ(heap.first(), nullptr);
  }
}

TEST(ContinuousClock, FiresATimerAtItsDeadline) {
  Timer timer;
  const auto deadline = ContinuousClock::shared().now() + 2ms;
  timer.setDeadline(deadline);
  ContinuousClock::shared().add(timer);
  timer.fired.wait();
  EXPECT_GE(ContinuousClock::shared().now(), deadline);
}

TEST(ContinuousClock, FiresOneWhoseDeadlineHasPassed) {
  Timer timer;
  timer.setDeadline(-5s);
  ContinuousClock::shared().add(timer);
  timer.fired.wait();
}

TEST(ContinuousClock, AnEarlierTimerIsNotKeptWaitingByALaterOne) {
  Timer later;
  Timer earlier;
  later.setDeadline(ContinuousClock::shared().now() + 1h);
  earlier.setDeadline(ContinuousClock::shared().now() + 1ms);
  ContinuousClock::shared().add(later);
  ContinuousClock::shared().add(earlier);
  earlier.fired.wait();
  EXPECT_TRUE(ContinuousClock::shared().remove(later));
  EXPECT_FALSE(ContinuousClock::shared().remove(later));
}

TEST(ContinuousClock, ARemovedFirstTimerDelaysNoOther) {
  for (int i = 0; i < Tests::repetitions(100); ++i) {
    Timer removed;
    Timer next;
    const auto now = ContinuousClock::shared().now();
    removed.setDeadline(now + std::chrono::microseconds(i));
    next.setDeadline(now + std::chrono::microseconds(i + 20));
    ContinuousClock::shared().add(removed);
    ContinuousClock::shared().remove(removed);
    ContinuousClock::shared().add(next);
    next.fired.wait();
    EXPECT_GE(ContinuousClock::shared().now(), next.deadline());
  }
}

TEST(ContinuousClock, ManySleepersAllWake) {
  EXPECT_EQ(syncWait([] {
              return withTaskGroup<int>([](TaskGroup<int>& group) -> Async<int> {
                for (int i = 0; i < 2000; ++i) {
                  group.addTask([i]() -> Async<int> {
                    co_await Task<>::sleep(std::chrono::microseconds(i % 500));
                    co_return 1;
                  });
                }
                int sum = 0;
                while (auto value = co_await group.next()) sum += *value;
                co_return sum;
              });
            }),
            2000);
}

TEST(ManualClock, MovesForwardOnlyAndNotBeyondTheMaximum) {
  ManualClock clock;
  clock.advance(std::chrono::seconds(5));
  clock.advance(-std::chrono::seconds(3));
  EXPECT_EQ(clock.now(), std::chrono::seconds(5));
  clock.advance(std::chrono::nanoseconds::max());
  EXPECT_EQ(clock.now(), std::chrono::nanoseconds::max());
}

TEST(ManualClock, TimerMayAdvanceTheClockFurther) {
  struct Advancing final : ClockTimer {
    explicit Advancing(ManualClock& owner)
        : ClockTimer([](ClockTimer& timer) noexcept { static_cast<Advancing&>(timer).clock.advance(20ns); }),
          clock(owner) {}
    ManualClock& clock;
  };
  ManualClock clock;
  Advancing early(clock);
  Advancing late(clock);
  early.setDeadline(3ns);
  late.setDeadline(15ns);
  clock.add(early);
  clock.add(late);
  clock.advance(5ns);
  EXPECT_EQ(clock.timerCount(), 0u);
  EXPECT_EQ(clock.now(), 35ns);
}

TEST(ManualClock, FiresInOrderEachAtItsDeadline) {
  ManualClock clock;
  std::vector<std::int64_t> seen;
  struct Recorder final : ClockTimer {
    Recorder(ManualClock& owner, std::vector<std::int64_t>& list)
        : ClockTimer([](ClockTimer& timer) noexcept {
            auto& self = static_cast<Recorder&>(timer);
            self.seen.push_back(self.clock.now().count());
          }),
          clock(owner),
          seen(list) {}
    ManualClock& clock;
    std::vector<std::int64_t>& seen;
  };
  Recorder first(clock, seen);
  Recorder second(clock, seen);
  first.setDeadline(7ns);
  second.setDeadline(3ns);
  clock.add(first);
  clock.add(second);
  clock.advance(5ns);
  EXPECT_EQ(seen, (std::vector<std::int64_t>{3}));
  clock.advance(5ns);
  EXPECT_EQ(seen, (std::vector<std::int64_t>{3, 7}));
  EXPECT_EQ(clock.now(), 10ns);
}

TEST(DispatchQueue, RunsAFunctionAfterADelay) {
  ManualClock clock;
  bool hasRun = false;
  OS_dispatch_queue::main().asyncAfter(5s, [&] { hasRun = true; }, clock);
  clock.advance(4s);
  MainQueue::drain();
  EXPECT_FALSE(hasRun);
  clock.advance(1s);
  EXPECT_EQ(MainQueue::drain(), 1U);
  EXPECT_TRUE(hasRun);
}

class SocketPair {
 public:
  SocketPair() { EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, ends_), 0); }
  ~SocketPair() {
    ::close(ends_[0]);
    ::close(ends_[1]);
  }
  void send(char byte) const { EXPECT_EQ(::write(ends_[1], &byte, 1), 1); }
  [[nodiscard]] int receiveAll() const {
    char buffer[64];
    int total = 0;
    for (ssize_t size = 0; (size = ::read(ends_[0], buffer, sizeof(buffer))) > 0;) total += static_cast<int>(size);
    return total;
  }
  [[nodiscard]] int descriptor() const { return ends_[0]; }

 private:
  int ends_[2] = {-1, -1};
};

TEST(DescriptorSource, CallsItsFunctionOnTheExecutorWheneverThereIsSomethingToRead) {
  const SocketPair pair;
  std::atomic<int> total = 0;
  std::latch all(100);
  const auto source = detail::DescriptorSource::make(pair.descriptor(), GlobalExecutor::shared(), [&] {
    const int received = pair.receiveAll();
    total += received;
    all.count_down(received);
  });
  for (int i = 0; i < 100; ++i) pair.send('x');
  all.wait();
  source->cancel();
  EXPECT_EQ(total, 100);
}

TEST(DescriptorSource, RunsOnTheMainQueueIfThatIsItsExecutor) {
  const SocketPair pair;
  bool hasRun = false;
  const auto source = detail::DescriptorSource::make(pair.descriptor(), MainQueue::executor(), [&] {
    hasRun = MainQueue::isMainThread();
    static_cast<void>(pair.receiveAll());
    MainQueue::stop();
  });
  pair.send('x');
  MainQueue::run();
  EXPECT_TRUE(hasRun);
  source->cancel();
}

TEST(DescriptorSource, NeverRunsAfterCancelHasReturned) {
  for (int i = 0; i < Tests::repetitions(300); ++i) {
    const SocketPair pair;
    auto isAlive = std::make_unique<std::atomic<bool>>(true);
    auto source =
        detail::DescriptorSource::make(pair.descriptor(), GlobalExecutor::shared(), [&pair, watched = isAlive.get()] {
          EXPECT_TRUE(watched->load());
          static_cast<void>(pair.receiveAll());
        });
    pair.send('x');
    if (i % 2 == 0) std::this_thread::yield();
    source->cancel();
    source->cancel();
    isAlive.reset();
  }
}

void fireTimer(std::chrono::nanoseconds delay) {
  Timer timer;
  timer.setDeadline(ContinuousClock::shared().now() + delay);
  ContinuousClock::shared().add(timer);
  timer.fired.wait();
}

TEST(DescriptorSource, TimersFireWhileItsFunctionsBlock) {
  for (int i = 0; i < Tests::repetitions(30); ++i) {
    fireTimer(500us);  // The threads of the pool sleep by then.
    const std::array<SocketPair, 3> pairs;
    std::latch arrived(1);
    std::latch end(1);
    std::vector<std::shared_ptr<detail::DescriptorSource>> sources;
    for (const SocketPair& pair : pairs) {
      sources.push_back(detail::DescriptorSource::make(pair.descriptor(), GlobalExecutor::shared(), [&] {
        static_cast<void>(pair.receiveAll());
        if (&pair == pairs.data()) arrived.count_down();
        end.wait();
      }));
    }
    pairs[0].send('x');
    arrived.wait();
    pairs[1].send('x');
    pairs[2].send('x');
    fireTimer(100us);
    end.count_down();
    for (const auto& source : sources) source->cancel();
  }
}

TEST(DescriptorSource, ItsFunctionsRunOnNoMoreThreadsThanThePoolHas) {
  cpu_set_t cores;
  ASSERT_EQ(::sched_getaffinity(0, sizeof(cores), &cores), 0);
  const std::array<SocketPair, 8> pairs;
  std::atomic<int> running = 0;
  std::atomic<int> maximum = 0;
  std::latch all(static_cast<std::ptrdiff_t>(pairs.size()) * 50);
  std::vector<std::shared_ptr<detail::DescriptorSource>> sources;
  for (const SocketPair& pair : pairs) {
    sources.push_back(detail::DescriptorSource::make(pair.descriptor(), GlobalExecutor::shared(), [&] {
      const int now = running.fetch_add(1) + 1;
      for (int seen = maximum; seen < now && !maximum.compare_exchange_weak(seen, now);) {
      }
      const int received = pair.receiveAll();
      std::this_thread::yield();
      running.fetch_sub(1);
      all.count_down(received);
    }));
  }
  for (int i = 0; i < 50; ++i) {
    for (const SocketPair& pair : pairs) pair.send('x');
  }
  all.wait();
  for (const auto& source : sources) source->cancel();
  EXPECT_LE(maximum, CPU_COUNT(&cores));
}

TEST(DescriptorSource, MayCancelItselfAndBeDroppedFromItsOwnFunction) {
  const SocketPair pair;
  std::latch done(1);
  std::shared_ptr<detail::DescriptorSource> source;
  std::latch isMade(1);
  source = detail::DescriptorSource::make(pair.descriptor(), GlobalExecutor::shared(), [&] {
    isMade.wait();
    source->cancel();
    source.reset();
    done.count_down();
  });
  isMade.count_down();
  pair.send('x');
  done.wait();
}

TEST(DescriptorSourceDeathTest, SecondSourceOnOneDescriptorStops) {
  EXPECT_DEATH(
      {
        const SocketPair pair;
        const auto first = detail::DescriptorSource::make(pair.descriptor(), GlobalExecutor::shared(), [] {});
        const auto second = detail::DescriptorSource::make(pair.descriptor(), GlobalExecutor::shared(), [] {});
      },
      "Fatal error: The descriptor [0-9]+ cannot be watched: File exists");
}

TEST(DescriptorSourceDeathTest, DescriptorThatCannotBeWatchedStops) {
  EXPECT_DEATH(static_cast<void>(detail::DescriptorSource::make(-1, GlobalExecutor::shared(), [] {})),
               "Fatal error: The descriptor -1 cannot be watched: Bad file descriptor");
}

TEST(RunBlocking, GivesTheResultAndThrowsTheError) {
  EXPECT_EQ(syncWait(runBlocking([] { return 4; })), 4);
  EXPECT_THROW(syncWait(runBlocking([] { throw std::runtime_error("disk"); })), std::runtime_error);
}

TEST(RunBlocking, RunsNeitherOnThePoolNorOnTheMainThread) {
  const auto blocked = syncWait(runBlocking([] { return std::this_thread::get_id(); }));
  EXPECT_NE(blocked, std::this_thread::get_id());
  EXPECT_FALSE(syncWait(runBlocking([] { return detail::threadState.isPoolWorker; })));
}

TEST(RunBlocking, ManyMayBlockAtOnceWithoutStarvingThePool) {
  std::latch allAtOnce(32);
  syncWait([&] {
    return withTaskGroup<>([&](TaskGroup<>& group) -> Async<void> {
      for (int i = 0; i < 32; ++i) group.addTask([&] { return runBlocking([&] { allAtOnce.arrive_and_wait(); }); });
      co_await group.waitForAll();
    });
  });
}

TEST(RunBlocking, MoreThanThereAreThreadsAllEnd) {
  std::atomic<int> ended = 0;
  syncWait([&] {
    return withTaskGroup<>([&](TaskGroup<>& group) -> Async<void> {
      for (int i = 0; i < 1000; ++i) group.addTask([&] { return runBlocking([&] { ended.fetch_add(1); }); });
      co_await group.waitForAll();
    });
  });
  EXPECT_EQ(ended, 1000);
}

}  // namespace
}  // namespace Tessaly
