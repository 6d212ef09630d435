// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Tasks/Clock.hpp"

#include <ctime>

#include "Tessaly/Core/Base/detail/FirstUse.hpp"
#include "Tessaly/Core/Tasks/detail/Reactor.hpp"

namespace Tessaly::inline v1 {

ContinuousClock& ContinuousClock::shared() noexcept {
  return detail::madeOnce<[] { return new ContinuousClock; }>();
}

Clock::Instant ContinuousClock::now() const noexcept {
  timespec time{};
  ::clock_gettime(CLOCK_BOOTTIME, &time);
  return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

void ContinuousClock::add(ClockTimer& timer) { detail::Reactor::shared().add(timer); }

bool ContinuousClock::remove(ClockTimer& timer) noexcept { return detail::Reactor::shared().remove(timer); }

}  // namespace Tessaly::inline v1
