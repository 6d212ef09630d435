// expected: will be destroyed at the end of the full-expression
// SPDX-License-Identifier: MIT
#include <string>

#include "Tessaly/FoundationExtensions/String+Characters.hpp"

std::string title();

std::size_t length() {
#ifdef ALLOWED
  const std::string text = title();
  const std::string_view part = Tessaly::String::lastPointRemoved(text);
#else
  const std::string_view part = Tessaly::String::lastPointRemoved(title());
#endif
  return part.size() + Tessaly::String::lastPointRemoved("literal.").size();
}
