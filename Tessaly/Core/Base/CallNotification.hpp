// SPDX-License-Identifier: MIT
// Component: Tessaly::Base
#pragma once

#include <utility>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1 {

namespace detail {
[[noreturn]] TESSALY_EXPORT void stopAtThrownNotification(const char* name) noexcept;
}

/// Calls an observer, a handler or another function of the host. Use this function if no caller could catch an
/// exception of the called function. An exception stops the process with a message that contains `name`.
///
/// Thread contract: thread-safe, if the function is.
template <typename Function, typename... Arguments>
void callNotification(const char* name, Function& function, Arguments&&... arguments) noexcept {
  try {
    function(std::forward<Arguments>(arguments)...);
  } catch (...) {
    detail::stopAtThrownNotification(name);
  }
}

}  // namespace Tessaly::inline v1
