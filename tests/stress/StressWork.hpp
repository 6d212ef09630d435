// SPDX-License-Identifier: MIT
#pragma once

#include "Tessaly/Core/Tasks/Async.hpp"
#include "Tessaly/Core/Tasks/TaskPriority.hpp"
#include "tests/stress/StressRound.hpp"

namespace Tessaly::Tests {

/// Does the work of a node and gives its total, or throws it as a `StressError`.
Async<long> run(Context context, const Plan& plan);

/// Does the work of a node, and gives its part of the parent's total.
Async<long> contribution(Context context, const Plan& plan);

/// Lets other work run, a few times or not at all.
Async<void> pause(StressRandom& random);

[[nodiscard]] TaskPriority priorityBy(StressRandom& random);

// One function for each kind of node. It gives the children's part of the total.

Async<long> runSleep(Context context, const Plan& plan);
Async<long> runInterruptedSleep(Context context, const Plan& plan);
Async<long> runContinuation(Context context, const Plan& plan);
Async<long> runBlockingLeaf(Context context, const Plan& plan);
Async<long> runGroup(Context context, const Plan& plan);
Async<long> runFailingGroup(Context context, const Plan& plan);
Async<long> runRace(Context context, const Plan& plan);
Async<long> runTasks(Context context, const Plan& plan);
Async<long> runCancelledTasks(Context context, const Plan& plan);
Async<long> runHop(Context context, const Plan& plan);
Async<long> runTaskLocal(Context context, const Plan& plan);

Async<long> runOwner(Context context, const Plan& plan);
Async<long> runScope(Context context, const Plan& plan);
Async<long> runWaitingThread(Context context, const Plan& plan);

Async<long> runStream(Context context, const Plan& plan);
Async<long> runFailingStream(Context context, const Plan& plan);
Async<long> runMergedStreams(Context context, const Plan& plan);
Async<long> runSharedStream(Context context, const Plan& plan);
Async<long> runBroadcast(Context context, const Plan& plan);
Async<long> runPipe(Context context, const Plan& plan);

}  // namespace Tessaly::Tests
