// SPDX-License-Identifier: MIT
// Component: Tessaly::Testing
#pragma once

#include <atomic>
#include <memory>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Platform/Network/NetworkBackend.hpp"

#pragma push_macro("Status")  // Of Xlib.
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

  /// Makes a path the current one and reports it to all monitors, also if it is the one that was there.
  void setPath(NWPath path);
  void setStatus(NWPath::Status status);
  /// Counts.
  void refresh() override;
  /// How many monitors were made.
  [[nodiscard]] int monitors() const noexcept { return monitors_.load(); }

 private:
  std::atomic<int> monitors_{0};
};

}  // namespace Tessaly::inline v1

#pragma pop_macro("Status")
