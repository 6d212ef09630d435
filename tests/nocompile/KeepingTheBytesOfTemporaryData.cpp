// expected: temporary .*destroyed at the end of the full-expression
// SPDX-License-Identifier: MIT
#include <cstddef>
#include <string_view>

#include "Tessaly/Core/Foundation/Data.hpp"

Tessaly::Data contents();

std::size_t length() {
#ifdef ALLOWED
  const Tessaly::Data data = contents();
  const std::string_view text = data.text();
#else
  const std::string_view text = contents().text();
#endif
  return text.size();
}
