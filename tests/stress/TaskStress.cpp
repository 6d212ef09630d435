// SPDX-License-Identifier: MIT
#include "tests/stress/TaskStress.hpp"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <map>
#include <mutex>
#include <thread>
#include <vector>

#include "Tessaly/Core/Tasks/GlobalExecutor.hpp"
#include "Tessaly/Core/Tasks/MainQueue.hpp"
#include "Tessaly/Core/Tasks/SyncWait.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"
#include "Tessaly/Core/Tasks/detail/StreamTurn.hpp"
#include "Tessaly/Platform/Testing/ManualClock.hpp"
#include "Tessaly/Platform/Testing/SeededScheduler.hpp"
#include "tests/stress/StressWork.hpp"

namespace Tessaly::Tests {
namespace {

using Instant = std::chrono::steady_clock::time_point;

/// The simplest executor that a host can make: one queue for many threads, which never end.
class ManyThreads final : public Executor {
 public:
  static constexpr unsigned threads = 64;

  ManyThreads() {
    for (unsigned thread = 0; thread < threads; ++thread) std::thread([this] { work(); }).detach();
  }
  void enqueue(Job& job) noexcept override {
    {
      const std::lock_guard guard(mutex_);
      jobs_.append(job);
    }
    hasJob_.notify_one();
  }

 private:
  [[noreturn]] void work() {
    for (;;) {
      Job* job = nullptr;
      {
        std::unique_lock guard(mutex_);
        hasJob_.wait(guard, [this] { return !jobs_.isEmpty(); });
        job = jobs_.popFirst();
      }
      job->run();
    }
  }

  std::mutex mutex_;
  std::condition_variable hasJob_;
  JobList jobs_;
};

/// Stops the process when a round makes no step for too long.
class Watchdog {
 public:
  explicit Watchdog(std::chrono::seconds patience) : patience_(patience), thread_([this] { watch(); }) {}
  ~Watchdog() {
    {
      const std::lock_guard guard(mutex_);
      hasEnded_ = true;
    }
    ends_.notify_one();
    thread_.join();
  }
  Watchdog(const Watchdog&) = delete;
  Watchdog& operator=(const Watchdog&) = delete;

  /// Watches a round for the extent of a scope.
  class Watched {
   public:
    Watched(Watchdog& watchdog, const Round& round) : watchdog_(watchdog), round_(round) {
      const std::lock_guard guard(watchdog_.mutex_);
      watchdog_.seen_[&round_] = {0, std::chrono::steady_clock::now()};
    }
    ~Watched() {
      const std::lock_guard guard(watchdog_.mutex_);
      watchdog_.seen_.erase(&round_);
    }
    Watched(const Watched&) = delete;
    Watched& operator=(const Watched&) = delete;

   private:
    Watchdog& watchdog_;
    const Round& round_;
  };

 private:
  struct Seen {
    std::uint64_t steps;
    Instant since;
  };

  void watch() {
    std::unique_lock guard(mutex_);
    while (!ends_.wait_for(guard, std::chrono::milliseconds(500), [this] { return hasEnded_; })) {
      const Instant now = std::chrono::steady_clock::now();
      for (auto& [round, seen] : seen_) {
        const std::uint64_t steps = round->steps.load(std::memory_order_relaxed);
        if (steps != seen.steps) seen = {steps, now};
        if (now - seen.since > patience_) round->fail("a wake-up was lost: no step for too long");
      }
    }
  }

  const std::chrono::seconds patience_;
  std::mutex mutex_;
  std::condition_variable ends_;
  bool hasEnded_ = false;
  std::map<const Round*, Seen> seen_;
  std::thread thread_;
};

void checkSum(Round& round, long sum) {
  round.expect(sum == round.plan.contribution(), "the sum of a graph is wrong");
  round.checkEnd();
}

/// The state that the driving threads share.
struct Drive {
  explicit Drive(const StressSettings& wanted) : settings(wanted), watchdog(wanted.patience) {}

  /// Sets `seed` to that of the next round. Returns false after the last round.
  bool takeSeed(std::uint64_t& seed) {
    const std::uint64_t number = rounds.fetch_add(1, std::memory_order_relaxed);
    if (number >= settings.rounds || std::chrono::steady_clock::now() - start > settings.time) return false;
    seed = settings.seed + number;
    ended.fetch_add(1, std::memory_order_relaxed);
    return true;
  }

  const StressSettings settings;
  const Instant start = std::chrono::steady_clock::now();
  std::atomic<std::uint64_t> rounds{0};
  std::atomic<std::uint64_t> ended{0};
  std::atomic<std::uint64_t> steps{0};
  Watchdog watchdog;
};

void driveRounds(Drive& drive) {
  for (std::uint64_t seed = 0; drive.takeSeed(seed);) {
    Round round(seed, Plan::Schedule::free, drive.settings.breakage, ContinuousClock::shared());
    const Watchdog::Watched watched(drive.watchdog, round);
    const long sum = syncWait([&] { return contribution(Context(round), round.plan); });
    round.waitUntilUnused();
    checkSum(round, sum);
    drive.steps.fetch_add(round.steps.load(), std::memory_order_relaxed);
  }
}

/// Runs rounds on the driving threads, while the main thread serves the main queue.
StressResult driveOnThreads(const StressSettings& settings) {
  if (settings.executor == StressSettings::Executor::threads) GlobalExecutor::install(*new ManyThreads);
  Drive drive(settings);
  std::vector<std::thread> drivers;
  std::atomic<unsigned> running{settings.drivers};
  for (unsigned driver = 0; driver < settings.drivers; ++driver) {
    drivers.emplace_back([&] {
      driveRounds(drive);
      if (running.fetch_sub(1, std::memory_order_acq_rel) == 1) MainQueue::stop();
    });
  }
  MainQueue::run();
  for (std::thread& driver : drivers) driver.join();
  return {.rounds = drive.ended.load(), .steps = drive.steps.load()};
}

/// Runs one job of the main queue or of the scheduler. Returns false if no job waits.
bool runOne(SeededScheduler& scheduler, StressRandom& random) {
  if (random.isOneOf(2)) return MainQueue::drain() > 0 || scheduler.runOne();
  return scheduler.runOne() || MainQueue::drain() > 0;
}

StressResult driveBySeed(const StressSettings& settings) {
  SeededScheduler& scheduler = SeededScheduler::install();
  StressResult result;
  const Instant start = std::chrono::steady_clock::now();
  for (; result.rounds < settings.rounds; ++result.rounds) {
    if (std::chrono::steady_clock::now() - start > settings.time) break;
    const std::uint64_t seed = settings.seed + result.rounds;
    // A stream ends a turn after some real time, which no seed determines. So no turn ends here.
    detail::elementsLeft = std::numeric_limits<std::uint32_t>::max();
    scheduler.reseed(seed);
    StressRandom random(seed);
    ManualClock clock;
    Round round(seed, Plan::Schedule::reproducible, settings.breakage, clock);
    const auto root = Task<long>::detached([own = Context(round)] { return contribution(own, own.round.plan); });
    while (runOne(scheduler, random) || clock.timerCount() > 0) {
      if (random.isOneOf(8)) clock.advance(std::chrono::microseconds(50));
    }
    round.expect(root.isFinished() && !round.isUsed(), "a wake-up was lost: nothing can go on");
    checkSum(round, syncWait([&] { return root.value(); }));
    result.steps += round.steps.load();
    result.trace ^= StressRandom(round.trace + seed).next();
  }
  return result;
}

}  // namespace

StressResult stressTasks(const StressSettings& settings) {
  return settings.executor == StressSettings::Executor::seeded ? driveBySeed(settings) : driveOnThreads(settings);
}

}  // namespace Tessaly::Tests
