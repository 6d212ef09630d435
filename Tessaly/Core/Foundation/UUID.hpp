// SPDX-License-Identifier: MIT
// Component: Tessaly::Foundation
#pragma once

#include <array>
#include <bit>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1 {

/// A universally unique identifier: 16 bytes (RFC 9562).
///
/// Thread contract: thread-compatible.
///
///     UUID id = UUID::random();
///     std::optional<UUID> same = UUID::from(id.uuidString());
class UUID {
 public:
  using Bytes = std::array<std::uint8_t, 16>;

  /// An identifier with the given bytes. The bytes are in the order of their digits in `uuidString()`.
  explicit constexpr UUID(const Bytes& bytes) noexcept : bytes_(bytes) {}

  /// A new random identifier (version 4) from the kernel's random bytes. Each thread requests the bytes for 16
  /// identifiers at a time. After a fork, the child process never uses the bytes that its parent requested. Stops the
  /// process if the kernel gives no bytes.
  ///
  /// Thread contract: thread-safe.
  [[nodiscard]] TESSALY_EXPORT static UUID random() noexcept;

  /// Parses a text of 32 hexadecimal digits of either case, grouped 8-4-4-4-12 by hyphens. Absent for any other text.
  [[nodiscard]] TESSALY_EXPORT static std::optional<UUID> from(std::string_view text) noexcept;

  /// The bytes, in the order of their digits in `uuidString()`.
  [[nodiscard]] constexpr const Bytes& bytes() const noexcept TESSALY_LIFETIMEBOUND { return bytes_; }
  /// The text in upper case, such as "E621E1F8-C36C-495A-93FC-0C247A3E6E5F".
  [[nodiscard]] TESSALY_EXPORT std::string uuidString() const;
  /// The same as `uuidString()`.
  [[nodiscard]] std::string description() const { return uuidString(); }

  friend constexpr bool operator==(const UUID&, const UUID&) noexcept = default;
  /// Compares identifiers in the order of their texts.
  friend constexpr auto operator<=>(const UUID&, const UUID&) noexcept = default;

 private:
  Bytes bytes_;
};

/// Writes `description()`.
TESSALY_EXPORT std::ostream& operator<<(std::ostream& stream, const UUID& uuid);

}  // namespace Tessaly::inline v1

template <>
struct std::hash<Tessaly::UUID> {
  std::size_t operator()(const Tessaly::UUID& uuid) const noexcept {
    const auto halves = std::bit_cast<std::array<std::uint64_t, 2>>(uuid.bytes());
    return static_cast<std::size_t>((halves[0] * 0x9E37'79B9'7F4A'7C15u) ^ (halves[1] + (halves[0] >> 32)));
  }
};
