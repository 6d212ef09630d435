// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <utility>

#include "Tessaly/Core/Base/FatalError.hpp"

namespace Tessaly::inline v1::detail {

/// Calls a host's function from where nobody could receive its exception: a throw stops the process and names it.
template <typename Function, typename... Arguments>
void callNotification(const char* name, Function& function, Arguments&&... arguments) noexcept {
  try {
    function(std::forward<Arguments>(arguments)...);
  } catch (...) {
    fatalError(std::string(name) + " has thrown", "Tessaly/Notification", __LINE__);
  }
}

}  // namespace Tessaly::inline v1::detail
