// SPDX-License-Identifier: MIT
// Component: Tessaly::Concurrency
#pragma once

#include <concepts>
#include <memory>
#include <utility>

#include "Tessaly/Core/Observation/NSKeyValueObservation.hpp"
#include "Tessaly/Core/Tasks/AsyncStream.hpp"

namespace Tessaly::inline v1 {

/// The values that an object's property takes, as a stream with an unbounded buffer.
///
/// A change adds an element only if the change's record contains the new value, so the options must contain `new_`. If
/// they also contain `initial`, the first element is the value at the start. The observation begins before this
/// function returns. The observation and the stream end when a consuming task is cancelled, or when the stream and its
/// iterators are destroyed. The stream does not keep the object alive, and does not end when the object is destroyed.
///
/// Thread contract: thread-safe. The values are yielded on the thread that changes the property.
///
///     auto volumes = AsyncStream<int>::observing(keyPath<&Player::volume>, player, NSKeyValueObservingOptions::new_);
///     auto iterator = volumes.makeAsyncIterator();
///     while (auto volume = co_await iterator.next()) show(*volume);
template <typename Element, typename Failure>
template <typename Root, typename Object>
  requires std::same_as<Failure, Never>
BasicAsyncStream<Element, Failure> BasicAsyncStream<Element, Failure>::observing(const KeyPath<Root, Element>& keyPath,
                                                                                 const std::shared_ptr<Object>& object,
                                                                                 NSKeyValueObservingOptions options) {
  return BasicAsyncStream([&](Continuation continuation) {
    const auto onChange = [continuation](const NSKeyValueObservedChange<Element>& change) {
      if (change.newValue) continuation.yield(*change.newValue);
    };
    const auto observation = std::make_shared<NSKeyValueObservation>(observe(object, keyPath, options, onChange));
    continuation.setOnTermination([observation](const StreamTermination&) { observation->invalidate(); });
  });
}

}  // namespace Tessaly::inline v1
