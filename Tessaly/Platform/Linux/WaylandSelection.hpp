// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include "Tessaly/Platform/Linux/DisplayPasteboard.hpp"

namespace Tessaly::inline v1::detail {

/// Connects to the Wayland compositor that the environment names, in order to own its selection. Returns null and sets
/// the problem if there is no compositor, or if it does not allow this to programs without a window.
[[nodiscard]] std::shared_ptr<DisplaySelection> connectToWayland(PasteboardProblem& problem);

}  // namespace Tessaly::inline v1::detail
