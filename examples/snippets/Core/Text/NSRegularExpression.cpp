// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Text/NSRegularExpression.hpp"

namespace {

using namespace Tessaly;

void show() {
  const NSRegularExpression years("\\d{4}");
  const std::vector<NSRange> found = years.matches(u"1965 to 1969");  // {0, 4} and {8, 4}
}

}  // namespace
