// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Files/DirectoryEntry.hpp"

#include <iostream>

#include "Tessaly/Platform/Files/FileManager.hpp"

namespace Tessaly {

void showAttributes(const DirectoryEntry& entry) {
  const bool isLarge = entry.attributes.type == FileType::regular && entry.attributes.size > 1'000'000;
}

void showListing(FileManager& files, const URL& notes) {
  for (const DirectoryEntry& entry : files.contentsOfDirectory(notes)) std::cout << entry.path << '\n';
}

}  // namespace Tessaly
