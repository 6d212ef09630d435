// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Foundation/URLError.hpp"

#include <iostream>

namespace Tessaly {

void showURLError() {
  try {
    throw URLError(URLError::Code::timedOut);
  } catch (const URLError& error) {
    if (error.urlCode() != URLError::Code::cancelled) std::cerr << error.localizedDescription() << '\n';
  }
}

}  // namespace Tessaly
