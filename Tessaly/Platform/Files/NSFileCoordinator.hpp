// SPDX-License-Identifier: MIT
// Component: Tessaly::Files
#pragma once

#include <cstdint>
#include <functional>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Foundation/URL.hpp"

namespace Tessaly::inline v1 {

/// Calls a function with the URL of a file or directory to read. With `forUploading`, the function receives a temporary
/// zip archive in place of a directory. The class takes no lock, and does not wait for other readers or writers.
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
  /// 256 KiB changed while it was read, and `ELIBACC` if this system lacks libarchive. Throws `URLError`
  /// (`unsupportedURL`) if the URL is not a file URL. Also throws the exceptions of the accessor. Blocks on the file
  /// system.
  TESSALY_EXPORT void coordinateReading(const URL& url, ReadingOptions options,
                                        const std::function<void(const URL&)>& accessor) const;
};

}  // namespace Tessaly::inline v1
