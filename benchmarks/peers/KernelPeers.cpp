// SPDX-License-Identifier: MIT
#include "KernelPeers.hpp"

#include <sys/epoll.h>
#include <unistd.h>

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

}  // namespace

Batch waitInEpoll(int count) {
  return [count, waiter = std::make_shared<Waiter>()] {
    for (int i = 0; i < count; ++i) waiter->bell.ring();
  };
}

}  // namespace Tessaly::Benchmarks::KernelPeers
