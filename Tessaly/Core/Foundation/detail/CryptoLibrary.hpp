// SPDX-License-Identifier: MIT
#pragma once

#include <cerrno>

#include "Tessaly/Core/Base/detail/LateLibrary.hpp"
#include "Tessaly/Core/Foundation/POSIXError.hpp"

namespace Tessaly::inline v1::detail {

/// libcrypto of OpenSSL 3. Each source names the functions that it calls.
inline constinit const LateLibrary cryptoLibrary{"libcrypto.so.3"};

/// Throws `POSIXError` (`ELIBACC`) if this system lacks libcrypto.
inline void requireCrypto() {
  if (!cryptoLibrary.isLoaded()) throw POSIXError(ELIBACC);
}

}  // namespace Tessaly::inline v1::detail
