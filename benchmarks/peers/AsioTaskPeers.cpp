// SPDX-License-Identifier: MIT
#include <benchmark/benchmark.h>

#include <asio.hpp>
#include <asio/experimental/coro.hpp>
#include <asio/experimental/use_coro.hpp>
#include <chrono>
#include <cstdlib>
#include <exception>
#include <future>
#include <memory>
#include <vector>

#include "AsioPeers.hpp"

namespace Tessaly::Benchmarks::AsioPeers {
namespace {

[[gnu::noinline]] asio::awaitable<int> answer(int value) { co_return value; }

asio::awaitable<void> awaitAnswers(int count) {
  int total = 0;
  for (int i = 0; i < count; ++i) total += co_await answer(i);
  benchmark::DoNotOptimize(total);
}

using Coro = asio::experimental::coro<void, int>;

[[gnu::noinline]] Coro answerCoro(asio::any_io_executor, int value) { co_return value; }

asio::experimental::coro<void, void> awaitAnswerCoros(asio::any_io_executor executor, int count) {
  int total = 0;
  for (int i = 0; i < count; ++i) total += co_await answerCoro(executor, i);
  benchmark::DoNotOptimize(total);
}

asio::awaitable<void> hop(asio::thread_pool& pool, int count) {
  for (int i = 0; i < count; ++i) co_await asio::post(pool, asio::use_awaitable);
}

asio::awaitable<void> awaitSpawned(asio::thread_pool& pool, int count) {
  int total = 0;
  for (int i = 0; i < count; ++i) total += co_await asio::co_spawn(pool, answer(i), asio::use_awaitable);
  benchmark::DoNotOptimize(total);
}

asio::awaitable<void> increment(int& visits) {
  ++visits;
  co_return;
}

asio::awaitable<void> visit(asio::strand<asio::thread_pool::executor_type> strand, int count) {
  int visits = 0;
  for (int i = 0; i < count; ++i) co_await asio::co_spawn(strand, increment(visits), asio::use_awaitable);
  benchmark::DoNotOptimize(visits);
}

/// The hops of `mainRoundTrip`, in order.
struct RoundTrips {
  asio::io_context main;
  asio::thread_pool pool{1};
  int left = 0;

  void hop() {
    asio::post(pool, [this] {
      asio::post(main, [this] {
        if (--left > 0) hop();
      });
    });
  }
};

asio::awaitable<void> sleepForAnHour() {
  asio::steady_timer timer(co_await asio::this_coro::executor, std::chrono::hours(1));
  co_await timer.async_wait(asio::use_awaitable);
}

asio::awaitable<void> sleep(int count, int microseconds) {
  asio::steady_timer timer(co_await asio::this_coro::executor);
  for (int i = 0; i < count; ++i) {
    timer.expires_after(std::chrono::microseconds(microseconds));
    co_await timer.async_wait(asio::use_awaitable);
  }
}

}  // namespace

Batch awaitAwaitables(int count) {
  return [count, context = std::make_shared<asio::io_context>(1)] {
    asio::co_spawn(*context, awaitAnswers(count), asio::detached);
    context->run();
    context->restart();
  };
}

Batch awaitCoros(int count) {
  return [count, context = std::make_shared<asio::io_context>(1)] {
    auto coroutine = awaitAnswerCoros(context->get_executor(), count);
    coroutine.async_resume(asio::detached);
    context->run();
    context->restart();
  };
}

Batch postToPool(int count, int coroutines) {
  return [=, pool = std::make_shared<asio::thread_pool>(2)] {
    std::vector<std::future<void>> ends;
    for (int i = 0; i < coroutines; ++i) {
      ends.push_back(asio::co_spawn(*pool, hop(*pool, count / coroutines), asio::use_future));
    }
    for (auto& end : ends) end.get();
  };
}

Batch spawnAndWait(int count) {
  return [count, pool = std::make_shared<asio::thread_pool>(2)] {
    int total = 0;
    for (int i = 0; i < count; ++i) total += asio::co_spawn(*pool, answer(i), asio::use_future).get();
    benchmark::DoNotOptimize(total);
  };
}

Batch spawnAndAwait(int count) {
  return [count, pool = std::make_shared<asio::thread_pool>(2)] {
    asio::co_spawn(*pool, awaitSpawned(*pool, count), asio::use_future).get();
  };
}

Batch strandRoundTrip(int count) {
  return [count, pool = std::make_shared<asio::thread_pool>(2)] {
    asio::co_spawn(*pool, visit(asio::make_strand(*pool), count), asio::use_future).get();
  };
}

Batch mainRoundTrip(int count) {
  return [count, trips = std::make_shared<RoundTrips>()] {
    const auto work = asio::make_work_guard(trips->main);
    trips->main.restart();
    trips->left = count;
    trips->hop();
    while (trips->left > 0) trips->main.run_one();
  };
}

Batch cancellationSlot(int count) {
  return [count, signal = std::make_shared<asio::cancellation_signal>(), hits = std::make_shared<int>(0)] {
    for (int i = 0; i < count; ++i) {
      auto slot = signal->slot();
      slot.assign([hits = hits.get()](asio::cancellation_type) { ++*hits; });
      benchmark::ClobberMemory();
      slot.clear();
    }
  };
}

Batch sleeperCancelled(int count) {
  return [count, context = std::make_shared<asio::io_context>(1)] {
    int cancelled = 0;
    for (int i = 0; i < count; ++i) {
      asio::cancellation_signal signal;
      asio::co_spawn(*context, sleepForAnHour(),
                     asio::bind_cancellation_slot(
                         signal.slot(), [&cancelled](const std::exception_ptr& error) { cancelled += error ? 1 : 0; }));
      context->poll();
      signal.emit(asio::cancellation_type::terminal);
      context->poll();
      context->restart();
    }
    if (cancelled != count) std::abort();
  };
}

Batch timerExpired(int count, int microseconds) {
  return [=, context = std::make_shared<asio::io_context>(1)] {
    asio::co_spawn(*context, sleep(count, microseconds), asio::detached);
    context->run();
    context->restart();
  };
}

}  // namespace Tessaly::Benchmarks::AsioPeers
