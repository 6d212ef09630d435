// SPDX-License-Identifier: MIT
// Component: Tessaly::FoundationExtensions
#pragma once

#include <string>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Foundation/Digests.hpp"

namespace Tessaly::inline v1 {

/// Every byte as two lower-case hexadecimal digits: 64 characters for SHA-256, 32 for MD5.
///
/// Thread contract: thread-safe.
[[nodiscard]] TESSALY_EXPORT std::string stringEncoded(const SHA256Digest& digest);
[[nodiscard]] TESSALY_EXPORT std::string stringEncoded(const HashedAuthenticationCode& code);

namespace Insecure {
[[nodiscard]] TESSALY_EXPORT std::string stringEncoded(const MD5Digest& digest);
}  // namespace Insecure

}  // namespace Tessaly::inline v1
