// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Tasks/detail/StreamTurn.hpp"

#include <chrono>

namespace Tessaly::inline v1::detail {
namespace {

constexpr std::uint32_t minimumElements = 256;
using TurnClock = std::chrono::steady_clock;
constexpr TurnClock::duration minimumTurn = std::chrono::milliseconds(1);

constinit thread_local TurnClock::time_point lastTurnEnded;

}  // namespace

__thread std::uint32_t elementsLeft [[gnu::tls_model("initial-exec")]] = minimumElements;

bool endTurnIfLong() noexcept {
  elementsLeft = minimumElements;
  const TurnClock::time_point now = TurnClock::now();
  if (now - lastTurnEnded < minimumTurn) return false;
  lastTurnEnded = now;
  return true;
}

}  // namespace Tessaly::inline v1::detail
