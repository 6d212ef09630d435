// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include "Tessaly/Platform/Linux/DisplayPasteboard.hpp"

namespace Tessaly::inline v1::detail {

/// Connects to the Wayland compositor that the environment names, in order to own its selection. Returns null and sets
/// the problem if no compositor answers, or if the compositor allows this only to programs with a window.
[[nodiscard]] std::shared_ptr<DisplaySelection> connectToWayland(PasteboardProblem& problem);

}  // namespace Tessaly::inline v1::detail
