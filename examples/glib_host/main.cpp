// SPDX-License-Identifier: MIT

// A GLib application without a window. Its main loop serves the library's main queue through one adapter. Its work runs
// on the pool, and code that would touch a window runs on the main thread. It ends with 0 if all results were correct.

#include <cstdio>

#include "Tessaly/Adapters/GLib/MainLoop.hpp"
#include "Tessaly/Core/Tasks/AsyncStream.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"

namespace {

using namespace Tessaly;

/// A stand-in for the application's window. Use it on the main thread only.
class Window {
 public:
  explicit Window(GMainLoop* loop) : loop_(loop) {}

  void show(const char* what, int number) {
    expect(MainQueue::isMainThread(), "the window is touched on the main thread");
    std::printf("%s: %d\n", what, number);
  }
  void expect(bool isTrue, const char* what) {
    if (isTrue) return;
    std::printf("Not so: %s\n", what);
    isRight_ = false;
  }
  void close() {
    isClosed_ = true;
    g_main_loop_quit(loop_);
  }
  [[nodiscard]] bool isFine() const { return isClosed_ && isRight_; }

 private:
  GMainLoop* loop_;
  bool isClosed_ = false;
  bool isRight_ = true;
};

int countPrimes(int first, int last) {
  int count = 0;
  for (int number = first; number < last; ++number) {
    bool isPrime = number > 1;
    for (int divisor = 2; isPrime && divisor * divisor <= number; ++divisor) isPrime = number % divisor != 0;
    count += isPrime ? 1 : 0;
  }
  return count;
}

/// A search on the pool that reports its progress to the window.
Async<void> search(Window* window) {
  auto [progress, continuation] = AsyncStream<int>::makeStream();
  Task<bool> work({.isolation = Isolation()}, [continuation] {
    for (int thousands = 0; thousands < 100; thousands += 20) {
      continuation.yield(countPrimes(thousands * 1000, (thousands + 20) * 1000));
    }
    continuation.finish();
    return !MainQueue::isMainThread();
  });
  int primes = 0;
  auto iterator = progress.makeAsyncIterator();
  while (auto found = co_await iterator.next()) {
    primes += *found;
    window->show("primes so far", primes);
  }
  window->expect(co_await work.value(), "the search leaves the main thread alone");
  window->expect(primes == 9592, "there are 9592 primes below 100000");
}

/// A dialog whose answer comes from the pool. The nested loop serves the main queue, too.
int ask(Window* window) {
  GMainLoop* dialog = g_main_loop_new(nullptr, FALSE);
  int answer = 0;
  Task<> asking([window, dialog, &answer]() -> Async<void> {
    answer = co_await Task<int>({.isolation = Isolation()}, [] { return countPrimes(0, 1000); }).value();
    window->show("primes in the dialog", answer);
    g_main_loop_quit(dialog);
  });
  g_main_loop_run(dialog);
  g_main_loop_unref(dialog);
  return answer;
}

}  // namespace

int main() {
  GMainLoop* loop = g_main_loop_new(nullptr, FALSE);
  Window window(loop);
  {
    GLib::MainLoopAdapter adapter;
    Task<> application([&window]() -> Async<void> {
      co_await search(&window);
      window.expect(ask(&window) == 168, "there are 168 primes below 1000");
      window.close();
    });
    g_timeout_add_seconds(
        30,
        [](gpointer stuck) -> gboolean { return g_main_loop_quit(static_cast<GMainLoop*>(stuck)), G_SOURCE_REMOVE; },
        loop);
    g_main_loop_run(loop);
  }
  g_main_loop_unref(loop);
  return window.isFine() ? 0 : 1;
}
