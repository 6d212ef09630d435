// SPDX-License-Identifier: MIT
// Component: Tessaly::FoundationExtensions
#pragma once

#include <cstdint>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"

namespace Tessaly::inline v1 {

namespace detail {
/// The count as a duration. One that is too long becomes the longest. Stops the process when the product does not fit
/// in 64 bits.
[[nodiscard]] TESSALY_EXPORT std::chrono::nanoseconds sleepDuration(std::uint64_t count,
                                                                    std::uint64_t nanosecondsEach) noexcept;
[[nodiscard]] TESSALY_EXPORT std::chrono::nanoseconds sleepDuration(double seconds) noexcept;
}  // namespace detail

template <typename T>
Async<void> Task<T>::sleepMicroSeconds(std::uint64_t microSeconds, Clock& clock) {
  return sleep(detail::sleepDuration(microSeconds, 1'000), clock);
}

template <typename T>
Async<void> Task<T>::sleepMilliSeconds(std::uint64_t milliSeconds, Clock& clock) {
  return sleep(detail::sleepDuration(milliSeconds, 1'000'000), clock);
}

template <typename T>
Async<void> Task<T>::sleepSeconds(double seconds, Clock& clock) {
  return sleep(detail::sleepDuration(seconds), clock);
}

}  // namespace Tessaly::inline v1
