// expected: will be destroyed at the end of the full-expression
// SPDX-License-Identifier: MIT
#include <cstddef>
#include <string>

#include "Tessaly/Core/Text/UTF8.hpp"

std::string title();

std::size_t count() {
  std::size_t count = 0;
#ifdef ALLOWED
  const std::string text = title();
  for (const char32_t scalar : Tessaly::Text::Scalars(text)) count += scalar;
#else
  for (const char32_t scalar : Tessaly::Text::Scalars(title())) count += scalar;
#endif
  return count;
}
