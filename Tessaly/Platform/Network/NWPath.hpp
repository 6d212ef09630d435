// SPDX-License-Identifier: MIT
// Component: Tessaly::Network
#pragma once

#include <cstdint>
#include <ostream>
#include <string_view>

#include "Tessaly/Core/Base/Export.hpp"

#pragma push_macro("Status")  // A macro of Xlib.
#undef Status

namespace Tessaly::inline v1 {

/// Whether the machine could reach other machines at one moment, and whether the traffic was expensive.
///
/// A path has four bytes. It records the knowledge of that moment and promises nothing: a packet may still be lost, and
/// a network may have no connection to the Internet.
///
/// Thread contract: thread-compatible.
///
///     const NWPath path = monitor->currentPath();
///     if (path.status() == NWPath::Status::satisfied && !path.isExpensive()) fetchPreviews();
class NWPath {
 public:
  /// Whether the machine could reach other machines.
  enum class Status : std::uint8_t {
    /// At least one address family has a usable default route.
    satisfied,
    /// There is no usable default route.
    unsatisfied,
    /// A route becomes usable after a connection is made. The Linux backend never reports this status.
    requiresConnection,
    /// The status is unknown, because the kernel did not report its routes to this process. Later versions may add
    /// further values to the enumeration.
    unknown,
  };

  /// The source of `status()`.
  enum class StatusSource : std::uint8_t {
    /// The kernel's links, addresses and routes.
    kernel,
    /// No source: the kernel refused a socket, or did not answer on it.
    refused,
    /// A test.
    scripted,
    /// The desktop's portal, in a sandbox in which the kernel does not report its routes.
    portal,
  };

  /// The source of `isExpensive()`. Only `networkManager`, `portal` and `scripted` can make it true.
  enum class ExpenseSource : std::uint8_t {
    /// NetworkManager.
    networkManager,
    /// No source yet: NetworkManager was asked and has up to 2 s to answer.
    asking,
    /// No source: there is no system bus, or the connection to it ended.
    noBus,
    /// No source: NetworkManager is not running.
    notRunning,
    /// No source: NetworkManager did not answer within 2 s. A later answer still counts.
    noAnswer,
    /// No source: NetworkManager's answer was an error or malformed.
    wrongAnswer,
    /// A test.
    scripted,
    /// The desktop's portal, in a sandbox. In a sandbox, the values from `asking` to `wrongAnswer` concern the portal
    /// and the session bus.
    portal,
  };

  /// The parts of a path, for backends and tests.
  struct Parts {
    Status status = Status::unsatisfied;
    bool isExpensive = false;
    StatusSource statusSource = StatusSource::scripted;
    ExpenseSource expenseSource = ExpenseSource::scripted;

    friend constexpr bool operator==(const Parts&, const Parts&) noexcept = default;
  };

  constexpr NWPath() noexcept = default;
  explicit constexpr NWPath(Parts parts) noexcept : parts_(parts) {}

  [[nodiscard]] constexpr Status status() const noexcept { return parts_.status; }
  /// Whether the connection is metered, such as the shared connection of a telephone. Its traffic may cost the user
  /// money. The result can be a guess of the source.
  [[nodiscard]] constexpr bool isExpensive() const noexcept { return parts_.isExpensive; }
  [[nodiscard]] constexpr StatusSource statusSource() const noexcept { return parts_.statusSource; }
  [[nodiscard]] constexpr ExpenseSource expenseSource() const noexcept { return parts_.expenseSource; }
  [[nodiscard]] constexpr const Parts& parts() const noexcept TESSALY_LIFETIMEBOUND { return parts_; }

  friend constexpr bool operator==(const NWPath&, const NWPath&) noexcept = default;

 private:
  Parts parts_;
};

/// The name of the value, such as "satisfied", or "other" for a value that is not in the enumeration.
[[nodiscard]] TESSALY_EXPORT std::string_view description(NWPath::Status status) noexcept;
[[nodiscard]] TESSALY_EXPORT std::string_view description(NWPath::StatusSource source) noexcept;
[[nodiscard]] TESSALY_EXPORT std::string_view description(NWPath::ExpenseSource source) noexcept;

/// Writes a text such as "satisfied (kernel), expensive (networkManager)".
TESSALY_EXPORT std::ostream& operator<<(std::ostream& stream, const NWPath& path);

}  // namespace Tessaly::inline v1

#pragma pop_macro("Status")
