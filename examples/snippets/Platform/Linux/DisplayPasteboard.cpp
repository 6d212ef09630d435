// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Linux/DisplayPasteboard.hpp"

namespace Tessaly {

void snippet() {
  DisplayPasteboard pasteboard;
  pasteboard.setString("to paste", PasteboardType::string);
}

}  // namespace Tessaly
