// SPDX-License-Identifier: MIT
#include "Tessaly/Concurrency/detail/ReducedReplayStorage.hpp"

#include <string>

#include "Tessaly/Core/Logging/detail/PlatformLog.hpp"

namespace Tessaly::inline v1 {

void detail::logEarlyEnd(std::string_view subscribers, const std::exception_ptr& error) noexcept {
  std::string reason = "an exception";
  try {
    std::rethrow_exception(error);
  } catch (const std::exception& caught) {
    reason = caught.what();
  } catch (...) {  // NOLINT: an exception of any other type has no text.
  }
  logPlatformError(
      "ReducedReplayAsyncStream",
      std::string(subscribers) + " ended early, because copying or moving an element has thrown: " + reason);
}

}  // namespace Tessaly::inline v1
