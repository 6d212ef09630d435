// SPDX-License-Identifier: MIT
// Prints the main bundle's facts about this program, for the tests of Bundle.
#include <iostream>

#include "Tessaly/Core/Foundation/Bundle.hpp"

int main() {
  const auto& bundle = Tessaly::Bundle::main();
  std::cout << "identifier=" << bundle.bundleIdentifier().value_or("-") << '\n'
            << "version=" << bundle.shortVersionString().value_or("-") << '\n'
            << "build=" << bundle.buildVersion().value_or("-") << '\n'
            << "localizations=";
  for (const auto& localization : bundle.localizations()) std::cout << localization << ';';
  std::cout << "\nname=" << bundle.infoValue("CFBundleName").value_or("-") << '\n'
            << "empty=" << bundle.infoValue("Empty").value_or("-") << '\n'
            << "executable=" << bundle.executableURL().lastPathComponent() << '\n';
}
