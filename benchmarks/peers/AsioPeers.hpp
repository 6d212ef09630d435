// SPDX-License-Identifier: MIT
#pragma once

#include "Batch.hpp"

/// The facilities of Asio beside tasks, streams, the main queue and timers.
namespace Tessaly::Benchmarks::AsioPeers {

/// One `awaitable` that makes and awaits `count` others, each returning an integer.
Batch awaitAwaitables(int count);
/// `awaitAwaitables` with `experimental::coro`.
Batch awaitCoros(int count);

/// `coroutines` coroutines on a pool of two threads. They post themselves to the pool, `count` times together.
Batch postToPool(int count, int coroutines);

/// `count` times from the main thread: spawns a coroutine on a pool of two threads, and waits for its result.
Batch spawnAndWait(int count);
/// `spawnAndWait` from a coroutine of the pool, which awaits the result.
Batch spawnAndAwait(int count);

/// One coroutine on a pool of two threads. It runs a function on a strand and awaits it, `count` times.
Batch strandRoundTrip(int count);

/// One coroutine that sends `depth` elements into a channel and then receives them, up to `count` elements.
Batch sendThenReceive(int count, int depth);
/// Two coroutines on one thread, `count` times: one waits in `async_receive`, the other one sends and then posts itself
/// behind the receiver.
Batch sendToWaitingReceiver(int count);
/// One thread sends `count` elements as fast as it can. A coroutine on a pool of one thread receives them.
Batch sendAcrossThreads(int count);

/// Sends `count` elements, each into the channel of every listener.
SendingBatch broadcast(int count, int listeners);

/// From a pool thread to a context that the calling thread runs, and back, `count` times.
Batch mainRoundTrip(int count);

/// Puts a handler into a cancellation slot and removes it, `count` times. Not safe between threads.
Batch cancellationSlot(int count);

/// Spawns a coroutine that waits for a timer an hour ahead, and cancels it during the wait, `count` times.
Batch sleeperCancelled(int count);
/// One coroutine that waits for a timer of `microseconds`, `count` times.
Batch timerExpired(int count, int microseconds);

}  // namespace Tessaly::Benchmarks::AsioPeers
