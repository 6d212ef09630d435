// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Foundation/Bundle.hpp"

#include <iostream>

namespace Tessaly {

void showBundleInformation() {
  Bundle::setMain({.identifier = "org.example.player", .shortVersion = "1.2.3", .build = "42"});
}

void showBundle() {
  const Bundle& bundle = Bundle::main();
  std::cout << bundle.bundleIdentifier().value_or("none") << '\n';
}

}  // namespace Tessaly
