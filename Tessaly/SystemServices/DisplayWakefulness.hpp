// SPDX-License-Identifier: MIT
// Component: Tessaly::SystemServices
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Tasks/Async.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"

namespace Tessaly::inline v1 {

/// Keeps the display awake for a scope. Neither the construction nor the destruction waits, so the main thread may make
/// and destroy the object.
///
/// Each object holds its own assertion (a request to the desktop's services that the display stays on), so scopes may
/// overlap. The desktop may show the reason to the user. A background thread calls the services, because each call
/// takes up to 2 s. If the scope ends before the answer arrives, the assertion is released after the answer. The system
/// releases all assertions when the process ends. `SleepHandler` differs: its calls wait for the services, and it holds
/// at most one assertion for the whole process.
///
/// Thread contract: thread-compatible. The construction and the destruction start one task each.
///
///     const DisplayWakefulness awake("Comparing files");
///     co_await compare(files);
class DisplayWakefulness {
 public:
  TESSALY_EXPORT explicit DisplayWakefulness(std::string reason);
  DisplayWakefulness(const DisplayWakefulness&) = delete;
  DisplayWakefulness& operator=(const DisplayWakefulness&) = delete;
  TESSALY_EXPORT ~DisplayWakefulness();

  /// Waits for the answer of the services. Returns false if no service accepted the request;
  /// `PowerBackend::current().status()` gives the reasons.
  [[nodiscard]] TESSALY_EXPORT Async<bool> isEffective() const;

 private:
  Task<std::optional<std::uint32_t>> assertion_;
};

}  // namespace Tessaly::inline v1
