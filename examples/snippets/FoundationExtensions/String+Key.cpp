// SPDX-License-Identifier: MIT
#include "Tessaly/FoundationExtensions/String+Key.hpp"

namespace {

using namespace Tessaly;

bool show(std::string_view typed) {
  const bool isConfirmed = typed == String::key.enter;
  return isConfirmed;
}

}  // namespace
