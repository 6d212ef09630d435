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

/// A broadcaster: delivers every sent value to every listener.
///
/// Each listener has a stream of its own with an unbounded buffer, so a slow listener delays no other. The broadcaster
/// keeps no values: a listener receives the values that are sent after it subscribed. See `ReducedReplayAsyncStream`
/// for listeners that catch up. A listener ends by destroying its stream or by cancelling the task that consumes it.
///
/// A `std::shared_ptr` owns it. The end of the last reference ends every listener's stream, like `finish()`. After
/// `finish()` the broadcaster can be used again. The nearest facilities, Qt's signals and `boost::signals2`, call
/// functions on the sender's thread instead.
///
/// Thread contract: thread-safe. Yields and finishes run outside the lock, on a snapshot.
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

  /// A new listener's stream, registered when this returns.
  [[nodiscard]] AsyncStream<Element> stream() {
    auto [stream, continuation] = AsyncStream<Element>::makeStream();
    const Listener listener{UUID::random(), continuation};
    listeners_.insert(listener);
    continuation.setOnTermination([broadcaster = this->weak_from_this(), listener](const StreamTermination&) {
      if (const auto self = broadcaster.lock()) self->listeners_.remove(listener);
    });
    return stream;
  }

  /// Delivers the value to every listener. About 4 ns for each, and 8 ns if there are a thousand. Nothing is allocated
  /// beside their buffers, and a few words at the first send of a thread. An exception of the value's copy goes to the
  /// caller, and the listeners that come after it miss the value.
  void send(Element value) { listeners_.yieldToAll(value); }
  /// The same for a signal without a payload.
  void send()
    requires(std::is_empty_v<Element> && std::default_initializable<Element>)
  {
    send(Element());
  }

  /// Ends every listener's stream and removes all listeners. Later ones can subscribe.
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
