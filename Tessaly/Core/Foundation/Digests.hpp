// SPDX-License-Identifier: MIT
// Component: Tessaly::Foundation
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1 {

/// The bytes of a digest.
template <std::size_t Count>
struct DigestBytes {
  static constexpr std::size_t byteCount = Count;
  std::array<std::uint8_t, Count> bytes{};

  friend bool operator==(const DigestBytes&, const DigestBytes&) noexcept = default;
};

/// A SHA-256 digest (FIPS 180-4).
struct SHA256Digest : DigestBytes<32> {
  /// The digest of bytes. Throws `std::bad_alloc` only.
  ///
  /// Thread contract: thread-safe.
  [[nodiscard]] TESSALY_EXPORT static SHA256Digest hash(std::span<const std::uint8_t> bytes);
};

namespace Insecure {

/// An MD5 digest (RFC 1321): for old formats only, it protects nothing.
struct MD5Digest : DigestBytes<16> {
  /// The digest of bytes. Throws `std::bad_alloc` only.
  ///
  /// Thread contract: thread-safe.
  [[nodiscard]] TESSALY_EXPORT static MD5Digest hash(std::span<const std::uint8_t> bytes);
};

}  // namespace Insecure

/// A message authentication code: HMAC with SHA-256 (RFC 2104). Compared in a time that does not depend on where two
/// differ.
struct HashedAuthenticationCode : DigestBytes<32> {
  /// The code of bytes under a key. Throws `std::bad_alloc` only.
  ///
  /// Thread contract: thread-safe.
  [[nodiscard]] TESSALY_EXPORT static HashedAuthenticationCode authenticationCode(std::span<const std::uint8_t> bytes,
                                                                                  std::span<const std::uint8_t> key);

  friend bool operator==(const HashedAuthenticationCode& left, const HashedAuthenticationCode& right) noexcept {
    unsigned difference = 0;
    for (std::size_t i = 0; i < byteCount; ++i) difference |= left.bytes[i] ^ right.bytes[i];
    return difference == 0;
  }
};

}  // namespace Tessaly::inline v1
