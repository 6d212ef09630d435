// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

#include "Tessaly/Platform/Files/DirectoryEntry.hpp"

namespace TessalyTool {

/// "file", "directory", "link" or "other".
inline std::string_view typeName(Tessaly::FileType type) {
  switch (type) {
    case Tessaly::FileType::regular:
      return "file";
    case Tessaly::FileType::directory:
      return "directory";
    case Tessaly::FileType::symbolicLink:
      return "link";
    case Tessaly::FileType::other:
      return "other";
  }
  return "other";
}

}  // namespace TessalyTool
