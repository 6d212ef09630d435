// SPDX-License-Identifier: MIT
#include "Tessaly/FoundationExtensions/String+Hexadecimal.hpp"

namespace {

using namespace Tessaly;

void show() {
  const std::string digits = String::hexString("AB");  // 4142
}

}  // namespace
