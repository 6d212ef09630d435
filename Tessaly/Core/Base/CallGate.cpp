// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Base/CallGate.hpp"

#include <limits.h>

#include "Tessaly/Core/Base/FatalError.hpp"
#include "Tessaly/Core/Base/detail/ForkGuard.hpp"
#include "Tessaly/Core/Base/detail/Futex.hpp"

// Memory orders. All accesses are read-modify-writes of one word or acquire loads of it. The end of a call is a
// release, and later read-modify-writes continue its release sequence. So the closing thread's acquire sees the effects
// of the call. The beginning of a call is an acquire, so an admitted call sees the effects of earlier calls.

namespace Tessaly::inline v1 {
namespace {

constinit thread_local const CallGate::Call* innermost = nullptr;

}  // namespace

CallGate::Call::Call(CallGate& gate) noexcept : gate_(&gate), outer_(innermost) {
  const std::uint32_t before = gate.state_.fetch_add(1, std::memory_order_acquire);
  if ((before & callMask) == callMask) {
    fatalError("More than 65535 calls of one handler run at once", "Tessaly/CallGate", __LINE__);
  }
  if ((before & closedBit) == 0) {
    innermost = this;
  } else {
    gate.leave();
    gate_ = nullptr;
  }
}

CallGate::Call::~Call() {
  if (gate_ == nullptr) return;
  innermost = outer_;
  gate_->leave();
}

void CallGate::leave() noexcept {
  // After the count was lowered the gate may have been destroyed, but waking reads no memory.
  if ((state_.fetch_sub(1, std::memory_order_release) & closedBit) != 0) detail::futexWake(state_, INT_MAX);
}

bool CallGate::close() noexcept {
  if (detail::isForkedChild()) return false;
  std::uint32_t own = 0;
  for (const Call* call = innermost; call != nullptr; call = call->outer_) own += call->gate_ == this ? 1 : 0;

  state_.fetch_or(closedBit, std::memory_order_relaxed);
  std::uint32_t state = state_.fetch_add(own * waitingUnit, std::memory_order_acq_rel) + own * waitingUnit;
  // Wakes the threads that wait here from inside a call, because they need not wait for this call.
  if (own != 0) detail::futexWake(state_, INT_MAX);
  for (;;) {
    const std::uint32_t calls = state & callMask;
    const std::uint32_t waiting = (state & ~closedBit) / waitingUnit;
    if (calls <= (own != 0 ? waiting : 0)) break;
    detail::futexWait(state_, state);
    state = state_.load(std::memory_order_acquire);
  }
  if (own != 0) state_.fetch_sub(own * waitingUnit, std::memory_order_relaxed);
  return own == 0;
}

}  // namespace Tessaly::inline v1
