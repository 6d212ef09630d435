// SPDX-License-Identifier: MIT
// Removes its own file, then prints the facts about its process, for the tests of
// ProcessInfo.
#include <cstdio>
#include <iostream>

#include "Tessaly/Core/Foundation/ProcessInfo.hpp"

int main() {
  const auto& process = Tessaly::ProcessInfo::processInfo();
  if (std::remove(process.executablePath().c_str()) != 0) return 1;
  std::cout << "path=" << process.executablePath() << "\nname=" << process.processName() << "\narguments=";
  for (const auto& argument : process.arguments()) std::cout << '[' << argument << ']';
  std::cout << '\n';
}
