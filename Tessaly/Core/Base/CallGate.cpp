// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Base/CallGate.hpp"

#include <limits.h>

#include <utility>

#include "Tessaly/Core/Base/FatalError.hpp"
#include "Tessaly/Core/Base/detail/ForkGuard.hpp"
#include "Tessaly/Core/Base/detail/Futex.hpp"

// Memory orders. All accesses are read-modify-writes of one word or acquire loads of it. The end of a call is a
// release, and later read-modify-writes continue its release sequence. So the closing thread's acquire sees the effects
// of the call. The beginning of a call is an acquire, so an admitted call sees the effects of earlier calls.

namespace Tessaly::inline v1 {
namespace {

constinit thread_local CallGate::Call* innermost = nullptr;

}  // namespace

CallGate::Call::Call(CallGate& gate) noexcept : gate_(&gate), outer_(innermost) {
  const std::uint32_t before = gate.state_.fetch_add(1, std::memory_order_acquire);
  if ((before & callMask) == callMask) {
    fatalError("More than 32767 calls of one handler run at once", "Tessaly/CallGate", __LINE__);
  }
  if ((before & closedBit) == 0) {
    innermost = this;
  } else {
    gate.leave(1);
    gate_ = nullptr;
  }
}

CallGate::Call::~Call() {
  if (gate_ == nullptr) return;
  innermost = outer_;
  gate_->leave(hasClosed_ ? 1 + closingUnit : 1);
}

void CallGate::leave(std::uint32_t parts) noexcept {
  // After the count was lowered the gate may have been destroyed, but waking reads no memory.
  if ((state_.fetch_sub(parts, std::memory_order_release) & closedBit) != 0) detail::futexWake(state_, INT_MAX);
}

bool CallGate::close() noexcept {
  if (detail::isForkedChild()) return false;
  bool isInside = false;
  std::uint32_t closing = 0;
  for (Call* call = innermost; call != nullptr; call = call->outer_) {
    if (call->gate_ != this) continue;
    isInside = true;
    if (!std::exchange(call->hasClosed_, true)) closing += closingUnit;
  }
  state_.fetch_or(closedBit, std::memory_order_relaxed);
  std::uint32_t state = state_.fetch_add(closing, std::memory_order_acq_rel) + closing;
  // Wakes the threads that wait here inside a call, because they need not wait for these calls.
  if (closing != 0) detail::futexWake(state_, INT_MAX);
  for (;;) {
    const std::uint32_t calls = state & callMask;
    const std::uint32_t excused = isInside ? (state & ~closedBit) / closingUnit : 0;
    if (calls <= excused) return !isInside;
    detail::futexWait(state_, state);
    state = state_.load(std::memory_order_acquire);
  }
}

}  // namespace Tessaly::inline v1
