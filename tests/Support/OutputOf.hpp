// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string>

namespace Tessaly::Tests {

/// The standard output of a shell command.
inline std::string outputOf(const std::string& command) {
  const std::unique_ptr<FILE, int (*)(FILE*)> pipe(::popen(command.c_str(), "re"), &::pclose);
  if (pipe == nullptr) throw std::runtime_error("Cannot start " + command);
  std::string output;
  std::array<char, 4096> block;
  while (const std::size_t count = std::fread(block.data(), 1, block.size(), pipe.get())) {
    output.append(block.data(), count);
  }
  return output;
}

}  // namespace Tessaly::Tests
