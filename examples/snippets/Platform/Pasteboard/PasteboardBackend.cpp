// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Pasteboard/PasteboardBackend.hpp"

namespace Tessaly {

void showBanner(const char* text);

void copy() {
  PasteboardBackend& pasteboard = PasteboardBackend::current();
  pasteboard.clearContents();
  pasteboard.setString("to paste", PasteboardType::string);
}

void warnWithoutADisplay() {
  if (PasteboardBackend::current().status().problem == PasteboardProblem::noDisplay) showBanner("Cannot copy.");
}

}  // namespace Tessaly
