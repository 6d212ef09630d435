// SPDX-License-Identifier: MIT
#include <cstdint>
#include <cstdlib>
#include <memory>

#include "Harness.hpp"
#include "Tessaly/Core/Tasks/AsyncStream.hpp"
#include "Tessaly/Core/Tasks/Isolation.hpp"
#include "Tessaly/Core/Tasks/SyncWait.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"
#include "peers/AsioPeers.hpp"
#include "peers/TbbPeers.hpp"

namespace Tessaly::Benchmarks {
namespace {

using Stream = AsyncStream<std::int64_t>;

constexpr int elements = 16'384;

/// Yields. A refused element stops the program instead of being timed.
void yield(const Stream::Continuation& continuation, std::int64_t value) {
  if (continuation.yield(value).kind != YieldResultKind::enqueued) std::abort();
}

Async<void> consume(Stream stream, int count) {
  std::int64_t total = 0;
  auto iterator = stream.makeAsyncIterator();
  for (int i = 0; i < count; ++i) total += (co_await iterator.next()).value();
  benchmark::DoNotOptimize(total);
}

/// Fills the buffer with `depth` elements, and empties it.
auto yieldThenNext(int depth) {
  return [depth] {
    return [depth, ends = std::make_shared<Stream::StreamAndContinuation>(Stream::makeStream())] {
      syncWait([&]() -> Async<void> {
        std::int64_t total = 0;
        auto iterator = ends->stream.makeAsyncIterator();
        for (int i = 0; i < elements; i += depth) {
          for (int j = 0; j < depth; ++j) yield(ends->continuation, i + j);
          for (int j = 0; j < depth; ++j) total += (co_await iterator.next()).value();
        }
        benchmark::DoNotOptimize(total);
      });
    };
  };
}

/// The consumer waits for each element. Both are tasks of one serial executor and alternate.
void yieldToWaitingConsumer() {
  syncWait(Task<void>::detached({.isolation = Isolation::serial()}, [ends = Stream::makeStream()]() -> Async<void> {
             Task<void> consumer([&] { return consume(ends.stream, elements); });
             co_await Task<>::yield();
             for (int i = 0; i < elements; ++i) {
               yield(ends.continuation, i);
               co_await Task<>::yield();
             }
             co_await consumer.value();
           }).value());
}

/// This thread yields as fast as it can, and a task on the pool consumes.
auto yieldAcrossThreads() {
  return [ends = std::make_shared<Stream::StreamAndContinuation>(Stream::makeStream())] {
    const auto consumer = Task<void>::detached([ends] { return consume(ends->stream, elements); });
    for (int i = 0; i < elements; ++i) yield(ends->continuation, i);
    syncWait(consumer.value());
  };
}

const Facility streams("Streams", [](Facility& facility) {
  facility.row("yield then next, same thread", elements)
      .ours(yieldThenNext(1))
      .peer("asio::experimental::channel", [] { return AsioPeers::sendThenReceive(elements, 1); })
      .bar(45);

  facility.row("64 yields then 64 nexts, same thread", elements)
      .ours(yieldThenNext(64))
      .peer("asio::experimental::channel", [] { return AsioPeers::sendThenReceive(elements, 64); })
      .bar(45);

  facility.row("yield to a waiting consumer, taking turns", elements)
      .ours(yieldToWaitingConsumer)
      .peer("asio::experimental::channel", [] { return AsioPeers::sendToWaitingReceiver(elements); });

  facility.row("yield then next, across threads", elements)
      .ours([] { return yieldAcrossThreads(); })
      .peer("asio::experimental::concurrent_channel", [] { return AsioPeers::sendAcrossThreads(elements); })
      .peer("tbb::concurrent_bounded_queue, blocking", [] { return TbbPeers::queueAcrossThreads(elements); })
      .bar(60);
});

}  // namespace
}  // namespace Tessaly::Benchmarks
