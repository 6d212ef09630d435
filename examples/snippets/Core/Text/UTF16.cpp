// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Text/UTF16.hpp"

namespace {

using namespace Tessaly;

void show() {
  const std::u16string units = Text::toUTF16("a😀");  // Three units.
}

}  // namespace
