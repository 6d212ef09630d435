// SPDX-License-Identifier: MIT
#include <cstdint>

#include "Tessaly/FoundationExtensions/OptionSet+SingleBits.hpp"

namespace {

using namespace Tessaly;

template <typename Style>
void apply(Style style) {}

void show() {
  enum class Style : std::uint8_t { bold = 1, italic = 2, underlined = 4 };
  for (Style style : OptionSet::singleBits(Style(0b101))) apply(style);  // bold, underlined
}

}  // namespace
