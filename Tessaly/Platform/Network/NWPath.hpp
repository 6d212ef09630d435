// SPDX-License-Identifier: MIT
// Component: Tessaly::Network
#pragma once

#include <cstdint>
#include <ostream>
#include <string_view>

#include "Tessaly/Core/Base/Export.hpp"

#pragma push_macro("Status")  // Of Xlib.
#undef Status

namespace Tessaly::inline v1 {

/// Whether, and how, the machine can reach others at some moment.
///
/// Four bytes; a record of what was known, not a promise: a packet may still be lost, and a network may lead nowhere.
///
/// Thread contract: thread-compatible.
///
///     const NWPath path = monitor->currentPath();
///     if (path.status() == NWPath::Status::satisfied && !path.isExpensive()) fetchPreviews();
class NWPath {
 public:
  enum class Status : std::uint8_t {
    /// A usable default route of at least one family is there.
    satisfied,
    /// There is none.
    unsatisfied,
    /// There would be one if a connection were made first. Linux never says so.
    requiresConnection,
    /// Nobody could be asked: the kernel refuses to tell this process of its routes. Further values may follow.
    unknown,
  };

  /// Who answered what `status()` says.
  enum class StatusSource : std::uint8_t {
    /// The kernel, by its links, addresses and routes.
    kernel,
    /// Nobody: the kernel would not give a socket, or not answer on it.
    refused,
    /// A test.
    scripted,
  };

  /// Who answered what `isExpensive()` says. With every other than `networkManager` and `scripted` it is false.
  enum class ExpenseSource : std::uint8_t {
    /// NetworkManager.
    networkManager,
    /// Nobody yet: NetworkManager was asked and has up to 2 s.
    asking,
    /// Nobody: there is no system bus, or it went away.
    noBus,
    /// Nobody: NetworkManager is not running.
    notRunning,
    /// Nobody: NetworkManager has not answered within 2 s. If it answers later, that is taken.
    noAnswer,
    /// Nobody: NetworkManager answered with an error or with something of another kind.
    wrongAnswer,
    /// A test.
    scripted,
  };

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
  /// Whether what is sent costs the user money, as with a telephone's connection that is shared.
  [[nodiscard]] constexpr bool isExpensive() const noexcept { return parts_.isExpensive; }
  [[nodiscard]] constexpr StatusSource statusSource() const noexcept { return parts_.statusSource; }
  [[nodiscard]] constexpr ExpenseSource expenseSource() const noexcept { return parts_.expenseSource; }
  [[nodiscard]] constexpr const Parts& parts() const noexcept { return parts_; }

  friend constexpr bool operator==(const NWPath&, const NWPath&) noexcept = default;

 private:
  Parts parts_;
};

/// "satisfied" and so on; a value that has no name here is "other".
[[nodiscard]] TESSALY_EXPORT std::string_view description(NWPath::Status status) noexcept;
[[nodiscard]] TESSALY_EXPORT std::string_view description(NWPath::StatusSource source) noexcept;
[[nodiscard]] TESSALY_EXPORT std::string_view description(NWPath::ExpenseSource source) noexcept;

/// "satisfied (kernel), expensive (networkManager)".
TESSALY_EXPORT std::ostream& operator<<(std::ostream& stream, const NWPath& path);

}  // namespace Tessaly::inline v1

#pragma pop_macro("Status")
