// SPDX-License-Identifier: MIT
// Component: Tessaly::Files
#pragma once

#include <cstdint>
#include <functional>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Foundation/URL.hpp"

namespace Tessaly::inline v1 {

/// Gives access to a file in a form that suits a purpose, such as uploading.
///
/// Thread contract: thread-safe.
///
///     NSFileCoordinator().coordinateReading(folder, NSFileCoordinator::ReadingOptions::forUploading, upload);
class NSFileCoordinator {
 public:
  enum class ReadingOptions : std::uint32_t { none = 0, forUploading = 8 };

  /// Calls the accessor, on this thread, with a URL to read from. For uploading a directory, the accessor receives the
  /// URL of a temporary zip archive of the directory. In every other case, the accessor receives the given URL. Other
  /// users have no permission to read the archive. The archive is removed when the accessor has returned or thrown,
  /// unless the accessor moved the archive. In an archive, every path begins with the directory's name. Names that are
  /// well-formed UTF-8 are stored as UTF-8. Times are kept, and files may be larger than 4 GiB (ZIP64). Symbolic links
  /// inside the directory are archived as links. Throws `POSIXError`, for example `EBUSY` if the size of a file above
  /// 256 KiB changed while it was read. Also throws the exceptions of the accessor. Blocks on the file system.
  TESSALY_EXPORT void coordinateReading(const URL& url, ReadingOptions options,
                                        const std::function<void(const URL&)>& accessor) const;
};

}  // namespace Tessaly::inline v1
