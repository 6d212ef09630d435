// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Testing/RecordingPasteboard.hpp"

namespace Tessaly::inline v1 {

RecordingPasteboard::~RecordingPasteboard() = default;

void RecordingPasteboard::clearContents() {
  calls.emplace_back("clear");
  contents.clear();
}

bool RecordingPasteboard::setString(std::string_view text, PasteboardType type) {
  calls.emplace_back(text);
  if (accepts) contents[type] = text;
  return accepts;
}

PasteboardStatus RecordingPasteboard::status() const { return {.isOwner = !contents.empty()}; }

}  // namespace Tessaly::inline v1
