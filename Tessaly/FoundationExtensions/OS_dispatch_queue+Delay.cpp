// SPDX-License-Identifier: MIT
#include <chrono>
#include <utility>

#include "Tessaly/FoundationExtensions/OS_dispatch_queue+Delay.hpp"

namespace Tessaly::inline v1 {

void detail::DelayedCall::start(double seconds, OS_dispatch_queue::Function block, Clock& clock) {
  const double nanoseconds = seconds * 1e9;
  auto delay = std::chrono::nanoseconds::max();
  if (nanoseconds <= 0) {
    delay = std::chrono::nanoseconds(0);
  } else if (nanoseconds < 0x1p63) {
    delay = std::chrono::nanoseconds(static_cast<std::int64_t>(nanoseconds));
  }
  OS_dispatch_queue::global(QualityOfService::background).asyncAfter(delay, std::move(block), clock);
}

}  // namespace Tessaly::inline v1
