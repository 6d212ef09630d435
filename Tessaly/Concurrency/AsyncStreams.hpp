// SPDX-License-Identifier: MIT
// Component: Tessaly::Concurrency
#pragma once

#include <concepts>
#include <memory>
#include <type_traits>

#include "Tessaly/Concurrency/detail/Listeners.hpp"
#include "Tessaly/Core/Foundation/UUID.hpp"
#include "Tessaly/Core/Tasks/AsyncStream.hpp"

namespace Tessaly::inline v1 {

/// A broadcaster, which delivers every sent value to every listener.
///
/// Each listener has a stream of its own with an unbounded buffer, so a slow listener delays no other listener. The
/// broadcaster keeps no values: a listener receives the values that are sent after it subscribed. See
/// `ReducedReplayAsyncStream` for listeners that also need a summary of earlier values. A listener leaves by destroying
/// its stream and the iterators of the stream, or by cancelling the task that consumes the stream.
///
/// A `std::shared_ptr` owns the broadcaster. Releasing the last reference ends every listener's stream, like
/// `finish()`. After `finish()` the broadcaster can be used again. The nearest facilities, Qt's signals and
/// `boost::signals2`, call a function for each value instead.
///
/// Thread contract: thread-safe. `send` and `finish` walk a snapshot of the listeners outside the lock.
///
///     auto temperatures = AsyncStreams<double>::make();
///     Task<> window([listener = temperatures->stream()]() -> Async<void> {
///       auto iterator = listener.makeAsyncIterator();
///       while (auto value = co_await iterator.next()) show(*value);
///     });
///     temperatures->send(21.5);
template <typename Element>
class AsyncStreams final : public std::enable_shared_from_this<AsyncStreams<Element>> {
 public:
  /// A broadcaster without listeners.
  [[nodiscard]] static std::shared_ptr<AsyncStreams> make() { return std::shared_ptr<AsyncStreams>(new AsyncStreams); }
  AsyncStreams(const AsyncStreams&) = delete;
  AsyncStreams& operator=(const AsyncStreams&) = delete;
  /// Ends every listener's stream.
  ~AsyncStreams() { finish(); }

  /// A new listener's stream. The listener is registered before this function returns.
  [[nodiscard]] AsyncStream<Element> stream() {
    auto [stream, continuation] = AsyncStream<Element>::makeStream();
    const Listener listener{UUID::random(), continuation};
    listeners_.insert(listener);
    continuation.setOnTermination([broadcaster = this->weak_from_this(), listener](const StreamTermination&) {
      if (const auto self = broadcaster.lock()) self->listeners_.remove(listener);
    });
    return stream;
  }

  /// Delivers the value to every listener. Takes about 4 ns for each listener, but about 8 ns for each if there are a
  /// thousand listeners. Allocates only in the listeners' buffers, except for a few machine words at a thread's first
  /// send. If copying the value for a listener throws, the exception reaches the caller. That listener, and all
  /// listeners after it in the list of listeners, miss the value.
  void send(Element value) { listeners_.yieldToAll(value); }
  /// Delivers a default-constructed element to every listener. Only for an element type without data members.
  void send()
    requires(std::is_empty_v<Element> && std::default_initializable<Element>)
  {
    send(Element());
  }

  /// Ends every listener's stream and removes all listeners. New listeners can subscribe later.
  void finish() {
    const auto listeners = listeners_.takeAll();
    for (const Listener& listener : listeners.read()) listener.continuation.finish();
  }

 private:
  using Listener = detail::Listeners<Element>::Listener;

  AsyncStreams() = default;

  detail::Listeners<Element> listeners_;
};

}  // namespace Tessaly::inline v1
