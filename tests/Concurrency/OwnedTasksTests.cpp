// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "Tessaly/Concurrency/OwnedTasks.hpp"
#include "Tessaly/Core/Tasks/BlockingWork.hpp"
#include "Tessaly/Core/Tasks/Cancellation.hpp"
#include "Tessaly/Core/Tasks/TaskGroup.hpp"
#include "Tessaly/Platform/Testing/ManualClock.hpp"
#include "tests/Core/Tasks/Scenarios.hpp"
#include "tests/Core/Tasks/StepByStep.hpp"
#include "tests/Core/Tasks/Streams.hpp"

namespace Tessaly {
namespace {

using Tests::settle;

// Runs all tasks, those of the main queue included, until each has ended or waits.
void settleAll() {
  do settle();
  while (MainQueue::drain() > 0);
}

// Waits for something that happens on another thread, and serves the main queue meanwhile.
template <typename Condition>
void serveUntil(Condition condition) {
  while (!condition()) {
    settleAll();
    std::this_thread::yield();
  }
}

// An object that a task uses through `this`. Its text stands on the heap, so that a late use is a use after free.
struct Window {
  void note(const char* event) { *log += std::string(log->empty() ? "" : " ") + event; }

  /// Appends to the window's log when it is destroyed.
  struct Guard {
    explicit Guard(Window& window) : window(window) {}
    Guard(const Guard&) = delete;
    Guard& operator=(const Guard&) = delete;
    ~Guard() { window.note("destroyed"); }
    Window& window;
  };

  std::shared_ptr<std::string> record = std::make_shared<std::string>();
  std::unique_ptr<std::string> own = std::make_unique<std::string>();
  std::string* log = record.get();
  OwnedTasks tasks;
};

// Holds a task on another thread until the test lets it go on.
struct Gate {
  void pass() {
    isReached = true;
    while (!isOpen) std::this_thread::yield();
  }
  std::atomic<bool> isReached{false};
  std::atomic<bool> isOpen{false};
};

TEST(OwnedTasks, RunsTasksInIsolationOfItsOwner) {
  Window window;
  bool isOnMainThread = false;
  window.tasks.add([&]() -> Async<void> {
    co_await withIsolation(Isolation(), [&] { window.note("elsewhere"); });
    isOnMainThread = MainQueue::isMainThread();
    window.note("back");
  });
  EXPECT_EQ(*window.log, "");
  settleAll();
  EXPECT_EQ(*window.log, "elsewhere back");
  EXPECT_TRUE(isOnMainThread);
}

TEST(OwnedTasks, RunsPlainFunctionsAndTellsPriority) {
  OwnedTasks tasks;
  std::vector<TaskPriority> priorities;
  const auto note = [&] { priorities.push_back(Task<>::currentPriority()); };
  const Task<> first = tasks.add(TaskPriority::high, note);
  const Task<> second = tasks.add(note);
  settleAll();
  EXPECT_TRUE(first.isFinished() && second.isFinished());
  EXPECT_EQ(priorities, (std::vector{TaskPriority::high, TaskPriority::medium}));
}

TEST(OwnedTasks, EndRunsNoCatchBlockOfASleeper) {
  ManualClock clock;
  std::optional<Window> window(std::in_place);
  const auto record = window->record;
  window->tasks.add([&clock, self = &*window]() -> Async<void> {
    const Window::Guard guard(*self);
    try {
      co_await Task<>::sleep(std::chrono::hours(1), clock);
    } catch (...) {
      *self->own = "a use after free";
      self->note("caught");
    }
    self->note("after");
  });
  settleAll();
  window.reset();
  EXPECT_EQ(*record, "destroyed");  // This runs in the destructor, so the window still exists.
  settleAll();
  EXPECT_EQ(*record, "destroyed");
}

TEST(OwnedTasks, EndRunsNothingAfterTheLastElement) {
  auto [stream, continuation] = AsyncStream<int>::makeStream();
  std::optional<Window> window(std::in_place);
  const auto record = window->record;
  window->tasks.add([stream = std::move(stream), self = &*window]() -> Async<void> {
    auto iterator = stream.makeAsyncIterator();
    while (co_await iterator.next()) self->note("element");
    self->note("after");
  });
  settleAll();
  continuation.yield(1);
  settleAll();
  continuation.yield(2);  // The consumer is scheduled when the window is closed.
  window.reset();
  settleAll();
  EXPECT_EQ(*record, "element");
  EXPECT_EQ(continuation.yield(3).kind, YieldResultKind::terminated);
}

TEST(OwnedTasks, RunningBlockingWorkNeverReturnsToItsOwner) {
  Gate gate;
  const auto held = std::make_shared<int>(1);
  std::optional<Window> window(std::in_place);
  const auto record = window->record;
  const Task<> task = window->tasks.add([&gate, held, self = &*window]() -> Async<void> {
    try {
      co_await runBlocking([&gate] {
        gate.pass();
        throw std::runtime_error("late");
      });
    } catch (...) {
      *self->own = "a use after free";
      self->note("caught");
    }
  });
  serveUntil([&] { return gate.isReached.load(); });
  window.reset();
  EXPECT_FALSE(task.isFinished());
  EXPECT_EQ(held.use_count(), 2);
  gate.isOpen = true;
  serveUntil([&] { return task.isFinished(); });
  EXPECT_EQ(*record, "");
  EXPECT_EQ(held.use_count(), 1);
}

TEST(OwnedTasks, WorkOnThePoolSeesItsCancellationAndGoesOn) {
  SeededScheduler::install();
  std::optional<Window> window(std::in_place);
  const auto record = window->record;
  std::string elsewhere;
  window->tasks.add([&elsewhere, self = &*window]() -> Async<void> {
    co_await withIsolation(Isolation(), [&elsewhere]() -> Async<void> {
      while (!Task<>::isCurrentCancelled()) co_await Task<>::yield();
      elsewhere = "cancelled";
    });
    self->note("back");
  });
  for (int turn = 0; turn < 3; ++turn) {
    MainQueue::drain();
    SeededScheduler::install().runOne();
  }
  window.reset();
  settleAll();
  EXPECT_EQ(elsewhere, "cancelled");
  EXPECT_EQ(*record, "");
}

TEST(OwnedTasks, WorkOnThePoolCannotNameTheOwnersIsolation) {
  SeededScheduler::install();
  std::optional<Window> window(std::in_place);
  const auto record = window->record;
  window->tasks.add([self = &*window]() -> Async<void> {
    co_await withIsolation(Isolation(), [self]() -> Async<void> {
      while (!Task<>::isCurrentCancelled()) co_await Task<>::yield();
      co_await withIsolation(Isolation::main(), [self] { self->note("by name"); });
    });
  });
  for (int turn = 0; turn < 3; ++turn) {
    MainQueue::drain();
    SeededScheduler::install().runOne();
  }
  window.reset();
  settleAll();
  EXPECT_EQ(*record, "");
}

TEST(OwnedTasks, NamingTheOwnersIsolationStaysThere) {
  Window window;
  window.tasks.add([&]() -> Async<void> {
    co_await withIsolation(Isolation::main(), [&] { window.note("inner"); });
    window.note("outer");
  });
  MainQueue::drain();
  EXPECT_EQ(*window.log, "inner outer");
}

TEST(OwnedTasks, TaskThatHasNotStartedNeverStarts) {
  const auto held = std::make_shared<int>(1);
  std::optional<Window> window(std::in_place);
  const auto record = window->record;
  const Task<> task = window->tasks.add([held, self = &*window] { self->note("started"); });
  window.reset();
  EXPECT_TRUE(task.isFinished());
  EXPECT_EQ(held.use_count(), 1);
  settleAll();
  EXPECT_EQ(*record, "");
}

TEST(OwnedTasks, TaskThatDestroysItsOwnerGoesOnToItsNextWait) {
  std::optional<Window> window(std::in_place);
  std::string events;
  const Task<> task = window->tasks.add([&]() -> Async<void> {
    window.reset();
    events += "closed";
    co_await Task<>::yield();
    events += " again";
  });
  settleAll();
  EXPECT_EQ(events, "closed");
  EXPECT_TRUE(task.isFinished());
}

TEST(OwnedTasks, ChildrenOfAGroupKeepTheirParentsVariables) {
  Gate gate;
  std::optional<Window> window(std::in_place);
  const auto record = window->record;
  int result = 0;
  const Task<> task = window->tasks.add([&gate, &result, self = &*window]() -> Async<void> {
    const auto number = std::make_unique<int>(5);
    co_await withTaskGroup([&](TaskGroup<>& group) -> Async<void> {
      group.addTask([&]() -> Async<void> {
        co_await runBlocking([&] { gate.pass(); });
        result = *number;
      });
      group.addTask([] {});
      while (co_await group.next()) {
      }
    });
    self->note("after");
  });
  serveUntil([&] { return gate.isReached.load(); });
  window.reset();
  settleAll();
  EXPECT_FALSE(task.isFinished());
  gate.isOpen = true;
  serveUntil([&] { return task.isFinished(); });
  EXPECT_EQ(result, 5);
  EXPECT_EQ(*record, "");
}

TEST(OwnedTasks, ParentThatSleepsInItsGroupAwaitsItsChildren) {
  Gate gate;
  ManualClock clock;
  std::optional<Window> window(std::in_place);
  int result = 0;
  const Task<> task = window->tasks.add([&]() -> Async<void> {
    const auto number = std::make_unique<int>(6);
    co_await withTaskGroup([&](TaskGroup<>& outer) -> Async<void> {
      outer.addTask([&]() -> Async<void> {
        co_await runBlocking([&] { gate.pass(); });
        result = *number;
      });
      co_await withTaskGroup([&](TaskGroup<>&) { return Task<>::sleep(std::chrono::hours(1), clock); });
    });
  });
  serveUntil([&] { return gate.isReached.load(); });
  window.reset();
  EXPECT_FALSE(task.isFinished());
  gate.isOpen = true;
  serveUntil([&] { return task.isFinished(); });
  EXPECT_EQ(result, 6);
}

TEST(OwnedTasks, TaskStartedByAnOwnedTaskEndsWithTheOwnerToo) {
  std::optional<Window> window(std::in_place);
  const auto record = window->record;
  std::optional<Task<>> inner;
  window->tasks.add([&inner, self = &*window] {
    inner = Task<>([self]() -> Async<void> {
      self->note("inner");
      co_await Task<>::yield();
      self->note("late");
    });
  });
  MainQueue::drain();
  MainQueue::drain();
  EXPECT_EQ(*record, "inner");
  window.reset();
  settleAll();
  EXPECT_EQ(*record, "inner");
  EXPECT_TRUE(inner->isFinished());
  EXPECT_FALSE(inner->isCancelled());
}

TEST(OwnedTasks, EndCancelsGroupChildrenOfATaskThatWasNotCancelled) {
  settleAll();
  ManualClock clock;
  std::optional<Window> window(std::in_place);
  std::optional<Task<>> inner;
  window->tasks.add([&] {
    inner = Task<>([&clock]() -> Async<void> {
      co_await withTaskGroup([&](TaskGroup<>& outer) -> Async<void> {
        outer.addTask([&clock] { return Task<>::sleep(std::chrono::hours(1), clock); });
        co_await withTaskGroup([&](TaskGroup<>& group) -> Async<void> {
          group.addTask([&clock] { return Task<>::sleep(std::chrono::hours(1), clock); });
          co_await Task<>::yield();
        });
      });
    });
  });
  MainQueue::drain();
  MainQueue::drain();
  window.reset();
  settleAll();
  EXPECT_TRUE(inner->isFinished());
  EXPECT_EQ(clock.timerCount(), 0U);
}

TEST(OwnedTasks, AwaitingAnEndedTaskThrowsTheCancellationError) {
  ManualClock clock;
  std::optional<Window> window(std::in_place);
  const Task<> task = window->tasks.add([&clock] { return Task<>::sleep(std::chrono::hours(1), clock); });
  std::string answer = "waiting";
  const auto waiter = Tests::start([&]() -> Async<void> {
    try {
      co_await task.value();
      answer = "value";
    } catch (const CancellationError&) {
      answer = "cancelled";
    }
  });
  settleAll();
  EXPECT_EQ(answer, "waiting");
  window.reset();
  settleAll();
  EXPECT_EQ(answer, "cancelled");
}

TEST(OwnedTasks, EndMakesRoomForFurtherTasks) {
  ManualClock clock;
  Window window;
  window.tasks.add([&]() -> Async<void> {
    co_await Task<>::sleep(std::chrono::seconds(1), clock);
    window.note("first");
  });
  settleAll();
  window.tasks.end();
  window.tasks.add([&]() -> Async<void> {
    co_await Task<>::sleep(std::chrono::seconds(2), clock);
    window.note("second");
  });
  settleAll();
  clock.advance(std::chrono::seconds(2));
  settleAll();
  EXPECT_EQ(*window.log, "second");
}

TEST(OwnedTasks, OwnerMadeByAnOwnedTaskMayOutliveTheOuterOwner) {
  std::optional<OwnedTasks> outer(std::in_place);
  std::optional<OwnedTasks> inner;
  outer->add([&] { inner.emplace(); });
  settleAll();
  outer.reset();
  bool ran = false;
  inner->add([&] { ran = true; });
  settleAll();
  EXPECT_TRUE(ran);
}

TEST(OwnedTasks, CancellationHandlersRunBeforeTheDestructorReturns) {
  ManualClock clock;
  std::optional<Window> window(std::in_place);
  const auto record = window->record;
  window->tasks.add([&clock, self = &*window] {
    return withTaskCancellationHandler([&clock] { return Task<>::sleep(std::chrono::hours(1), clock); },
                                       [self] { self->note("handler"); });
  });
  settleAll();
  window.reset();
  EXPECT_EQ(*record, "handler");
}

// A model whose task may hold the last reference to it.
struct SharedModel : std::enable_shared_from_this<SharedModel> {
  explicit SharedModel(std::string& log) : log(log) {}
  SharedModel(const SharedModel&) = delete;
  SharedModel& operator=(const SharedModel&) = delete;
  ~SharedModel() { log += "destroyed"; }
  std::string& log;
  OwnedTasks tasks;
};

TEST(OwnedTasks, EndMayDestroyTheOwner) {
  ManualClock clock;
  std::string log;
  auto model = std::make_shared<SharedModel>(log);
  OwnedTasks& tasks = model->tasks;
  tasks.add([&clock, self = model->shared_from_this()] { return Task<>::sleep(std::chrono::hours(1), clock); });
  settleAll();
  model.reset();
  tasks.end();
  EXPECT_EQ(log, "destroyed");
}

TEST(OwnedTasks, CancellationHandlerMayDestroyTheOwnerDuringEnd) {
  ManualClock clock;
  std::string log;
  auto model = std::make_shared<SharedModel>(log);
  OwnedTasks& tasks = model->tasks;
  tasks.add([&] {
    return withTaskCancellationHandler([&clock] { return Task<>::sleep(std::chrono::hours(1), clock); },
                                       [&model] { model.reset(); });
  });
  settleAll();
  tasks.end();
  EXPECT_EQ(log, "destroyed");
}

TEST(OwnedTasks, AddMayDestroyTheOwnerWithAFailedTasksError) {
  struct Failure {
    std::shared_ptr<SharedModel> model;
  };
  std::string log;
  auto model = std::make_shared<SharedModel>(log);
  OwnedTasks& tasks = model->tasks;
  tasks.add([failing = model] { throw Failure{failing}; });
  for (int i = 1; i < 16; ++i) tasks.add([] {});
  settleAll();
  model.reset();
  const Task<> last = tasks.add([] {});  // The list was full, so it loses the tasks that have ended.
  EXPECT_EQ(log, "destroyed");
  EXPECT_TRUE(last.isFinished());
}

// Adds a task that sleeps and has a local variable. The variable's destructor calls the function.
template <typename Function>
void addSleeperWithDestructor(Window& window, ManualClock& clock, Function function) {
  window.tasks.add([&clock, function]() -> Async<void> {
    const std::unique_ptr<const Function, void (*)(const Function*)> variable(
        &function, [](const Function* called) { (*called)(); });
    co_await Task<>::sleep(std::chrono::hours(1), clock);
  });
  settleAll();
}

TEST(OwnedTasks, TaskAddedDuringEndRunsAfterIt) {
  ManualClock clock;
  Window window;
  addSleeperWithDestructor(window, clock, [&window] { window.tasks.add([&window] { window.note("added"); }); });
  window.tasks.end();
  EXPECT_EQ(*window.log, "");
  settleAll();
  EXPECT_EQ(*window.log, "added");
}

// Ends the tasks and adds one. The task does not use the window, so that a late start is no use after free.
auto restart(Window& window) {
  return [&window] {
    window.tasks.end();
    window.tasks.add([record = window.record] { *record += "restarted"; });
  };
}

TEST(OwnedTasks, TaskAddedAfterANestedEndEndsWithItsOwner) {
  ManualClock clock;
  std::optional<Window> window(std::in_place);
  const auto record = window->record;
  addSleeperWithDestructor(*window, clock, restart(*window));
  window->tasks.end();
  window.reset();
  settleAll();
  EXPECT_EQ(*record, "");
}

TEST(OwnedTasks, TaskAddedDuringTheDestructionNeverStarts) {
  ManualClock clock;
  std::optional<Window> window(std::in_place);
  const auto record = window->record;
  addSleeperWithDestructor(*window, clock, restart(*window));
  window.reset();
  settleAll();
  EXPECT_EQ(*record, "");
}

TEST(OwnedTasks, HandlerThatServesTheMainQueueRunsNoTaskDuringEnd) {
  ManualClock clock;
  Window window;
  window.tasks.add([&clock] {
    return withTaskCancellationHandler([&clock] { return Task<>::sleep(std::chrono::hours(1), clock); },
                                       [] { MainQueue::drain(); });
  });
  settleAll();
  window.tasks.add([&window] { window.note("started"); });
  window.tasks.end();
  settleAll();
  EXPECT_EQ(*window.log, "");
}

TEST(OwnedTasks, PriorityOfTheTurnLapsesOnceTheHighTaskHasRun) {
  using enum TaskPriority;
  Tests::StepByStep executor;
  const TaskOptions there{.isolation = Isolation(executor)};
  std::optional<OwnedTasks> tasks;
  Task<>::detached(there, [&] {
    tasks.emplace();
    for (const TaskPriority priority : {low, high, background, low}) tasks->add(priority, [] {});
  });
  while (executor.runOne()) {
  }
  EXPECT_EQ(executor.priorities, (std::vector{medium, high, high, low, low}));
  Task<>::detached(there, [&] { tasks.reset(); });
  EXPECT_TRUE(executor.runOne());
}

TEST(OwnedTasksDeathTest, NeedsAnIsolation) {
  EXPECT_EXIT(OwnedTasks tasks{Isolation()}, testing::KilledBySignal(SIGABRT),
              "^Tessaly/OwnedTasks:[0-9]+: Fatal error: OwnedTasks needs an isolation, such as Isolation::main\\(\\): "
              "without one its tasks would run beside their owner's destructor\n$");
}

TEST(OwnedTasksDeathTest, UseInAnotherIsolationStopsTheProcess) {
  constexpr auto message =
      "^Tessaly/OwnedTasks:[0-9]+: Fatal error: OwnedTasks was used outside its isolation, where its tasks may be "
      "running\n$";
  const auto elsewhere = [](auto use) {
    auto tasks = std::make_unique<OwnedTasks>();
    std::thread([&] { use(tasks); }).join();
  };
  EXPECT_EXIT(elsewhere([](auto& tasks) { tasks.reset(); }), testing::KilledBySignal(SIGABRT), message);
  EXPECT_EXIT(elsewhere([](auto& tasks) { tasks->end(); }), testing::KilledBySignal(SIGABRT), message);
  EXPECT_EXIT(elsewhere([](auto& tasks) { tasks->add([] {}); }), testing::KilledBySignal(SIGABRT), message);
}

// A model on a serial isolation. Its tasks wait in every possible way when it ends.
class Model {
 public:
  explicit Model(std::shared_ptr<std::atomic<bool>> isAlive) : isAlive_(std::move(isAlive)) {}
  Model(const Model&) = delete;
  Model& operator=(const Model&) = delete;
  ~Model() { isAlive_->store(false); }

  void addTasks(ManualClock& clock, const AsyncStream<int>& stream) {
    // The tasks can test whether the model exists without using it.
    const auto use = [this, isAlive = isAlive_] {
      ASSERT_TRUE(isAlive->load());
      ++uses_;
    };
    tasks_.add([use, &clock]() -> Async<void> {
      try {
        co_await Task<>::sleep(std::chrono::hours(1), clock);
      } catch (...) {
        use();
      }
      use();
    });
    tasks_.add([use, stream]() -> Async<void> {
      auto iterator = stream.makeAsyncIterator();
      while (co_await iterator.next()) use();
      use();
    });
    tasks_.add([use]() -> Async<void> {
      for (int turn = 0; turn < 20; ++turn) {
        use();
        co_await withIsolation(Isolation(), [] { return Tests::pause(1); });
      }
    });
    tasks_.add([use]() -> Async<void> {
      int sum = 0;
      co_await withTaskGroup([&](TaskGroup<>& group) -> Async<void> {
        for (int child = 0; child < 3; ++child) {
          group.addTask([&sum, child]() -> Async<void> {
            co_await Tests::pause(child * 2);
            std::atomic_ref(sum).fetch_add(1);
          });
        }
        use();
        co_await group.next();
        use();
      });
      EXPECT_EQ(sum, 3);
      use();
    });
    tasks_.add([use]() -> Async<void> {
      const Task<> other = Task<>::detached([] { return Tests::pause(3); });
      co_await other.value();
      use();
    });
  }

 private:
  std::shared_ptr<std::atomic<bool>> isAlive_;
  int uses_ = 0;
  OwnedTasks tasks_;
};

void endAModelAtAnyStep(Tests::Tasks& tasks) {
  const auto clock = std::make_shared<ManualClock>();
  const Isolation isolation = Isolation::serial();
  const auto isAlive = std::make_shared<std::atomic<bool>>(true);
  auto [stream, continuation] = AsyncStream<int>::makeStream();
  tasks.add([=, steps = tasks.random(30), stream = std::move(stream)]() -> Async<void> {
    std::optional<Model> model;
    co_await withIsolation(isolation, [&] { model.emplace(isAlive).addTasks(*clock, stream); });
    co_await Tests::pause(steps);
    co_await withIsolation(isolation, [&] { model.reset(); });
  });
  tasks.add([=, steps = tasks.random(10), continuation = continuation]() -> Async<void> {
    for (int element = 0; element < 5; ++element) {
      continuation.yield(element);
      co_await Tests::pause(steps);
    }
    clock->advance(std::chrono::hours(1));
  });
}

TEST(OwnedTasks, NothingRunsAfterTheEndInEveryOrderOfSteps) { Tests::holdsInEveryOrderOfSteps(endAModelAtAnyStep); }
TEST(OwnedTasks, NothingRunsAfterTheEndOnManyThreads) { Tests::holdsOnManyThreads(endAModelAtAnyStep); }

}  // namespace
}  // namespace Tessaly
