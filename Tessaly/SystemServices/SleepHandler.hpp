// SPDX-License-Identifier: MIT
// Component: Tessaly::SystemServices
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1 {

/// Keeps the display awake while the application wants it, as a player does.
///
/// There is one in a process. It holds at most one assertion of the system's power management, which the system drops
/// when the process ends. Failures show in the results only; `PowerBackend::current().status()` tells why.
///
/// Thread contract: thread-compatible: callers take turns, in practice by calling on one thread. A call waits for the
/// desktop's services, at most two seconds for each.
///
///     if (SleepHandler::shared()->disableScreenSleep("Playing a film")) {
///       play();
///       SleepHandler::shared()->enableScreenSleep();
///     }
class SleepHandler {
 public:
  SleepHandler(const SleepHandler&) = delete;
  SleepHandler& operator=(const SleepHandler&) = delete;

  /// The only one. Made at the first call, never destroyed.
  [[nodiscard]] TESSALY_EXPORT static const std::shared_ptr<SleepHandler>& shared();

  /// Whether the display is being kept awake.
  [[nodiscard]] bool isIdleDisplaySleepDisabled() const noexcept { return isIdleDisplaySleepDisabled_; }

  /// Keeps the display awake; people may be shown the reason. True if that began now: false when it was so already
  /// (the reason stays the former one) and when nobody on this machine can.
  TESSALY_EXPORT bool disableScreenSleep(std::string_view reason);
  /// Lets the display sleep again. True if that began now: false when it was so already, and when the system refuses,
  /// which leaves the display awake.
  TESSALY_EXPORT bool enableScreenSleep();

 private:
  SleepHandler() = default;

  std::uint32_t assertionID_ = 0;
  bool isIdleDisplaySleepDisabled_ = false;
};

}  // namespace Tessaly::inline v1
