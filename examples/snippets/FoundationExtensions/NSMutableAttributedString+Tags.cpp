// SPDX-License-Identifier: MIT
#include "Tessaly/FoundationExtensions/NSMutableAttributedString+Tags.hpp"

namespace {

using namespace Tessaly;

void show() {
  NSMutableAttributedString text("A <b>bold</b> word");
  replace(text, "b", {{"weight", 700}});  // "A bold word"
}

}  // namespace
