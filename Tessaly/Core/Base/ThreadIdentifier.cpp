// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Base/ThreadIdentifier.hpp"

#include <unistd.h>

#include "Tessaly/Core/Base/detail/FirstUse.hpp"

namespace Tessaly::inline v1::detail {

__thread std::uint32_t cachedThreadIdentifier [[gnu::tls_model("initial-exec")]] = 0;

std::uint32_t fetchThreadIdentifier() noexcept {
  callInForkedChildren<[] { cachedThreadIdentifier = 0; }>();
  return cachedThreadIdentifier = static_cast<std::uint32_t>(::gettid());
}

}  // namespace Tessaly::inline v1::detail
