// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace Tessaly::inline v1::detail {

/// Copies a file, a symbolic link, or a directory with all its contents. Holes in a file stay holes. The copy of a link
/// is a link. Follows no link, even if another program replaces a directory by a link meanwhile. Keeps times and modes,
/// if the destination's volume can. Other kinds of items cause `ENOTSUP`. Reads each file to its end, even if the file
/// reports a smaller size. A file that changed during each of three attempts causes `EBUSY`. Throws `POSIXError` if the
/// system refuses. After an error, the incomplete copy is removed.
void copyItem(const std::string& source, const std::string& destination);

}  // namespace Tessaly::inline v1::detail
