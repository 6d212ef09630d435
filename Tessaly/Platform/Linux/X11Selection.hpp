// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include "Tessaly/Platform/Linux/DisplayPasteboard.hpp"

namespace Tessaly::inline v1::detail {

/// Connects to the X server that the environment names, in order to own its clipboard. Returns null and sets the
/// problem if the environment names no server, or if the server does not answer.
[[nodiscard]] std::shared_ptr<DisplaySelection> connectToX11(PasteboardProblem& problem);

}  // namespace Tessaly::inline v1::detail
