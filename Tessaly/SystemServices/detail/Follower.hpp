// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <utility>
#include <variant>

#include "Tessaly/Core/Base/FatalError.hpp"
#include "Tessaly/Core/Tasks/AsyncStream.hpp"
#include "Tessaly/Core/Tasks/Clock.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"

namespace Tessaly::inline v1::detail {

/// The interval for polling a source that gets no events from the system.
inline constexpr auto pollingInterval = std::chrono::seconds(1);

/// Starts a task that makes a continuation yield after a delay, unless that task is cancelled.
template <typename Continuation, typename Element>
Task<> yieldAfter(std::chrono::nanoseconds duration, Clock& clock, const Continuation& continuation, Element element) {
  return Task<>::detached([=, clock = &clock]() -> Async<void> {
    co_await Task<>::sleep(duration, *clock);
    continuation.yield(element);
  });
}

/// A source of changes, and the wait for its next change.
///
/// Thread contract: thread-safe; a second waiting task stops the process.
template <typename Source>
class Follower {
 public:
  /// The argument is a function that wakes the waiting task.
  using Make = std::function<std::unique_ptr<Source>(std::function<void()>)>;

  Follower(Clock& clock, Make make)
      : Follower(clock, std::move(make), AsyncStream<std::monostate>::makeStream(newest)) {}

 protected:
  /// Marks, while it exists, that one task waits. The constructor stops the process if another task already waits.
  class SoleConsumer {
   public:
    SoleConsumer(Follower& follower, const char* file, unsigned line) noexcept : isWaiting_(follower.isWaiting_) {
      if (isWaiting_.exchange(true, std::memory_order_acquire)) {
        fatalError("Two tasks wait for the changes of one file or directory", file, line);
      }
    }
    ~SoleConsumer() { isWaiting_.store(false, std::memory_order_release); }
    SoleConsumer(const SoleConsumer&) = delete;
    SoleConsumer& operator=(const SoleConsumer&) = delete;

   private:
    std::atomic<bool>& isWaiting_;
  };

  /// The source. The first call makes the source, and throws the error of that.
  [[nodiscard]] Source& source() {
    if (source_ == nullptr) source_ = make_([continuation = continuation_] { continuation.yield({}); });
    return *source_;
  }
  [[nodiscard]] std::unique_ptr<Source> takeSource() { return std::move(source_); }
  [[nodiscard]] Clock& clock() const noexcept { return clock_; }

  /// Waits until there may be a change. Returns false if the task was cancelled.
  static Async<bool> wake(Follower& self) {
    std::optional<Task<>> timer;
    if (self.source_->needsPolling()) {
      timer = yieldAfter(pollingInterval, self.clock_, self.continuation_, std::monostate());
    }
    const std::optional<std::monostate> woken = co_await self.wakes_.next();
    if (timer) timer->cancel();
    co_return woken.has_value();
  }

 private:
  using Wakes = AsyncStream<std::monostate>;
  static constexpr auto newest = BufferingPolicy::newest(1);

  template <typename Pair>
  Follower(Clock& clock, Make make, const Pair& pair)
      : clock_(clock),
        make_(std::move(make)),
        wakes_(pair.stream.makeAsyncIterator()),
        continuation_(pair.continuation) {}

  Clock& clock_;
  Make make_;
  std::atomic<bool> isWaiting_{false};
  typename Wakes::AsyncIterator wakes_;
  typename Wakes::Continuation continuation_;
  std::unique_ptr<Source> source_;
};

}  // namespace Tessaly::inline v1::detail
