// SPDX-License-Identifier: MIT
#include "Tessaly/FoundationExtensions/String+Search.hpp"

namespace {

using namespace Tessaly;

bool show() {
  const bool matches = String::normalizedForSearch("Øyvind Straße") == "oyvind strasse";
  return matches;
}

}  // namespace
