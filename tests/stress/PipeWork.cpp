// SPDX-License-Identifier: MIT
// The kind of work in which a pipe feeds a stream.

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <memory>

#include "Tessaly/Core/Base/detail/OwnedDescriptor.hpp"
#include "Tessaly/Core/Tasks/AsyncStream.hpp"
#include "Tessaly/Core/Tasks/GlobalExecutor.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"
#include "Tessaly/Core/Tasks/TaskGroup.hpp"
#include "Tessaly/Core/Tasks/detail/Reactor.hpp"
#include "tests/stress/StressWork.hpp"

namespace Tessaly::Tests {
namespace {

using Counts = AsyncStream<long>;

/// Yields the number of bytes of each read, and finishes at the end of the pipe.
void readAll(int descriptor, const Counts::Continuation& continuation) {
  std::array<char, 64> bytes;
  for (;;) {
    const ssize_t size = ::read(descriptor, bytes.data(), bytes.size());
    if (size == 0) continuation.finish();
    if (size <= 0) return;
    continuation.yield(size);
  }
}

Async<void> write(Context context, const Plan& plan, std::shared_ptr<detail::OwnedDescriptor> end, long bytes) {
  StressRandom random(plan.seed + 1);
  for (long byte = 0; byte < bytes; ++byte) {
    context.round.expect(::write(end->get(), "x", 1) == 1, "a pipe was full");
    if (random.isOneOf(8)) co_await Task<>::yield();
  }
  context.round.step(context, plan);
}

Async<void> count(Context context, const Plan& plan, Counts stream, long bytes) {
  long sum = 0;
  auto iterator = stream.makeAsyncIterator();
  while (const auto size = co_await iterator.next()) sum += *size;
  context.round.step(context, plan);
  if (!Task<>::isCurrentCancelled()) context.round.expect(sum == bytes, "a pipe lost a byte");
}

}  // namespace

Async<long> runPipe(Context context, const Plan& plan) {
  StressRandom random(plan.seed);
  const long bytes = random.below(200);
  std::array<int, 2> ends{};
  context.round.expect(::pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK) == 0, "no pipe could be made");
  // The handler shares the descriptor. A consumer in an inline isolation may end everything inside the handler, which
  // then continues.
  auto reading = std::make_shared<detail::OwnedDescriptor>(ends[0]);
  auto writing = std::make_shared<detail::OwnedDescriptor>(ends[1]);
  auto made = Counts::makeStream();
  const auto source = detail::DescriptorSource::make(
      ends[0], GlobalExecutor::shared(),
      [end = std::move(reading), continuation = made.continuation] { readAll(end->get(), continuation); });
  co_await withTaskGroup<>([&](TaskGroup<>& group) -> Async<void> {
    group.addTask(
        [own = context.in(nullptr), &plan, end = std::move(writing), bytes] { return write(own, plan, end, bytes); });
    group.addTask([own = context.in(nullptr), &plan, stream = std::move(made.stream), bytes] {
      return count(own, plan, stream, bytes);
    });
    co_await group.waitForAll();
  });
  source->cancel();
  co_return 0;
}

}  // namespace Tessaly::Tests
