// SPDX-License-Identifier: MIT
// Component: Tessaly::FoundationExtensions
#pragma once

#include <array>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Base/TypeName.hpp"

namespace Tessaly::inline v1::UInt32 {

namespace detail {
[[nodiscard]] TESSALY_EXPORT std::string characters(std::uint32_t code);
[[nodiscard]] TESSALY_EXPORT std::optional<std::string> string(std::uint32_t code);
[[noreturn]] TESSALY_EXPORT void stopAtSize() noexcept;
}  // namespace detail

/// The four bytes of a number, the most significant one first.
///
/// Thread contract: thread-safe.
[[nodiscard]] constexpr std::array<std::uint8_t, 4> bytes(std::same_as<std::uint32_t> auto code) noexcept {
  return {static_cast<std::uint8_t>(code >> 24), static_cast<std::uint8_t>(code >> 16),
          static_cast<std::uint8_t>(code >> 8), static_cast<std::uint8_t>(code)};
}

/// The bytes as ASCII, the most significant one first, or "no ascii" if they are not ASCII. `string` uses the opposite
/// order.
///
/// Thread contract: thread-safe.
///
///     const std::string code = UInt32::characters(std::uint32_t{1094861636});  // ABCD
[[nodiscard]] std::string characters(std::same_as<std::uint32_t> auto code) { return detail::characters(code); }

/// The bytes as UTF-8, the least significant one first. Absent if they are not UTF-8. `characters` uses the opposite
/// order.
///
/// Thread contract: thread-safe.
[[nodiscard]] std::optional<std::string> string(std::same_as<std::uint32_t> auto code) { return detail::string(code); }

/// The size of a type in bytes, as in `sizeof`. Stops the process if the size does not fit in 32 bits.
///
/// Thread contract: thread-safe.
template <typename T>
[[nodiscard]] constexpr std::uint32_t sizeOf(Type<T> = {}) noexcept {
  if constexpr (sizeof(T) > std::numeric_limits<std::uint32_t>::max()) detail::stopAtSize();
  return static_cast<std::uint32_t>(sizeof(T));
}

/// The size of the value's type in bytes.
///
/// Thread contract: thread-safe.
template <typename T>
[[nodiscard]] constexpr std::uint32_t sizeOf(const T&) noexcept {
  return sizeOf(Type<T>());
}

}  // namespace Tessaly::inline v1::UInt32
