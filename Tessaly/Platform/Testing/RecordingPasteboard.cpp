// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Testing/RecordingPasteboard.hpp"

namespace Tessaly::inline v1 {

RecordingPasteboard::~RecordingPasteboard() = default;

RecordingPasteboard::Snapshot RecordingPasteboard::snapshot() const {
  UnfairLock::Guard guard(lock_);
  return {.contents = contents, .calls = calls};
}

void RecordingPasteboard::clearContents() {
  UnfairLock::Guard guard(lock_);
  calls.emplace_back("clear");
  contents.clear();
}

bool RecordingPasteboard::setString(std::string_view text, PasteboardType type) {
  UnfairLock::Guard guard(lock_);
  calls.emplace_back(text);
  if (accepts) contents[type] = text;
  return accepts;
}

PasteboardStatus RecordingPasteboard::status() const {
  UnfairLock::Guard guard(lock_);
  return {.isOwner = !contents.empty()};
}

}  // namespace Tessaly::inline v1
