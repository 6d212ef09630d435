// SPDX-License-Identifier: MIT
#include "Tessaly/FoundationExtensions/String+HexColor.hpp"

namespace {

using namespace Tessaly;

void show() {
  const auto orange = String::hexColorIntegerComponents("#F80");  // 255, 136, 0, 255
}

}  // namespace
