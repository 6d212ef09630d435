// SPDX-License-Identifier: MIT
#include "Tessaly/FoundationExtensions/Int+Multiples.hpp"

namespace {

using namespace Tessaly;

void show() {
  const std::int64_t width = Int::nearestMultiple(6, 4);  // 8
}

}  // namespace
