// expected: will be destroyed at the end of the full-expression
// SPDX-License-Identifier: MIT
#include <string>

#include "Tessaly/Core/Foundation/URL.hpp"

Tessaly::URL address();

std::size_t length() {
#ifdef ALLOWED
  const std::string text = address().absoluteString();
#else
  const std::string& text = address().absoluteString();
#endif
  return text.size();
}
