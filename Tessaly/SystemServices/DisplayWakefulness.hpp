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

/// Keeps the display awake for a scope. No call waits, so the main thread may make and destroy it.
///
/// Each one holds an assertion of its own, so scopes may overlap. The desktop may show the reason to the user. The
/// request runs on a thread that may block, because a service gets 2 s to answer. A scope that ends before the answer
/// gives the assertion back when it arrives. The system releases all assertions when the process ends. `SleepHandler`
/// waits for the services, and holds one assertion for the process.
///
/// Thread contract: thread-compatible. Costs a task at either end.
///
///     const DisplayWakefulness awake("Comparing files");
///     co_await compare(files);
class DisplayWakefulness {
 public:
  TESSALY_EXPORT explicit DisplayWakefulness(std::string reason);
  DisplayWakefulness(const DisplayWakefulness&) = delete;
  DisplayWakefulness& operator=(const DisplayWakefulness&) = delete;
  TESSALY_EXPORT ~DisplayWakefulness();

  /// Waits for the answer of the services. Returns false if none of them keeps the display awake;
  /// `PowerBackend::current().status()` gives the reasons.
  [[nodiscard]] TESSALY_EXPORT Async<bool> isEffective() const;

 private:
  Task<std::optional<std::uint32_t>> assertion_;
};

}  // namespace Tessaly::inline v1
