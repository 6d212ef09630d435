// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QEventLoop>
#include <QTimer>
#include <functional>
#include <optional>
#include <string_view>
#include <thread>
#include <vector>

#include "Tessaly/Adapters/Qt/MainLoop.hpp"
#include "Tessaly/Core/Tasks/OS_dispatch_queue.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"
#include "Tessaly/Core/Tasks/WithIsolation.hpp"
#include "tests/Support/Repetitions.hpp"

namespace Tessaly {
namespace {

void onMain(OS_dispatch_queue::Function function) { OS_dispatch_queue::main().async(std::move(function)); }

class Application : public QCoreApplication {
 public:
  Application() : QCoreApplication(count_, arguments_) {}

 private:
  static inline int count_ = 1;
  static inline char name_[] = "test";
  static inline char* arguments_[] = {name_, nullptr};
};

/// Qt has two loops, its own and GLib's, and the environment chooses one. The tests run with each.
class QtMainLoop : public testing::Test {
 protected:
  std::optional<Application> application_{std::in_place};
};

TEST_F(QtMainLoop, EnvironmentChoosesTheLoop) {
  const std::string_view name = QAbstractEventDispatcher::instance()->metaObject()->className();
  EXPECT_EQ(name, qEnvironmentVariableIsEmpty("QT_NO_GLIB") ? "QEventDispatcherGlib" : "QEventDispatcherUNIX");
}

TEST_F(QtMainLoop, MainThreadTasksMayAwaitThePool) {
  Qt6::MainLoopAdapter adapter;
  for (int i = 0; i < Tests::repetitions(200); ++i) {
    QEventLoop loop;
    bool wasMain = false;
    bool poolWasMain = true;
    Task<> task([&]() -> Async<void> {
      poolWasMain = co_await withIsolation(Isolation(), [] { return MainQueue::isMainThread(); });
      wasMain = MainQueue::isMainThread();
      loop.quit();
    });
    loop.exec();
    ASSERT_TRUE(wasMain);
    ASSERT_FALSE(poolWasMain);
  }
}

TEST_F(QtMainLoop, TaskSetsTheExitStatusOfTheApplication) {
  Qt6::MainLoopAdapter adapter;
  Task<> task([]() -> Async<void> {
    const int status = co_await withIsolation(Isolation(), [] { return 7; });
    QCoreApplication::exit(status);
  });
  EXPECT_EQ(QCoreApplication::exec(), 7);
}

TEST_F(QtMainLoop, HasNothingToDoWithoutWork) {
  Qt6::MainLoopAdapter adapter;
  while (QCoreApplication::eventDispatcher()->processEvents(QEventLoop::AllEvents)) {
  }
  onMain([] {});
  EXPECT_TRUE(QCoreApplication::eventDispatcher()->processEvents(QEventLoop::AllEvents));
  EXPECT_FALSE(QCoreApplication::eventDispatcher()->processEvents(QEventLoop::AllEvents));
}

TEST_F(QtMainLoop, NestedLoopServesNewWork) {
  Qt6::MainLoopAdapter adapter;
  QEventLoop outer;
  std::vector<int> order;
  onMain([&] {
    QEventLoop inner;
    order.push_back(1);
    onMain([&] {
      order.push_back(2);
      inner.quit();
    });
    inner.exec();
    order.push_back(3);
    outer.quit();
  });
  outer.exec();
  EXPECT_EQ(order, (std::vector{1, 2, 3}));
}

TEST_F(QtMainLoop, NestedLoopServesWorkBehindItsOpener) {
  Qt6::MainLoopAdapter adapter;
  QEventLoop outer;
  QEventLoop inner;
  std::vector<int> order;
  onMain([&] {
    order.push_back(1);
    inner.exec();
    order.push_back(3);
    outer.quit();
  });
  onMain([&] {
    order.push_back(2);
    inner.quit();
  });
  outer.exec();
  EXPECT_EQ(order, (std::vector{1, 2, 3}));
}

TEST_F(QtMainLoop, NestedLoopInATaskServesTasksAwaitingThePool) {
  Qt6::MainLoopAdapter adapter;
  for (int i = 0; i < Tests::repetitions(200); ++i) {
    QEventLoop outer;
    int answer = 0;
    Task<> task([&]() -> Async<void> {
      co_await withIsolation(Isolation(), [] {});
      QEventLoop inner;
      Task<> nested([&]() -> Async<void> {
        answer = co_await withIsolation(Isolation(), [] { return 42; });
        inner.quit();
      });
      inner.exec();
      outer.quit();
    });
    outer.exec();
    ASSERT_EQ(answer, 42);
  }
}

TEST_F(QtMainLoop, LoopsNestDeeply) {
  Qt6::MainLoopAdapter adapter;
  QEventLoop outer;
  int depth = 0;
  std::function<void()> descend = [&] {
    if (++depth == 50) return;
    QEventLoop inner;
    onMain([&] {
      descend();
      inner.quit();
    });
    inner.exec();
  };
  onMain([&] {
    descend();
    outer.quit();
  });
  outer.exec();
  EXPECT_EQ(depth, 50);
}

TEST_F(QtMainLoop, TwoAdaptersServeOneQueueInOrder) {
  Qt6::MainLoopAdapter first;
  Qt6::MainLoopAdapter second;
  QEventLoop loop;
  std::vector<int> order;
  for (int i = 0; i < 100; ++i) onMain([&order, i] { order.push_back(i); });
  onMain([&] { loop.quit(); });
  loop.exec();
  ASSERT_EQ(order.size(), 100U);
  for (int i = 0; i < 100; ++i) EXPECT_EQ(order[static_cast<std::size_t>(i)], i);
}

TEST_F(QtMainLoop, AdaptersMayBeDestroyedInAnyOrder) {
  for (const bool firstGoesFirst : {true, false}) {
    std::optional<Qt6::MainLoopAdapter> first(std::in_place);
    std::optional<Qt6::MainLoopAdapter> second(std::in_place);
    (firstGoesFirst ? first : second).reset();
    int calls = 0;
    onMain([&] { ++calls; });
    QCoreApplication::processEvents();
    EXPECT_EQ(calls, 1);
    first.reset();
    second.reset();
    onMain([&] { ++calls; });
    QCoreApplication::processEvents();
    EXPECT_EQ(calls, 1);
    MainQueue::drain();
    EXPECT_EQ(calls, 2);
  }
}

TEST_F(QtMainLoop, AdapterMayOutliveTheApplicationObject) {
  Qt6::MainLoopAdapter adapter;
  onMain([] { QCoreApplication::quit(); });
  EXPECT_EQ(QCoreApplication::exec(), 0);
  application_.reset();
  int calls = 0;
  onMain([&] { ++calls; });
  MainQueue::drain();
  EXPECT_EQ(calls, 1);
}

TEST_F(QtMainLoop, AdapterMayBeDestroyedInsideWorkOfTheQueue) {
  std::optional<Qt6::MainLoopAdapter> adapter(std::in_place);
  QEventLoop loop;
  bool theNextWasCalled = false;
  onMain([&] { adapter.reset(); });
  onMain([&] {
    theNextWasCalled = true;
    loop.quit();
  });
  loop.exec();
  EXPECT_TRUE(theNextWasCalled);
  bool isCalledWithoutAdapter = false;
  onMain([&] { isCalledWithoutAdapter = true; });
  QCoreApplication::processEvents();
  EXPECT_FALSE(isCalledWithoutAdapter);
  EXPECT_EQ(MainQueue::drain(), 1U);
}

TEST_F(QtMainLoop, AdapterMayBeDestroyedInsideANestedLoop) {
  std::optional<Qt6::MainLoopAdapter> adapter(std::in_place);
  QEventLoop outer;
  std::vector<int> order;
  onMain([&] {
    QEventLoop inner;
    onMain([&] {
      order.push_back(1);
      adapter.reset();
      adapter.emplace();
      onMain([&] {
        order.push_back(2);
        inner.quit();
      });
    });
    inner.exec();
    order.push_back(3);
    outer.quit();
  });
  outer.exec();
  EXPECT_EQ(order, (std::vector{1, 2, 3}));
}

TEST_F(QtMainLoop, EndlessWorkDoesNotBlockTimers) {
  Qt6::MainLoopAdapter adapter;
  QEventLoop loop;
  Task<> endless([]() -> Async<void> {
    while (!Task<>::isCurrentCancelled()) co_await Task<>::yield();
  });
  int turns = 0;
  QTimer timer;
  QObject::connect(&timer, &QTimer::timeout, [&] {
    if (++turns < 100) return;
    timer.stop();
    endless.cancel();
    onMain([&] { loop.quit(); });
  });
  timer.start(0);
  loop.exec();
  EXPECT_EQ(turns, 100);
}

TEST_F(QtMainLoop, LosesNothingFromManyThreads) {
  Qt6::MainLoopAdapter adapter;
  QEventLoop loop;
  constexpr int threadCount = 4;
  const int perThread = Tests::repetitions(2000);
  int calls = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < threadCount; ++i) {
    threads.emplace_back([&] {
      for (int j = 0; j < perThread; ++j) {
        onMain([&] {
          if (++calls == threadCount * perThread) loop.quit();
        });
      }
    });
  }
  loop.exec();
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(calls, threadCount * perThread);
}

TEST(QtMainLoopDeathTest, StopsTheProcessWhenMadeBeforeTheApplicationObject) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(
      Qt6::MainLoopAdapter adapter,
      "Tessaly/MainLoopAdapter:[0-9]+: Fatal error: The adapter for Qt was made before the application object");
}

TEST(QtMainLoopDeathTest, StopsTheProcessWhenMadeOnAnotherThread) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(
      {
        Application application;
        std::thread([] { Qt6::MainLoopAdapter adapter; }).join();
      },
      "Tessaly/MainLoopAdapter:[0-9]+: Fatal error: Incorrect actor executor assumption");
}

}  // namespace
}  // namespace Tessaly
