// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <functional>
#include <thread>
#include <vector>

namespace Tessaly::Benchmarks {

/// Runs one function on this thread and on some others at the same time.
///
/// The other threads spin between their turns, so a start costs a cache miss and not a wake-up. They live as long as
/// this object, which a side makes in its set-up.
class ThreadTeam {
 public:
  /// The number of threads, this one included.
  explicit ThreadTeam(int count) : count_(count) {
    for (int index = 1; index < count; ++index) others_.emplace_back([this] { serve(); });
  }
  ThreadTeam(const ThreadTeam&) = delete;
  ThreadTeam& operator=(const ThreadTeam&) = delete;
  ~ThreadTeam() {
    body_ = nullptr;
    turn_.fetch_add(1, std::memory_order_release);
  }

  /// Returns after all threads have returned.
  void run(std::function<void()> body) {
    body_ = std::move(body);
    const int turn = turn_.fetch_add(1, std::memory_order_release) + 1;
    body_();
    while (finishedTurns_.load(std::memory_order_acquire) != turn * (count_ - 1)) std::this_thread::yield();
  }

 private:
  void serve() {
    for (int turn = 1;; ++turn) {
      while (turn_.load(std::memory_order_acquire) != turn) std::this_thread::yield();
      if (!body_) return;
      body_();
      finishedTurns_.fetch_add(1, std::memory_order_release);
    }
  }

  const int count_;
  std::function<void()> body_;
  std::atomic<int> turn_{0};
  std::atomic<int> finishedTurns_{0};
  std::vector<std::jthread> others_;
};

}  // namespace Tessaly::Benchmarks
