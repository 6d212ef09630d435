// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <functional>
#include <thread>

namespace Tessaly::Benchmarks {

/// Runs one function on this thread and on a second one at the same time.
///
/// The second thread spins between its turns, so that starting it costs a cache miss and not a wake-up. It lives only
/// as long as this object, which a side makes in its set-up.
class TwoThreads {
 public:
  TwoThreads() : second_([this] { serve(); }) {}
  TwoThreads(const TwoThreads&) = delete;
  TwoThreads& operator=(const TwoThreads&) = delete;
  ~TwoThreads() {
    body_ = nullptr;
    turn_.fetch_add(1, std::memory_order_release);
  }

  /// Returns when both have returned.
  void run(std::function<void()> body) {
    body_ = std::move(body);
    const int turn = turn_.fetch_add(1, std::memory_order_release) + 1;
    body_();
    while (finishedTurn_.load(std::memory_order_acquire) != turn) std::this_thread::yield();
  }

 private:
  void serve() {
    for (int turn = 1;; ++turn) {
      while (turn_.load(std::memory_order_acquire) != turn) std::this_thread::yield();
      if (!body_) return;
      body_();
      finishedTurn_.store(turn, std::memory_order_release);
    }
  }

  std::function<void()> body_;
  std::atomic<int> turn_{0};
  std::atomic<int> finishedTurn_{0};
  std::jthread second_;
};

}  // namespace Tessaly::Benchmarks
