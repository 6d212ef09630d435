// SPDX-License-Identifier: MIT
// Component: Tessaly::FoundationExtensions
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <utility>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Foundation/Digests.hpp"
#include "Tessaly/Core/Foundation/URL.hpp"
#include "Tessaly/Core/Tasks/Async.hpp"

namespace Tessaly::inline v1 {

/// Every byte as two lower-case hexadecimal digits: 64 characters for SHA-256 and for an authentication code, 128 for
/// SHA-512, 32 for MD5.
///
/// Thread contract: thread-safe.
[[nodiscard]] TESSALY_EXPORT std::string stringEncoded(const SHA256Digest& digest);
[[nodiscard]] TESSALY_EXPORT std::string stringEncoded(const SHA512Digest& digest);
[[nodiscard]] TESSALY_EXPORT std::string stringEncoded(const HashedAuthenticationCode& code);

namespace Insecure {
[[nodiscard]] TESSALY_EXPORT std::string stringEncoded(const MD5Digest& digest);
}  // namespace Insecure

namespace detail {
/// Reads a file to its end on threads that may block, and calls `onPiece` there with each block of at most 256 KiB.
/// Calls `onProgress` in the caller's isolation.
TESSALY_EXPORT Async<void> readInPieces(URL file, std::function<void(std::span<const std::uint8_t>)> onPiece,
                                        std::function<void(double)> onProgress);
}  // namespace detail

/// The digest of a file: a `SHA256Digest`, a `SHA512Digest` or an `Insecure::MD5Digest`. Reads the file to its end in
/// blocks of at most 256 KiB, on threads that may block.
///
/// `onProgress` is called in the caller's isolation with the fraction that is done, after each 1 % of the file or each
/// block, whichever is more. The last call passes 1. In a task of an `OwnedTasks` it may use the members of the owner,
/// because it is never called after the owner's end. Reading waits for the call. Throws `POSIXError` if the file cannot
/// be read or this system lacks libcrypto (`ELIBACC`), and `URLError` if the URL is not a file URL. Throws
/// `CancellationError` at most one block after the task was cancelled.
///
/// Thread contract: thread-safe.
///
///     const auto digest = co_await digestOfFile<SHA256Digest>(file, [&](double part) { progress = part; });
template <detail::KeylessDigest Digest>
Async<Digest> digestOfFile(URL file, std::function<void(double)> onProgress = nullptr) {
  DigestHasher<Digest> hasher;
  std::function<void(std::span<const std::uint8_t>)> update = [&hasher](std::span<const std::uint8_t> bytes) {
    hasher.update(bytes);
  };
  co_await detail::readInPieces(std::move(file), std::move(update), std::move(onProgress));
  co_return hasher.finalize();
}

}  // namespace Tessaly::inline v1
