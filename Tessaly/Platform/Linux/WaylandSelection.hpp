// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include "Tessaly/Platform/Linux/DisplayPasteboard.hpp"

namespace Tessaly::inline v1::detail {

/// Connects to the Wayland compositor that the environment names, in order to own its selection. Returns null and sets
/// the problem if `WAYLAND_DISPLAY` names no compositor, or if `WAYLAND_SOCKET` is set. Also returns null and sets the
/// problem if the compositor does not answer, or lets only programs with a window own the selection.
[[nodiscard]] std::shared_ptr<DisplaySelection> connectToWayland(PasteboardProblem& problem);

}  // namespace Tessaly::inline v1::detail
