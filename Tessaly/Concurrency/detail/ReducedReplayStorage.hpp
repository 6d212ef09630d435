// SPDX-License-Identifier: MIT
#pragma once

#include <concepts>
#include <exception>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

#include "Tessaly/Core/Base/Never.hpp"
#include "Tessaly/Core/Tasks/BasicAsyncStream.hpp"
#include "Tessaly/Core/Tasks/CheckedContinuation.hpp"
#include "Tessaly/Core/Tasks/Isolation.hpp"
#include "Tessaly/Core/Tasks/WithIsolation.hpp"
#include "Tessaly/Core/Tasks/detail/Notification.hpp"

namespace Tessaly::inline v1::detail {

/// What the copies of a reduced-replay stream and their tasks share. Everything but the isolation is only touched in
/// it.
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

  /// Adds a subscriber: the first one, before whom nothing is consumed, by having `startConsuming` called; a later one
  /// with the value so far as its first element. One step, so that no element falls between that value and what comes
  /// after it, nor between the start and the first subscriber.
  template <typename StartConsuming>
  void subscribe(const Continuation& continuation, StartConsuming startConsuming) {
    if (!std::exchange(didStart, true)) {
      startConsuming();
    } else {
      continuation.yield(stored);
    }
    continuations.push_back(continuation);
  }

  void consume(const Element& element) {
    callNotification("A reduce function", reduce, stored, element);
    for (const Continuation& continuation : continuations) continuation.yield(element);
  }

  const Isolation isolation = Isolation::serial();
  Reduce reduce;
  bool didStart = false;
  Element stored;
  /// In the order in which they joined. Nobody is ever removed.
  std::vector<Continuation> continuations;
};

/// Whether something can fold elements into a running value.
template <typename Reduce, typename Element>
concept Reducer = std::invocable<Reduce&, Element&, const Element&>;

}  // namespace Tessaly::inline v1::detail
