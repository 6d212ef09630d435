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

/// A network backend whose path (`NWPath`) a test sets.
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

  /// Sets the current path and reports the path to all started monitors, even if the path did not change.
  void setPath(NWPath path);
  void setStatus(NWPath::Status status);
  /// Increments the number that `monitors()` returns. Each monitor calls this function once, when it is made.
  void refresh() override;
  /// The number of monitors that were made.
  [[nodiscard]] int monitors() const noexcept { return monitors_.load(); }

 private:
  std::atomic<int> monitors_{0};
};

}  // namespace Tessaly::inline v1

#pragma pop_macro("Status")
