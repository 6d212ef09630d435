// SPDX-License-Identifier: MIT
// Component: Tessaly::Foundation
#pragma once

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Foundation/Data.hpp"
#include "Tessaly/Core/Foundation/URL.hpp"

namespace Tessaly::inline v1 {

/// Replaces a file by the bytes as a whole, or creates the file. Writes a new file beside the old one, flushes it to
/// the disk, and renames it. So a reader finds the old or the new contents, also after a power failure. `Data::write`
/// differs: it writes in place, and needs no permission to change the directory.
///
/// A new file gets the mode 0666 without the bits of the process's `umask`. An old file passes on its mode, but not its
/// owner, its extended attributes and its other hard links. Symbolic links are followed, and stay. If the path leads to
/// a device or a pipe, the bytes are written to it.
///
/// Throws `POSIXError` if the file or its directory cannot be written, and `URLError` (`unsupportedURL`) if the URL is
/// not a file URL. After a throw, the old file is unchanged, and no new one remains. If the process ends during the
/// call, a file with a name such as ".8F0C….part" may remain.
///
/// Thread contract: thread-safe. Blocks on the file system, and waits until the disk has the contents.
///
///     const Data settings("volume=7");
///     writeAtomically(settings, file);
TESSALY_EXPORT void writeAtomically(const Data& data, const URL& file);

}  // namespace Tessaly::inline v1
