// SPDX-License-Identifier: MIT
// Component: Tessaly::Tasks
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <memory>
#include <optional>
#include <type_traits>
#include <utility>

#include "Tessaly/Core/Base/FatalError.hpp"
#include "Tessaly/Core/Locks/UnfairLock.hpp"
#include "Tessaly/Core/Tasks/AsyncSequence.hpp"
#include "Tessaly/Core/Tasks/Cancellation.hpp"
#include "Tessaly/Core/Tasks/CheckedContinuation.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"
#include "Tessaly/Core/Tasks/detail/AwaitedTasks.hpp"
#include "Tessaly/Core/Tasks/detail/CarriedElement.hpp"
#include "Tessaly/Core/Tasks/detail/GrowableRing.hpp"

namespace Tessaly::inline v1 {

namespace detail {

/// The state that the consumer and the two child tasks of a merge share. A child fetches an element on demand. The
/// demand comes when the consumer requests an element and has received the child's previous element.
///
/// Thread contract: thread-safe.
template <typename Element>
class MergeState {
 public:
  using Arrival = std::optional<CarriedElement<Element>>;
  using Answer = CheckedContinuation<Arrival>;
  using Demand = CheckedContinuation<bool>;

  /// Requests elements from the children for the consumer, and resumes `answer` with the next element, the error or the
  /// end.
  void ask(Answer answer) {
    std::array<std::optional<Demand>, 2> idle;
    Arrival element;
    std::exception_ptr error;
    bool isAnswered = true;
    {
      UnfairLock::Guard guard(lock_);
      if (!buffer_.isEmpty()) {
        auto [child, arrived] = buffer_.takeFront();
        children_[child].state = Child::State::idle;
        element.emplace(std::move(arrived));
      } else if (isOver_) {
        error.swap(error_);
      } else {
        answer_.emplace(answer);
        isAnswered = false;
      }
      for (std::size_t child = 0; child < 2; ++child) {
        Child& asked = children_[child];
        if (asked.state != Child::State::idle) continue;
        asked.state = asked.demand ? Child::State::fetching : Child::State::asked;
        idle[child].swap(asked.demand);
      }
    }
    for (const auto& demand : idle) {
      if (demand) demand->resume(true);
    }
    if (!isAnswered) return;
    if (error) {
      answer.resumeThrowing(std::move(error));
    } else {
      answer.resume(std::move(element));
    }
  }

  /// Resumes `demand` with true when the consumer requests the child's next element, and with false when the merge is
  /// over. A child calls this function before it fetches an element.
  void awaitDemand(std::size_t child, Demand demand) {
    bool isNeeded = false;
    {
      UnfairLock::Guard guard(lock_);
      isNeeded = !isOver_;
      if (isNeeded && children_[child].state != Child::State::asked) {
        children_[child].demand.emplace(std::move(demand));
        return;
      }
      children_[child].state = Child::State::fetching;
    }
    demand.resume(isNeeded);
  }

  void deliver(std::size_t child, Element&& element) {
    Arrival arrival(std::in_place, std::move(element));
    std::optional<Answer> answer;
    {
      UnfairLock::Guard guard(lock_);
      if (isOver_) return;
      if (!answer_) {
        buffer_.append({child, std::move(*arrival)});
        children_[child].state = Child::State::hasArrived;
        return;
      }
      children_[child].state = Child::State::idle;
      answer.swap(answer_);
    }
    answer->resume(std::move(arrival));
  }

  /// Records the end or the failure of a child's sequence. A failure cancels the other child.
  void end(std::exception_ptr error) {
    std::optional<Answer> answer;
    {
      UnfairLock::Guard guard(lock_);
      if (isOver_) return;
      ++ended_;
      isOver_ = error != nullptr || ended_ == 2;
      if (!isOver_) return;
      answer.swap(answer_);
      if (!answer) error_.swap(error);
    }
    cancelChildren();
    if (!answer) return;
    if (error) {
      answer->resumeThrowing(std::move(error));
    } else {
      answer->resume(std::nullopt);
    }
  }

  /// Ends the merge at once, because the consumer was cancelled or destroyed.
  void stop() {
    std::optional<Answer> answer;
    GrowableRing<Buffered> left;
    std::exception_ptr error;
    {
      UnfairLock::Guard guard(lock_);
      isOver_ = true;
      answer.swap(answer_);
      left.swap(buffer_);
      error.swap(error_);
    }
    cancelChildren();
    if (answer) answer->resume(std::nullopt);
  }

  /// Whether the merge is over and the consumer has received every element and the error.
  [[nodiscard]] bool hasEnded() {
    UnfairLock::Guard guard(lock_);
    return isOver_ && buffer_.isEmpty() && !error_;
  }

  /// Sets the child tasks. If the merge is over already, each child ends at its first wait for a demand.
  void setChildren(Task<> first, Task<> second) {
    UnfairLock::Guard guard(lock_);
    children_[0].task.emplace(std::move(first));
    children_[1].task.emplace(std::move(second));
  }

  /// The child tasks, which must have been set.
  [[nodiscard]] std::array<Task<>, 2> children() {
    UnfairLock::Guard guard(lock_);
    return {*children_[0].task, *children_[1].task};
  }

 private:
  struct Child {
    enum class State : std::uint8_t { idle, asked, fetching, hasArrived };

    State state = State::idle;
    std::optional<Task<>> task;
    /// The pending wait for a demand, if there is one.
    std::optional<Demand> demand;
  };
  struct Buffered {
    std::size_t child;
    CarriedElement<Element> element;
  };

  void cancelChildren() {
    std::array<std::optional<Task<>>, 2> tasks;
    std::array<std::optional<Demand>, 2> idle;
    {
      UnfairLock::Guard guard(lock_);
      for (std::size_t child = 0; child < 2; ++child) {
        tasks[child] = children_[child].task;
        idle[child].swap(children_[child].demand);
      }
    }
    for (const auto& task : tasks) {
      if (task) task->cancel();
    }
    for (const auto& demand : idle) {
      if (demand) demand->resume(false);
    }
  }

  UnfairLock lock_;
  std::array<Child, 2> children_ TESSALY_GUARDED_BY(lock_);
  /// The buffered elements, at most one from each child.
  GrowableRing<Buffered> buffer_ TESSALY_GUARDED_BY(lock_);
  std::exception_ptr error_ TESSALY_GUARDED_BY(lock_);
  std::optional<Answer> answer_ TESSALY_GUARDED_BY(lock_);
  int ended_ TESSALY_GUARDED_BY(lock_) = 0;
  bool isOver_ TESSALY_GUARDED_BY(lock_) = false;
};

/// The `Failure` type of a sequence that is made from two sequences and fails if either fails.
template <typename First, typename Second>
using EitherFailure = std::conditional_t<std::is_same_v<First, Never> || std::is_same_v<First, Second>, Second,
                                         std::conditional_t<std::is_same_v<Second, Never>, First, std::exception_ptr>>;

/// Marks, for a scope, that a task waits. Stops the process if another task waits already.
class SoleConsumer {
 public:
  explicit SoleConsumer(std::atomic<bool>& isWaiting) noexcept : isWaiting_(isWaiting) {
    if (isWaiting_.exchange(true, std::memory_order_acquire)) {
      fatalError("Two tasks wait for one merged sequence", "Tessaly/AsyncMergeSequence", __LINE__);
    }
  }
  ~SoleConsumer() { isWaiting_.store(false, std::memory_order_release); }
  SoleConsumer(const SoleConsumer&) = delete;
  SoleConsumer& operator=(const SoleConsumer&) = delete;

 private:
  std::atomic<bool>& isWaiting_;
};

}  // namespace detail

/// The elements of two sequences, in the order in which they arrive.
///
/// The first `next()` starts one child task for each base, without an isolation. A child fetches its next element when
/// the consumer requests an element and has received the child's previous element. The sequence ends when both bases
/// have ended.
///
/// At the first error the other base is cancelled. `next()` still gives the elements that have arrived, then the error,
/// then the end. Cancelling the consumer, or destroying the iterator, cancels both bases and drops the elements that
/// have arrived. After a cancellation, a pending `next()` gives the end. The iterator must not be destroyed while
/// `next()` is pending. Two tasks in `next()` at once stop the process.
///
/// Thread contract: thread-compatible.
///
///     auto iterator = merge(keystrokes, clicks).makeAsyncIterator();
///     while (auto event = co_await iterator.next()) handle(*event);
template <AsyncSequence First, AsyncSequence Second>
  requires std::is_same_v<typename First::Element, typename Second::Element>
class AsyncMergeSequence {
 public:
  using Element = First::Element;
  using Failure = detail::EitherFailure<typename First::Failure, typename Second::Failure>;

  class AsyncIterator {
   public:
    AsyncIterator(First first, Second second)
        : running_(std::make_unique<Running>(std::move(first), std::move(second))) {}

    Async<std::optional<Element>> next() { return nextOf(running_.get()); }
    Async<std::optional<Element>> next(Isolation isolation) {
      return detail::nextIn<Element>(this, std::move(isolation));
    }

   private:
    using State = detail::MergeState<Element>;

    struct Running {
      Running(First firstBase, Second secondBase) : bases(std::in_place, std::move(firstBase), std::move(secondBase)) {}
      ~Running() { state->stop(); }

      /// Present until the first `next()`.
      std::optional<std::pair<First, Second>> bases;
      std::shared_ptr<State> state = std::make_shared<State>();
      std::atomic<bool> isWaiting{false};
    };

    template <typename Base>
    static Async<void> fetch(std::shared_ptr<State> state, std::size_t child, Base base) {
      std::exception_ptr error;
      try {
        auto iterator = base.makeAsyncIterator();
        while (co_await withCheckedContinuation<bool>(
            [&](typename State::Demand demand) { state->awaitDemand(child, std::move(demand)); })) {
          auto element = co_await iterator.next();
          if (!element) break;
          state->deliver(child, std::move(*element));
        }
      } catch (...) {
        error = std::current_exception();
      }
      state->end(std::move(error));
    }

    template <typename Base>
    static Task<> start(std::shared_ptr<State> state, std::size_t child, Base base) {
      return Task<>({.isolation = Isolation()}, [state = std::move(state), child, base = std::move(base)]() mutable {
        return fetch(std::move(state), child, std::move(base));
      });
    }

    static Async<std::optional<Element>> nextOf(Running* running) {
      const detail::SoleConsumer consumer(running->isWaiting);
      const std::shared_ptr<State> state = running->state;
      if (Task<>::isCurrentCancelled()) {
        running->bases.reset();
        state->stop();
        co_return std::nullopt;
      }
      if (state->hasEnded()) co_return std::nullopt;  // After a cancelled first `next()` there are no children.
      if (running->bases) {
        auto [first, second] = *std::exchange(running->bases, std::nullopt);
        state->setChildren(start(state, 0, std::move(first)), start(state, 1, std::move(second)));
      }
      const detail::AwaitedTasks awaited(state->children());
      const detail::ScopedCancellationHandler handler([state] { state->stop(); });
      typename State::Arrival arrival = co_await withCheckedContinuation<typename State::Arrival>(
          [&](typename State::Answer answer) { state->ask(std::move(answer)); });
      if (!arrival) co_return std::nullopt;
      co_return std::optional<Element>(std::in_place, std::move(arrival->value()));
    }

    std::unique_ptr<Running> running_;
  };

  AsyncMergeSequence(First first, Second second) : first_(std::move(first)), second_(std::move(second)) {}

  [[nodiscard]] AsyncIterator makeAsyncIterator() const { return AsyncIterator(first_, second_); }

 private:
  First first_;
  Second second_;
};

/// Makes a sequence of the elements of two sequences, in the order in which the elements arrive. Both sequences must
/// have the same element type.
template <AsyncSequence First, AsyncSequence Second>
AsyncMergeSequence<First, Second> merge(First first, Second second) {
  return {std::move(first), std::move(second)};
}

}  // namespace Tessaly::inline v1
