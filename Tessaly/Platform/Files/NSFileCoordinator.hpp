// SPDX-License-Identifier: MIT
// Component: Tessaly::Files
#pragma once

#include <cstdint>
#include <functional>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Foundation/URL.hpp"

namespace Tessaly::inline v1 {

/// Gives out files in a form that suits a purpose.
///
/// Thread contract: thread-safe.
///
///     NSFileCoordinator().coordinateReading(folder, NSFileCoordinator::ReadingOptions::forUploading, upload);
class NSFileCoordinator {
 public:
  enum class ReadingOptions : std::uint32_t { none = 0, forUploading = 8 };

  /// Calls the accessor, on this thread, with a URL to read from: for uploading, of a folder that of a temporary zip
  /// archive of it, which only this user may read, and which is removed afterwards unless the accessor moved it away;
  /// else the given one. In an archive the folder's own name comes first, names are in UTF-8, times are kept, and files
  /// may be larger than 4 GiB (ZIP64). Links are archived as links. Throws `POSIXError`
  /// (`EBUSY` where a file changed while it was read), and what the accessor throws.
  /// Blocks on the file system.
  TESSALY_EXPORT void coordinateReading(const URL& url, ReadingOptions options,
                                        const std::function<void(const URL&)>& accessor) const;
};

}  // namespace Tessaly::inline v1
