// SPDX-License-Identifier: MIT
#include "Tessaly/FoundationExtensions/String+Characters.hpp"

namespace {

using namespace Tessaly;

void showEmoji() {
  const bool isPlain = !String::containsEmoji("Call me at 10 ©");  // true
}

void show() {
  const std::string title = String::truncated("abcdef", 3);  // abc...
}

}  // namespace
