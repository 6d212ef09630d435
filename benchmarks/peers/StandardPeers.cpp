// SPDX-License-Identifier: MIT
#include "StandardPeers.hpp"

#include <benchmark/benchmark.h>

#include <coroutine>
#include <cstdint>
#include <deque>
#include <exception>
#include <future>
#include <memory>
#include <mutex>
#include <stop_token>
#include <utility>
#include <variant>
#include <vector>

namespace Tessaly::Benchmarks::StandardPeers {
namespace {

class BareCoroutine {
 public:
  struct promise_type {
    BareCoroutine get_return_object() {
      return BareCoroutine(std::coroutine_handle<promise_type>::from_promise(*this));
    }
    static std::suspend_always initial_suspend() noexcept { return {}; }
    auto final_suspend() noexcept {
      struct Transfer {
        static bool await_ready() noexcept { return false; }
        static std::coroutine_handle<> await_suspend(std::coroutine_handle<promise_type> done) noexcept {
          return done.promise().awaiter;
        }
        static void await_resume() noexcept {}
      };
      return Transfer();
    }
    void return_value(int value) { result = value; }
    void unhandled_exception() { result = std::current_exception(); }

    std::coroutine_handle<> awaiter = std::noop_coroutine();
    std::variant<std::monostate, int, std::exception_ptr> result;
  };

  BareCoroutine(BareCoroutine&& other) noexcept : coroutine_(std::exchange(other.coroutine_, nullptr)) {}
  BareCoroutine& operator=(BareCoroutine&&) = delete;
  ~BareCoroutine() {
    if (coroutine_) coroutine_.destroy();
  }

  static bool await_ready() noexcept { return false; }
  std::coroutine_handle<> await_suspend(std::coroutine_handle<> awaiter) noexcept {
    coroutine_.promise().awaiter = awaiter;
    return coroutine_;
  }
  int await_resume() {
    auto& result = coroutine_.promise().result;
    if (const auto* error = std::get_if<std::exception_ptr>(&result)) std::rethrow_exception(*error);
    return std::get<int>(result);
  }

  void run() { coroutine_.resume(); }

 private:
  explicit BareCoroutine(std::coroutine_handle<promise_type> coroutine) : coroutine_(coroutine) {}

  std::coroutine_handle<promise_type> coroutine_;
};

// Not inlined. Otherwise the compiler would remove the frames of both coroutines.
[[gnu::noinline]] BareCoroutine answer(int value) { co_return value; }

BareCoroutine awaitAnswers(int count) {
  int total = 0;
  for (int i = 0; i < count; ++i) total += co_await answer(i);
  co_return total;
}

struct Listener {
  std::mutex mutex;
  std::deque<std::int64_t> queue;
};

}  // namespace

Batch asyncAndGet(int count) {
  return [count] {
    int total = 0;
    for (int i = 0; i < count; ++i) total += std::async(std::launch::async, [i] { return i; }).get();
    benchmark::DoNotOptimize(total);
  };
}

Batch stopCallback(int count) {
  return [count, source = std::make_shared<std::stop_source>(), hits = std::make_shared<int>(0)] {
    for (int i = 0; i < count; ++i) {
      const std::stop_callback callback(source->get_token(), [hits = hits.get()] { ++*hits; });
      benchmark::ClobberMemory();
    }
  };
}

SendingBatch broadcast(int count, int listeners) {
  auto all = std::make_shared<std::vector<Listener>>(static_cast<std::size_t>(listeners));
  return {[=] {
            for (int i = 0; i < count; ++i) {
              for (auto& listener : *all) {
                const std::lock_guard guard(listener.mutex);
                listener.queue.push_back(i);
              }
            }
          },
          [=] {
            std::int64_t total = 0;
            for (auto& listener : *all) {
              for (const std::lock_guard guard(listener.mutex); !listener.queue.empty(); listener.queue.pop_front()) {
                total += listener.queue.front();
              }
            }
            benchmark::DoNotOptimize(total);
          }};
}

Batch awaitBareCoroutines(int count) {
  return [count] {
    auto outer = awaitAnswers(count);
    outer.run();
    benchmark::DoNotOptimize(outer);
  };
}

}  // namespace Tessaly::Benchmarks::StandardPeers
