// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Tasks/Clock.hpp"

#include <chrono>

#include "Tessaly/Core/Tasks/Task.hpp"

namespace Tessaly {

void show(std::chrono::nanoseconds duration);
void ring();

void report(const Clock& clock, Clock::Instant start) { show(clock.now() - start); }

struct Alarm : ClockTimer {
  Alarm() : ClockTimer([](ClockTimer&) noexcept { ring(); }) {}
};

Async<void> snippet() {
  co_await Task<>::sleep(std::chrono::milliseconds(20), ContinuousClock::shared());
  ring();
}

}  // namespace Tessaly
