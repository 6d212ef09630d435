// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <thread>
#include <vector>

#include "Tessaly/Adapters/GLib/MainLoop.hpp"
#include "Tessaly/Core/Tasks/OS_dispatch_queue.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"
#include "Tessaly/Core/Tasks/WithIsolation.hpp"
#include "tests/Support/Repetitions.hpp"

namespace Tessaly {
namespace {

/// A loop of its own context, or of the default one on request. It ends with its scope.
class Loop {
 public:
  explicit Loop(GMainContext* context = nullptr) : loop_(g_main_loop_new(context, FALSE)) {}
  Loop(const Loop&) = delete;
  Loop& operator=(const Loop&) = delete;
  ~Loop() { g_main_loop_unref(loop_); }

  void run() { g_main_loop_run(loop_); }
  void quit() { g_main_loop_quit(loop_); }

 private:
  GMainLoop* loop_;
};

struct UnrefContext {
  void operator()(GMainContext* context) const { g_main_context_unref(context); }
};
using Context = std::unique_ptr<GMainContext, UnrefContext>;

void onMain(OS_dispatch_queue::Function function) { OS_dispatch_queue::main().async(std::move(function)); }

/// Calls a function once from the context, between its other sources.
void callFrom(GMainContext* context, int priority, std::function<void()> function) {
  GSource* source = g_idle_source_new();
  g_source_set_priority(source, priority);
  g_source_set_callback(
      source,
      [](gpointer data) -> gboolean {
        (*static_cast<std::function<void()>*>(data))();
        return G_SOURCE_REMOVE;
      },
      new std::function<void()>(std::move(function)),
      [](gpointer data) { delete static_cast<std::function<void()>*>(data); });
  g_source_attach(source, context);
  g_source_unref(source);
}

TEST(GLibMainLoop, MainThreadTasksMayAwaitThePool) {
  Loop loop;
  GLib::MainLoopAdapter adapter;
  for (int i = 0; i < Tests::repetitions(200); ++i) {
    bool wasMain = false;
    bool poolWasMain = true;
    Task<> task([&]() -> Async<void> {
      poolWasMain = co_await withIsolation(Isolation(), [] { return MainQueue::isMainThread(); });
      wasMain = MainQueue::isMainThread();
      loop.quit();
    });
    loop.run();
    ASSERT_TRUE(wasMain);
    ASSERT_FALSE(poolWasMain);
  }
}

TEST(GLibMainLoop, HasNothingToDoWithoutWork) {
  GLib::MainLoopAdapter adapter;
  EXPECT_FALSE(g_main_context_pending(nullptr));
  onMain([] {});
  EXPECT_TRUE(g_main_context_pending(nullptr));
  g_main_context_iteration(nullptr, FALSE);
  EXPECT_FALSE(g_main_context_pending(nullptr));
}

TEST(GLibMainLoop, NestedLoopServesNewWork) {
  Loop outer;
  GLib::MainLoopAdapter adapter;
  std::vector<int> order;
  onMain([&] {
    Loop inner;
    order.push_back(1);
    onMain([&] {
      order.push_back(2);
      inner.quit();
    });
    inner.run();
    order.push_back(3);
    outer.quit();
  });
  outer.run();
  EXPECT_EQ(order, (std::vector{1, 2, 3}));
}

TEST(GLibMainLoop, NestedLoopServesWorkBehindItsOpener) {
  Loop outer;
  GLib::MainLoopAdapter adapter;
  Loop inner;
  std::vector<int> order;
  onMain([&] {
    order.push_back(1);
    inner.run();
    order.push_back(3);
    outer.quit();
  });
  onMain([&] {
    order.push_back(2);
    inner.quit();
  });
  outer.run();
  EXPECT_EQ(order, (std::vector{1, 2, 3}));
}

TEST(GLibMainLoop, NestedLoopInATaskServesTasksAwaitingThePool) {
  Loop outer;
  GLib::MainLoopAdapter adapter;
  for (int i = 0; i < Tests::repetitions(200); ++i) {
    int answer = 0;
    Task<> task([&]() -> Async<void> {
      co_await withIsolation(Isolation(), [] {});
      Loop inner;
      Task<> nested([&]() -> Async<void> {
        answer = co_await withIsolation(Isolation(), [] { return 42; });
        inner.quit();
      });
      inner.run();
      outer.quit();
    });
    outer.run();
    ASSERT_EQ(answer, 42);
  }
}

TEST(GLibMainLoop, LoopsNestDeeply) {
  Loop outer;
  GLib::MainLoopAdapter adapter;
  int depth = 0;
  std::function<void()> descend = [&] {
    if (++depth == 50) return;
    Loop inner;
    onMain([&] {
      descend();
      inner.quit();
    });
    inner.run();
  };
  onMain([&] {
    descend();
    outer.quit();
  });
  outer.run();
  EXPECT_EQ(depth, 50);
}

TEST(GLibMainLoop, TwoAdaptersInOneContextServeOneQueueInOrder) {
  Loop loop;
  GLib::MainLoopAdapter first;
  GLib::MainLoopAdapter second(nullptr, G_PRIORITY_LOW);
  std::vector<int> order;
  for (int i = 0; i < 100; ++i) onMain([&order, i] { order.push_back(i); });
  onMain([&] { loop.quit(); });
  loop.run();
  ASSERT_EQ(order.size(), 100U);
  for (int i = 0; i < 100; ++i) EXPECT_EQ(order[static_cast<std::size_t>(i)], i);
}

TEST(GLibMainLoop, AdaptersInTwoContextsServeTheQueueFromEither) {
  const Context own(g_main_context_new());
  GLib::MainLoopAdapter adapter;
  GLib::MainLoopAdapter ownAdapter(own.get());
  for (GMainContext* context : {own.get(), static_cast<GMainContext*>(nullptr), own.get()}) {
    Loop loop(context);
    bool wasCalled = false;
    onMain([&] {
      wasCalled = true;
      loop.quit();
    });
    loop.run();
    EXPECT_TRUE(wasCalled);
  }
}

TEST(GLibMainLoop, AdaptersMayBeDestroyedInAnyOrder) {
  for (const bool firstGoesFirst : {true, false}) {
    std::optional<GLib::MainLoopAdapter> first(std::in_place);
    std::optional<GLib::MainLoopAdapter> second(std::in_place);
    (firstGoesFirst ? first : second).reset();
    int calls = 0;
    onMain([&] { ++calls; });
    g_main_context_iteration(nullptr, FALSE);
    EXPECT_EQ(calls, 1);
    first.reset();
    second.reset();
    onMain([&] { ++calls; });
    g_main_context_iteration(nullptr, FALSE);
    EXPECT_EQ(calls, 1);
    MainQueue::drain();
    EXPECT_EQ(calls, 2);
  }
}

TEST(GLibMainLoop, AdapterMayOutliveItsLoopAndContext) {
  Context context(g_main_context_new());
  std::optional<Loop> loop(std::in_place, context.get());
  GLib::MainLoopAdapter adapter(context.get());
  onMain([&] { loop->quit(); });
  loop->run();
  loop.reset();
  context.reset();
  int calls = 0;
  onMain([&] { ++calls; });
  MainQueue::drain();
  EXPECT_EQ(calls, 1);
}

TEST(GLibMainLoop, AdapterMayBeDestroyedInsideWorkOfTheQueue) {
  Loop loop;
  std::optional<GLib::MainLoopAdapter> adapter(std::in_place);
  bool theNextWasCalled = false;
  onMain([&] { adapter.reset(); });
  onMain([&] {
    theNextWasCalled = true;
    loop.quit();
  });
  loop.run();
  EXPECT_TRUE(theNextWasCalled);
  onMain([] {});
  EXPECT_FALSE(g_main_context_pending(nullptr));
  EXPECT_EQ(MainQueue::drain(), 1U);
}

TEST(GLibMainLoop, AdapterMayBeDestroyedInsideANestedLoop) {
  Loop outer;
  std::optional<GLib::MainLoopAdapter> adapter(std::in_place);
  std::vector<int> order;
  onMain([&] {
    Loop inner;
    onMain([&] {
      order.push_back(1);
      adapter.reset();
      adapter.emplace();
      onMain([&] {
        order.push_back(2);
        inner.quit();
      });
    });
    inner.run();
    order.push_back(3);
    outer.quit();
  });
  outer.run();
  EXPECT_EQ(order, (std::vector{1, 2, 3}));
}

TEST(GLibMainLoop, SourcesOfHigherPriorityRunBeforeWork) {
  Loop loop;
  GLib::MainLoopAdapter adapter(nullptr, G_PRIORITY_DEFAULT_IDLE);
  std::vector<int> order;
  onMain([&] {
    order.push_back(2);
    loop.quit();
  });
  callFrom(nullptr, G_PRIORITY_DEFAULT, [&] {
    order.push_back(1);
    callFrom(nullptr, G_PRIORITY_DEFAULT, [&] { order.push_back(1); });
  });
  loop.run();
  EXPECT_EQ(order, (std::vector{1, 1, 2}));
}

TEST(GLibMainLoop, EndlessWorkDoesNotBlockOtherSources) {
  Loop loop;
  GLib::MainLoopAdapter adapter;
  int turns = 0;
  Task<> endless([]() -> Async<void> {
    while (!Task<>::isCurrentCancelled()) co_await Task<>::yield();
  });
  std::function<void()> turn = [&] {
    if (++turns < 100) return callFrom(nullptr, G_PRIORITY_DEFAULT, turn);
    endless.cancel();
    onMain([&] { loop.quit(); });
  };
  callFrom(nullptr, G_PRIORITY_DEFAULT, turn);
  loop.run();
  EXPECT_EQ(turns, 100);
}

TEST(GLibMainLoop, LosesNothingFromManyThreads) {
  Loop loop;
  GLib::MainLoopAdapter adapter;
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
  loop.run();
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(calls, threadCount * perThread);
}

TEST(GLibMainLoopDeathTest, StopsTheProcessWhenMadeOnAnotherThread) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(std::thread([] { GLib::MainLoopAdapter adapter; }).join(),
               "Tessaly/MainLoopAdapter:[0-9]+: Fatal error: Incorrect actor executor assumption");
}

TEST(GLibMainLoopDeathTest, StopsTheProcessWhenAnotherThreadRunsItsContext) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(
      {
        GLib::MainLoopAdapter adapter;
        onMain([] {});
        std::thread([] { g_main_context_iteration(nullptr, TRUE); }).join();
      },
      "Fatal error: Incorrect actor executor assumption");
}

}  // namespace
}  // namespace Tessaly
