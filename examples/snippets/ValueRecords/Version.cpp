// SPDX-License-Identifier: MIT
#include "Tessaly/ValueRecords/Version.hpp"

#include <iostream>

namespace {

using namespace Tessaly;

void show() {
  const std::optional<Version> version = Version::from("1.2.x");
  const bool isOld = version && *version < Version{.major = 2, .minor = 0};
  std::cout << *version;  // 1.2.0
}

}  // namespace
