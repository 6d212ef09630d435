// SPDX-License-Identifier: MIT
#include "Tessaly/FoundationExtensions/AlphabetHelpers.hpp"

namespace {

using namespace Tessaly;

void show() {
  const std::vector<std::string> fruits{"apple", "avocado", "cherry"};
  const auto index = AlphabetHelpers::generateAlphabetItems(fruits, AlphabetHelpers::alphabet, std::identity());
  // A leads to apple, B too, C and all that follow to cherry.
}

}  // namespace
