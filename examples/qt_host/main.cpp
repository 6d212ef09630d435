// SPDX-License-Identifier: MIT

// A Qt application without a window. Its event loop serves the library's main queue through one adapter. Its work runs
// on the pool, and code that would touch a window runs on the main thread. It ends with 0 if all results were correct.

#include <QCoreApplication>
#include <QEventLoop>
#include <QTimer>
#include <cstdio>

#include "Tessaly/Adapters/Qt/MainLoop.hpp"
#include "Tessaly/Core/Tasks/AsyncStream.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"

namespace {

using namespace Tessaly;

/// A stand-in for the application's window. Use it on the main thread only.
class Window {
 public:
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
    QCoreApplication::quit();
  }
  [[nodiscard]] bool isFine() const { return isClosed_ && isRight_; }

 private:
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
  QEventLoop dialog;
  int answer = 0;
  Task<> asking([window, &dialog, &answer]() -> Async<void> {
    answer = co_await Task<int>({.isolation = Isolation()}, [] { return countPrimes(0, 1000); }).value();
    window->show("primes in the dialog", answer);
    dialog.quit();
  });
  dialog.exec();
  return answer;
}

}  // namespace

int main(int argumentCount, char** arguments) {
  QCoreApplication host(argumentCount, arguments);
  Qt6::MainLoopAdapter adapter;
  Window window;
  Task<> application([&window]() -> Async<void> {
    co_await search(&window);
    window.expect(ask(&window) == 168, "there are 168 primes below 1000");
    window.close();
  });
  QTimer::singleShot(std::chrono::seconds(30), &host, &QCoreApplication::quit);
  QCoreApplication::exec();
  return window.isFine() ? 0 : 1;
}
