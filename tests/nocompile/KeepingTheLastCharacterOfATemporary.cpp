// expected: will be destroyed at the end of the full-expression
// SPDX-License-Identifier: MIT
#include <string>

#include "Tessaly/Core/Text/GraphemeClusters.hpp"

std::string title();

std::size_t length() {
#ifdef ALLOWED
  const std::string text = title();
  const std::string_view last = Tessaly::Text::lastGraphemeCluster(text);
#else
  const std::string_view last = Tessaly::Text::lastGraphemeCluster(title());
#endif
  return last.size() + Tessaly::Text::lastGraphemeCluster(title()).size();
}
