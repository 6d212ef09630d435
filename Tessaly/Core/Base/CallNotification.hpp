// SPDX-License-Identifier: MIT
// Component: Tessaly::Base
#pragma once

#include <string>
#include <utility>

#include "Tessaly/Core/Base/FatalError.hpp"

namespace Tessaly::inline v1 {

/// Calls an observer, a handler or another function of the host. Use this function if no caller could catch an
/// exception of the called function. An exception stops the process with a message that contains `name`.
///
/// Thread contract: thread-safe, if the function is.
template <typename Function, typename... Arguments>
void callNotification(const char* name, Function& function, Arguments&&... arguments) noexcept {
  try {
    function(std::forward<Arguments>(arguments)...);
  } catch (...) {
    fatalError(std::string(name) + " has thrown", "Tessaly/Notification", __LINE__);
  }
}

}  // namespace Tessaly::inline v1
