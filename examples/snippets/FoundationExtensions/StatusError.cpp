// SPDX-License-Identifier: MIT
#include "Tessaly/FoundationExtensions/StatusError.hpp"

#include <iostream>

namespace Tessaly {

void tellFailure(std::int32_t status) {
  try {
    Int32::checkError(status, "Cannot read file");
  } catch (const Int32::StatusError& error) {
    std::cerr << error.description() << '\n';  // Status -43 | Cannot read file
  }
}

}  // namespace Tessaly
