// SPDX-License-Identifier: MIT
#include "Tessaly/FoundationExtensions/Range+Extensions.hpp"

namespace {

using namespace Tessaly;

void show() {
  const int years = width(Range(1969, 2023));  // 54
}

}  // namespace
