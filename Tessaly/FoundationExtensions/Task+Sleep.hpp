// SPDX-License-Identifier: MIT
// Component: Tessaly::FoundationExtensions
#pragma once

#include <cstdint>

#include "Tessaly/Core/Base/Durations.hpp"
#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"

namespace Tessaly::inline v1 {

/// Converts the arguments of `Task::sleepMicroSeconds`, `sleepMilliSeconds` and `sleepSeconds` to durations.
struct detail::SleepDuration {
  /// The product of the arguments as a duration, limited to the maximum duration. Stops the process if the product does
  /// not fit in 64 bits.
  [[nodiscard]] TESSALY_EXPORT static std::chrono::nanoseconds of(std::uint64_t count,
                                                                  std::uint64_t nanosecondsEach) noexcept;
  [[nodiscard]] TESSALY_EXPORT static std::chrono::nanoseconds of(double seconds) noexcept;
};

}  // namespace Tessaly::inline v1
