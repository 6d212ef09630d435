// SPDX-License-Identifier: MIT
// Component: Tessaly::SystemServices
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1 {

/// Keeps the display awake while the application needs it, for example during a film.
///
/// A process has one handler. The handler holds at most one assertion (a request to the desktop's services that the
/// display stays on). The system releases the assertion when the process ends. Only the results of the calls report
/// failures; `PowerBackend::current().status()` gives the reasons.
///
/// Thread contract: thread-compatible. Calls must not overlap; usually one thread makes all of them. A call waits for
/// the desktop's services, at most 2 s for each call of a service.
///
///     if (SleepHandler::shared()->disableScreenSleep("Playing a film")) {
///       play();
///       SleepHandler::shared()->enableScreenSleep();
///     }
class SleepHandler {
 public:
  SleepHandler(const SleepHandler&) = delete;
  SleepHandler& operator=(const SleepHandler&) = delete;

  /// The handler of the process. The handler is made at the first call and never destroyed.
  [[nodiscard]] TESSALY_EXPORT static const std::shared_ptr<SleepHandler>& shared();

  /// Whether this handler holds an assertion. If the assertion loses its service, the handler still holds it, and the
  /// library asks again as soon as a service appears. Until then `PowerBackend::current().status()` names no service.
  [[nodiscard]] bool isIdleDisplaySleepDisabled() const noexcept { return isIdleDisplaySleepDisabled_; }

  /// Keeps the display awake. The desktop may show the reason to the user. Returns true if this call took the
  /// assertion. Returns false if this handler already holds an assertion (with the former reason), or if no service
  /// can keep the display awake.
  TESSALY_EXPORT bool disableScreenSleep(std::string_view reason);
  /// Lets the display sleep again. Returns true if this call ended the effect of `disableScreenSleep`. Returns false if
  /// `disableScreenSleep` was not in effect. Also returns false if the system refuses; then the display stays awake.
  TESSALY_EXPORT bool enableScreenSleep();

 private:
  SleepHandler() = default;

  std::uint32_t assertionID_ = 0;
  bool isIdleDisplaySleepDisabled_ = false;
};

}  // namespace Tessaly::inline v1
