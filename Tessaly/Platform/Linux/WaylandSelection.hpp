// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include "Tessaly/Platform/Linux/DisplayPasteboard.hpp"

namespace Tessaly::inline v1::detail {

/// Connects to the Wayland compositor that the environment names, to own its selection. Null, and the problem set, if
/// there is none, or if it does not let programs without a window do that.
[[nodiscard]] std::shared_ptr<DisplaySelection> connectToWayland(PasteboardProblem& problem);

}  // namespace Tessaly::inline v1::detail
