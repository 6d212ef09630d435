// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Testing/RecordingPasteboard.hpp"

#include <cassert>
#include <memory>

namespace Tessaly {

void copy();

void checkThatCopyingPutsItThere() {
  const auto pasteboard = std::make_shared<RecordingPasteboard>();
  const PasteboardBackendInstallation installation(pasteboard);
  copy();
  assert(pasteboard->contents.at(PasteboardType::string) == "to paste");
}

}  // namespace Tessaly
