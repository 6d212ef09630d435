// SPDX-License-Identifier: MIT
// Component: Tessaly::Concurrency
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <type_traits>
#include <utility>

#include "Tessaly/Concurrency/detail/ObservationsStorage.hpp"
#include "Tessaly/Core/Base/IsAsync.hpp"
#include "Tessaly/Core/Base/Never.hpp"
#include "Tessaly/Core/Tasks/AsyncSequence.hpp"
#include "Tessaly/Core/Tasks/Cancellation.hpp"

namespace Tessaly::inline v1 {

/// The results of a computation over observable properties, as an asynchronous sequence.
///
/// The first element is the present result. Each later element follows a change of a property that the previous
/// computation read. `next()` computes the element. Several changes between two calls of `next()` give one element with
/// the latest values. The sequence never ends. `next()` throws only if the computation throws. In a cancelled task,
/// `next()` computes an element at once, even without a change.
///
/// The computation runs in the consuming task, so it reads the properties in that task's isolation. Every iterator
/// tracks the properties separately. For a callback instead of a sequence, use `withContinuousObservation`. To get
/// every value of one property, use `observe`.
///
/// Thread contract: thread-safe; an iterator is thread-compatible.
///
///     Observations<std::string> titles([player] { return player->song->title.value(); });
///     auto iterator = titles.makeAsyncIterator();
///     while (!Task<>::isCurrentCancelled()) show(*co_await iterator.next());
template <typename ElementType>
class Observations {
 public:
  using Element = ElementType;
  using Failure = Never;

  /// Keeps the function, which must not be a coroutine. The properties that the function reads before it returns are
  /// observed.
  template <typename Apply>
    requires std::is_invocable_r_v<Element, Apply&>
  explicit Observations(Apply apply) : apply_(std::move(apply)) {
    static_assert(!isAsync<std::remove_cvref_t<std::invoke_result_t<Apply&>>>,
                  "the function must not suspend: its reads are tracked until it returns");
  }

  /// A consumer's place in the sequence.
  ///
  /// Thread contract: thread-compatible.
  ///
  ///     auto iterator = titles.makeAsyncIterator();
  ///     std::optional<std::string> title = co_await iterator.next();
  class AsyncIterator {
   public:
    /// The next element. The result is never absent. The first element comes at once, and each later element after a
    /// change or a cancellation.
    [[nodiscard]] Async<std::optional<Element>> next() {
      const std::shared_ptr<detail::ObservationsStorage> storage = storage_;
      const std::optional<Task<>> task = storage->waitingTask();
      if (task.has_value()) {
        co_await withTaskCancellationHandler([&task] { return task->finished(); }, [&task] { task->cancel(); });
      }
      detail::AccessList accesses;
      Element element = apply_();
      accesses.end();
      storage->follow(accesses);
      co_return std::optional<Element>(std::move(element));
    }
    /// Like `next()`, but computes the element in the given isolation.
    [[nodiscard]] Async<std::optional<Element>> next(Isolation isolation) {
      return detail::nextIn<Element>(this, std::move(isolation));
    }

   private:
    friend Observations;
    explicit AsyncIterator(const std::function<Element()>& apply) : apply_(apply) {}

    std::function<Element()> apply_;
    std::shared_ptr<detail::ObservationsStorage> storage_ = detail::ObservationsStorage::make();
  };

  /// A new iterator, which tracks the properties separately from every other iterator.
  [[nodiscard]] AsyncIterator makeAsyncIterator() const { return AsyncIterator(apply_); }

 private:
  std::function<Element()> apply_;
};

template <typename Apply>
Observations(Apply) -> Observations<std::invoke_result_t<Apply&>>;

}  // namespace Tessaly::inline v1
