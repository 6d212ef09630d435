// SPDX-License-Identifier: MIT
#include "Tessaly/FoundationExtensions/AccessModifier.hpp"

#include <iostream>

namespace {

using namespace Tessaly;

void show() {
  const std::optional<AccessModifier> modifier = AccessModifier::from("private");
  if (modifier == AccessModifier::private_) std::cout << modifier->rawValue();  // private
}

}  // namespace
