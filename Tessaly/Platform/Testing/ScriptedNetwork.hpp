// SPDX-License-Identifier: MIT
// Component: Tessaly::Testing
#pragma once

#include <atomic>
#include <memory>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Platform/Network/NetworkBackend.hpp"

#pragma push_macro("Status")  // A macro of Xlib.
#undef Status

namespace Tessaly::inline v1 {

/// A network whose path a test sets by hand.
///
/// Thread contract: thread-safe.
///
///     const auto network = std::make_shared<ScriptedNetwork>(NWPath::Status::unsatisfied);
///     const NetworkBackendInstallation installation(network);
///     network->setPath(NWPath({.status = NWPath::Status::satisfied, .isExpensive = true}));
class TESSALY_EXPORT ScriptedNetwork final : public NetworkBackend {
 public:
  explicit ScriptedNetwork(NWPath path);
  explicit ScriptedNetwork(NWPath::Status status);

  /// Sets the current path and reports the path to all monitors, even if the path did not change.
  void setPath(NWPath path);
  void setStatus(NWPath::Status status);
  /// Counts the monitors, because each new monitor calls this function.
  void refresh() override;
  /// The number of monitors that were made.
  [[nodiscard]] int monitors() const noexcept { return monitors_.load(); }

 private:
  std::atomic<int> monitors_{0};
};

}  // namespace Tessaly::inline v1

#pragma pop_macro("Status")
