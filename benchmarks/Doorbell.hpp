// SPDX-License-Identifier: MIT
#pragma once

#include <sys/eventfd.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <stdexcept>

namespace Tessaly::Benchmarks {

/// A descriptor that one thread makes readable, and the answer that it then waits for.
class Doorbell {
 public:
  Doorbell() : descriptor_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (descriptor_ < 0) throw std::runtime_error("No event descriptor could be made");
  }
  Doorbell(const Doorbell&) = delete;
  Doorbell& operator=(const Doorbell&) = delete;
  ~Doorbell() { ::close(descriptor_); }

  [[nodiscard]] int descriptor() const { return descriptor_; }
  /// Rings, and waits for the answer.
  void ring() {
    const int before = answers_.load(std::memory_order_acquire);
    ::eventfd_write(descriptor_, 1);
    answers_.wait(before);
  }
  /// Empties the descriptor.
  void take() const {
    eventfd_t count = 0;
    ::eventfd_read(descriptor_, &count);
  }
  void answer() {
    answers_.fetch_add(1, std::memory_order_release);
    answers_.notify_one();
  }

 private:
  const int descriptor_;
  std::atomic<int> answers_{0};
};

}  // namespace Tessaly::Benchmarks
