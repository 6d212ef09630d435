// expected: will be destroyed at the end of the full-expression
// SPDX-License-Identifier: MIT
#include <string>

#include "Tessaly/Core/Text/GraphemeClusters.hpp"

std::string title();

std::size_t count() {
  std::size_t count = 0;
#ifdef ALLOWED
  const std::string text = title();
  for (const std::string_view character : Tessaly::Text::GraphemeClusters(text)) count += character.size();
#else
  for (const std::string_view character : Tessaly::Text::GraphemeClusters(title())) count += character.size();
#endif
  return count;
}
