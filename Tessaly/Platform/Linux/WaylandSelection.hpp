// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include "Tessaly/Platform/Linux/DisplayPasteboard.hpp"

namespace Tessaly::inline v1::detail {

/// Connects to the Wayland compositor that the environment names, in order to own its selection. Returns null and sets
/// the problem if the environment names no compositor or the compositor does not answer. Does the same if the
/// compositor lets only programs with a window own the selection.
[[nodiscard]] std::shared_ptr<DisplaySelection> connectToWayland(PasteboardProblem& problem);

}  // namespace Tessaly::inline v1::detail
