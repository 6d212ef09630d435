// SPDX-License-Identifier: MIT
#include "Tessaly/SettingsAndObservation/detail/CallsUnderWay.hpp"

#include <limits.h>

#include "Tessaly/Core/Base/ForkGuard.hpp"
#include "Tessaly/Core/Base/Futex.hpp"

namespace Tessaly::inline v1::detail {
namespace {

constinit thread_local const CallsUnderWay::Call* innermost = nullptr;

}  // namespace

CallsUnderWay::Call::Call(CallsUnderWay& calls) noexcept : calls_(&calls), outer_(innermost) {
  if ((calls.state_.fetch_add(1, std::memory_order_acquire) & hasEnded) == 0) {
    innermost = this;
  } else {
    calls.leave();
    calls_ = nullptr;
  }
}

CallsUnderWay::Call::~Call() {
  if (calls_ == nullptr) return;
  innermost = outer_;
  calls_->leave();
}

void CallsUnderWay::leave() noexcept {
  if ((state_.fetch_sub(1, std::memory_order_release) & hasEnded) != 0) futexWake(state_, INT_MAX);
}

bool CallsUnderWay::end() noexcept {
  if (isForkedChild()) return false;  // Those of other threads are the parent's.
  std::uint32_t own = 0;
  for (const Call* call = innermost; call != nullptr; call = call->outer_) own += call->calls_ == this ? 1 : 0;
  std::uint32_t state = state_.fetch_or(hasEnded, std::memory_order_acq_rel) | hasEnded;
  while ((state & ~hasEnded) > own) {
    futexWait(state_, state);
    state = state_.load(std::memory_order_acquire);
  }
  return own == 0;
}

}  // namespace Tessaly::inline v1::detail
