// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Text/UTF16.hpp"

namespace {

using namespace Tessaly;

void show() {
  const std::u16string units = Text::toUTF16("a😀");  // Three units.
}

}  // namespace
