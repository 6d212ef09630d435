// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include "Tessaly/Platform/Linux/DisplayPasteboard.hpp"

namespace Tessaly::inline v1::detail {

/// Connects to the X server that the environment names, to own its clipboard. Null, and the problem set, if there is
/// none.
[[nodiscard]] std::shared_ptr<DisplaySelection> connectToX11(PasteboardProblem& problem);

}  // namespace Tessaly::inline v1::detail
