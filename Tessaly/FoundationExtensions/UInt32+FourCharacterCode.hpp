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

/// The bytes, the most significant one first, as ASCII; "no ascii" if they are not. `string` reads the other way round.
///
/// Thread contract: thread-safe.
///
///     const std::string code = UInt32::characters(std::uint32_t{1094861636});  // ABCD
[[nodiscard]] std::string characters(std::same_as<std::uint32_t> auto code) { return detail::characters(code); }

/// The bytes, the least significant one first, as UTF-8; nothing if they are not. `characters` reads the other way
/// round.
///
/// Thread contract: thread-safe.
[[nodiscard]] std::optional<std::string> string(std::same_as<std::uint32_t> auto code) { return detail::string(code); }

/// The size of a type in bytes, as `sizeof` has it. Stops the process when 32 bits do not have it.
///
/// Thread contract: thread-safe.
template <typename T>
[[nodiscard]] constexpr std::uint32_t sizeOf(Type<T> = {}) noexcept {
  if constexpr (sizeof(T) > std::numeric_limits<std::uint32_t>::max()) detail::stopAtSize();
  return static_cast<std::uint32_t>(sizeof(T));
}

/// The size of a value's type.
///
/// Thread contract: thread-safe.
template <typename T>
[[nodiscard]] constexpr std::uint32_t sizeOf(const T&) noexcept {
  return sizeOf(Type<T>());
}

}  // namespace Tessaly::inline v1::UInt32
