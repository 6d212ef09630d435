// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Files/NSFileCoordinator.hpp"

namespace Tessaly {

void showNSFileCoordinator(const URL& folder, void (*upload)(const URL&)) {
  // Blocks on the file system.
  NSFileCoordinator().coordinateReading(folder, NSFileCoordinator::ReadingOptions::forUploading, upload);
}

}  // namespace Tessaly
