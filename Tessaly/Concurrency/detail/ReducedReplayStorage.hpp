// SPDX-License-Identifier: MIT
#pragma once

#include <concepts>
#include <exception>
#include <functional>
#include <memory>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "Tessaly/Core/Base/CallNotification.hpp"
#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Base/Never.hpp"
#include "Tessaly/Core/Tasks/BasicAsyncStream.hpp"
#include "Tessaly/Core/Tasks/CheckedContinuation.hpp"
#include "Tessaly/Core/Tasks/Isolation.hpp"
#include "Tessaly/Core/Tasks/WithIsolation.hpp"

namespace Tessaly::inline v1::detail {

/// Writes a log record about an error that has ended streams early. `subscribers` names the subscribers of these
/// streams. Called for streams whose `Failure` is `Never`: they cannot pass the error to their subscribers.
TESSALY_EXPORT void logEarlyEnd(std::string_view subscribers, const std::exception_ptr& error) noexcept;

/// The state that the copies of a reduced-replay stream and their tasks share. All members except `isolation` and the
/// static functions must be used only in that isolation.
///
/// Copying an element for a subscriber may throw. Then that subscriber's stream ends, and the others continue.
///
/// Thread contract: thread-compatible.
template <typename Element, typename Failure>
struct ReducedReplayStorage {
  using Continuation = BasicAsyncStream<Element, Failure>::Continuation;
  using Reduce = std::function<void(Element&, const Element&)>;

  ReducedReplayStorage(Element initialResult, Reduce reduce)
      : reduce(std::move(reduce)), stored(std::move(initialResult)) {}
  ReducedReplayStorage(const ReducedReplayStorage&) = delete;
  ReducedReplayStorage& operator=(const ReducedReplayStorage&) = delete;

  /// Adds a subscriber. Calls `startConsuming` for the first subscriber; nothing is consumed before that call. A later
  /// subscriber gets the running value (`stored`) as its first element. The caller must call this function in the
  /// isolation, where it runs as one step. So no element is lost between the running value and the later elements, or
  /// between `startConsuming` and the addition of the first subscriber.
  template <typename StartConsuming>
  void subscribe(const Continuation& continuation, StartConsuming startConsuming) {
    if (didStart) {
      continuation.yield(stored);
    } else {
      startConsuming();
      didStart = true;
    }
    continuations.push_back(continuation);
  }

  void consume(const Element& element) {
    callNotification("A reduce function", reduce, stored, element);
    yieldToAll(continuations, element);
  }

  static void yieldToAll(const std::vector<Continuation>& subscribers, const Element& element) {
    for (const Continuation& continuation : subscribers) {
      try {
        continuation.yield(element);
      } catch (...) {
        end(continuation, std::current_exception());
      }
    }
  }

  /// Ends every subscriber's stream, with the error if there is one. Streams that cannot fail end normally, and the log
  /// gets a record of the error.
  void endAll(const std::exception_ptr& error) {
    if constexpr (std::same_as<Failure, Never>) {
      if (error) logEarlyEnd("All subscribers", error);
      for (const Continuation& continuation : continuations) continuation.finish();
    } else {
      for (const Continuation& continuation : continuations) continuation.finish(error);
    }
  }

  /// Ends one subscriber's stream with an error. A stream that cannot fail ends normally, and the log gets a record.
  static void end(const Continuation& continuation, const std::exception_ptr& error) {
    if constexpr (std::same_as<Failure, Never>) {
      logEarlyEnd("A subscriber", error);
      continuation.finish();
    } else {
      continuation.finish(error);
    }
  }

  /// Adds a subscriber from a task. If adding throws, ends the subscriber's stream.
  template <typename StartConsuming>
  static Async<void> join(std::shared_ptr<ReducedReplayStorage> storage, Continuation continuation,
                          StartConsuming startConsuming) {
    try {
      co_await withIsolation(storage->isolation, [&] { storage->subscribe(continuation, startConsuming); });
    } catch (...) {
      end(continuation, std::current_exception());
    }
  }

  const Isolation isolation = Isolation::serial();
  Reduce reduce;
  bool didStart = false;
  Element stored;
  /// The subscribers in the order in which they joined. No subscriber is removed.
  std::vector<Continuation> continuations;
};

/// A function that combines an element with the running value, which is the function's first argument. The function
/// must return nothing, because a returned value would be ignored.
template <typename Reduce, typename Element>
concept Reducer = std::copy_constructible<Reduce> && std::invocable<Reduce&, Element&, const Element&> &&
                  std::is_void_v<std::invoke_result_t<Reduce&, Element&, const Element&>>;

}  // namespace Tessaly::inline v1::detail
