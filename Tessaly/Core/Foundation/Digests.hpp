// SPDX-License-Identifier: MIT
// Component: Tessaly::Foundation
#pragma once

#include <array>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <memory>
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
  /// The digest of bytes. Throws `POSIXError` (`ELIBACC`) if this system lacks libcrypto.
  ///
  /// Thread contract: thread-safe.
  [[nodiscard]] TESSALY_EXPORT static SHA256Digest hash(std::span<const std::uint8_t> bytes);
};

/// A SHA-512 digest (FIPS 180-4).
struct SHA512Digest : DigestBytes<64> {
  /// The digest of bytes. Throws `POSIXError` (`ELIBACC`) if this system lacks libcrypto.
  ///
  /// Thread contract: thread-safe.
  [[nodiscard]] TESSALY_EXPORT static SHA512Digest hash(std::span<const std::uint8_t> bytes);
};

namespace Insecure {

/// An MD5 digest (RFC 1321). Use MD5 only for old formats, because MD5 is not secure.
struct MD5Digest : DigestBytes<16> {
  /// The digest of bytes. Throws `POSIXError` (`ELIBACC`) if this system lacks libcrypto.
  ///
  /// Thread contract: thread-safe.
  [[nodiscard]] TESSALY_EXPORT static MD5Digest hash(std::span<const std::uint8_t> bytes);
};

}  // namespace Insecure

namespace detail {

enum class DigestMethod : std::uint8_t { sha256, sha512, md5 };

/// The digests that need no key. An authentication code has as many bytes as a digest, but is not one.
template <typename Digest>
concept KeylessDigest = std::same_as<Digest, SHA256Digest> || std::same_as<Digest, SHA512Digest> ||
                        std::same_as<Digest, Insecure::MD5Digest>;

template <KeylessDigest Digest>
inline constexpr DigestMethod digestMethod = DigestMethod::sha256;
template <>
inline constexpr DigestMethod digestMethod<SHA512Digest> = DigestMethod::sha512;
template <>
inline constexpr DigestMethod digestMethod<Insecure::MD5Digest> = DigestMethod::md5;

/// The state of a digest computation, to which more bytes can be added.
class TESSALY_EXPORT DigestState {
 public:
  explicit DigestState(DigestMethod method);
  void update(std::span<const std::uint8_t> bytes);
  /// Writes the digest to `out`, and starts a new digest. `out` must have room for all bytes of the digest.
  void finalize(std::uint8_t* out);

 private:
  struct Free {
    TESSALY_EXPORT void operator()(void* context) const noexcept;
  };
  DigestMethod method_;
  std::unique_ptr<void, Free> context_;
};

}  // namespace detail

/// Computes a `SHA256Digest`, `SHA512Digest` or `Insecure::MD5Digest` of bytes that arrive in pieces. The computation
/// needs at most 1 KiB of memory, whatever the number of bytes. All functions throw `std::bad_alloc` only. Use
/// `digestOfFile` for a file.
///
/// Thread contract: thread-compatible.
///
///     DigestHasher<SHA256Digest> hasher;
///     while (auto piece = connection.read()) hasher.update(*piece);
///     SHA256Digest digest = hasher.finalize();
template <detail::KeylessDigest Digest>
class DigestHasher {
 public:
  void update(std::span<const std::uint8_t> bytes) { state_.update(bytes); }
  /// Returns the digest of all bytes that were added since the construction or the previous `finalize()`. Then starts a
  /// new digest.
  [[nodiscard]] Digest finalize() {
    Digest digest;
    state_.finalize(digest.bytes.data());
    return digest;
  }

 private:
  detail::DigestState state_{detail::digestMethod<Digest>};
};

/// A message authentication code: HMAC with SHA-256 (RFC 2104). The time of a comparison does not depend on the
/// position of the first difference.
struct HashedAuthenticationCode : DigestBytes<32> {
  /// The authentication code of bytes under a key. Throws `POSIXError` (`ELIBACC`) if this system lacks libcrypto.
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
