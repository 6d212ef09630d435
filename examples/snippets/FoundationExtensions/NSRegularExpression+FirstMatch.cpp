// SPDX-License-Identifier: MIT
#include "Tessaly/FoundationExtensions/NSRegularExpression+FirstMatch.hpp"

namespace {

using namespace Tessaly;

void show() {
  const auto year = firstMatch(NSRegularExpression("\\d{4}"), "Since 1965");  // 1965
}

}  // namespace
