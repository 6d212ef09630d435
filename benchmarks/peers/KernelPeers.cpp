// SPDX-License-Identifier: MIT
#include "KernelPeers.hpp"

#include <linux/futex.h>
#include <sys/epoll.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <stop_token>
#include <thread>

#include "../Doorbell.hpp"

namespace Tessaly::Benchmarks::KernelPeers {
namespace {

class Waiter {
 public:
  Waiter() : epoll_(::epoll_create1(EPOLL_CLOEXEC)) {
    epoll_event event{.events = EPOLLIN, .data = {}};
    if (::epoll_ctl(epoll_, EPOLL_CTL_ADD, bell.descriptor(), &event) != 0) {
      throw std::runtime_error("The descriptor could not be watched");
    }
    thread_ = std::jthread([this](const std::stop_token& stop) { serve(stop); });
  }
  Waiter(const Waiter&) = delete;
  Waiter& operator=(const Waiter&) = delete;
  ~Waiter() {
    thread_.request_stop();
    bell.ring();
    thread_.join();
    ::close(epoll_);
  }

  Doorbell bell;

 private:
  void serve(const std::stop_token& stop) {
    while (!stop.stop_requested()) {
      epoll_event event;
      if (::epoll_wait(epoll_, &event, 1, -1) != 1) continue;
      bell.take();
      bell.answer();
    }
  }

  const int epoll_;
  std::jthread thread_;
};

/// A count in which one thread sleeps until another one has raised it.
class Turns {
 public:
  void wait(std::uint32_t after) {
    while (count_.load(std::memory_order_acquire) == after) call(FUTEX_WAIT_PRIVATE, after);
  }
  void raise() {
    count_.fetch_add(1, std::memory_order_release);
    call(FUTEX_WAKE_PRIVATE, 1);
  }

 private:
  void call(int operation, std::uint32_t value) {
    ::syscall(SYS_futex, &count_, operation, value, nullptr, nullptr, 0);
  }

  std::atomic<std::uint32_t> count_{0};
};

class Partner {
 public:
  Partner() : thread_([this](const std::stop_token& stop) { serve(stop); }) {}
  Partner(const Partner&) = delete;
  Partner& operator=(const Partner&) = delete;
  ~Partner() {
    thread_.request_stop();
    questions_.raise();
  }

  void visit() {
    questions_.raise();
    answers_.wait(visits_++);
  }

 private:
  void serve(const std::stop_token& stop) {
    for (std::uint32_t served = 0;; ++served) {
      questions_.wait(served);
      if (stop.stop_requested()) return;
      answers_.raise();
    }
  }

  Turns questions_;
  Turns answers_;
  std::uint32_t visits_ = 0;
  std::jthread thread_;
};

}  // namespace

Batch wakeEachOther(int count) {
  return [count, partner = std::make_shared<Partner>()] {
    for (int i = 0; i < count; ++i) partner->visit();
  };
}

Batch waitInEpoll(int count) {
  return [count, waiter = std::make_shared<Waiter>()] {
    for (int i = 0; i < count; ++i) waiter->bell.ring();
  };
}

}  // namespace Tessaly::Benchmarks::KernelPeers
