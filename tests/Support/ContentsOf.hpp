// SPDX-License-Identifier: MIT
#pragma once

#include <fstream>
#include <iterator>
#include <string>

namespace Tessaly::Tests {

/// The contents of a file. Empty if it cannot be read.
inline std::string contentsOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace Tessaly::Tests
