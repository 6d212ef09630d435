// SPDX-License-Identifier: MIT
#include "tests/stress/StressWork.hpp"

#include <array>
#include <cstddef>

#include "Tessaly/Core/Base/Error.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"

namespace Tessaly::Tests {
namespace {

Async<long> runLeaf(Context, const Plan&) { co_return 0; }

using Work = Async<long> (*)(Context, const Plan&);

/// In the order of the kinds.
constexpr std::array<Work, 21> works{
    &runLeaf,          &runSleep,         &runInterruptedSleep, &runContinuation, &runStream,
    &runFailingStream, &runMergedStreams, &runSharedStream,     &runBroadcast,    &runBlockingLeaf,
    &runPipe,          &runGroup,         &runFailingGroup,     &runRace,         &runTasks,
    &runHop,           &runTaskLocal,     &runCancelledTasks,   &runOwner,        &runScope,
    &runWaitingThread};
static_assert(works.size() == static_cast<std::size_t>(Plan::Kind::waitingThread) + 1);

}  // namespace

Async<void> pause(StressRandom& random) {
  for (unsigned yields = random.below(3); yields > 0; --yields) co_await Task<>::yield();
}

TaskPriority priorityBy(StressRandom& random) {
  constexpr std::array all{TaskPriority::background, TaskPriority::low, TaskPriority::medium, TaskPriority::high};
  return all[random.below(all.size())];
}

Async<long> run(Context context, const Plan& plan) {
  const Visit visit(plan);
  StressRandom random(~plan.seed);
  context.round.step(context, plan);
  co_await pause(random);
  context.round.step(context, plan);
  long total = plan.value;
  try {
    total += co_await works[static_cast<std::size_t>(plan.kind)](context, plan);
  } catch (const CancellationError&) {
    context.round.expect(!plan.isCertain, "work was cancelled that nothing cancels");
    throw;
  }
  context.round.step(context, plan);
  if (plan.fails) throw StressError(total);
  co_return total;
}

Async<long> contribution(Context context, const Plan& plan) {
  try {
    co_return co_await run(context, plan);
  } catch (const StressError& error) {
    co_return 3 * error.total;
  } catch (const CancellationError&) {
    co_return 0;
  }
}

}  // namespace Tessaly::Tests
