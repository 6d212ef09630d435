// SPDX-License-Identifier: MIT
#include "Tessaly/FoundationExtensions/UInt32+FourCharacterCode.hpp"

namespace {

using namespace Tessaly;

void show() {
  const std::string code = UInt32::characters(std::uint32_t{1094861636});  // ABCD
}

}  // namespace
