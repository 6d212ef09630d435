// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Files/FileSystemEvent.hpp"

#include <array>
#include <string_view>

namespace Tessaly::inline v1 {

std::string FileSystemEvent::description() const {
  constexpr std::array<std::string_view, 7> names{"delete", "write", "extend", "attrib", "link", "rename", "revoke"};
  std::string text = "[";
  for (std::size_t bit = 0; bit < names.size(); ++bit) {
    if ((rawValue_ >> bit & 1) == 0) continue;
    if (text.size() > 1) text += ", ";
    text += names[bit];
  }
  return text += "]";
}

}  // namespace Tessaly::inline v1
