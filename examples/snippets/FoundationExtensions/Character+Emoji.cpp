// SPDX-License-Identifier: MIT
#include "Tessaly/FoundationExtensions/Character+Emoji.hpp"

namespace {

using namespace Tessaly;

void show() {
  const bool isKeycap = Character::isEmoji("1️⃣");  // true, and false for "1"
}

}  // namespace
