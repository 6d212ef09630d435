// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace Tessaly::inline v1::detail {

/// Copies a file with its holes, a link as a link, or a folder with all that it holds; times and modes are kept. What
/// is none of these is `ENOTSUP`. A file is read to its end, whatever size it claims; one that changed during each of
/// three attempts is `EBUSY`. Throws `POSIXError` where the system refuses; what was made until then stays.
void copyItem(const std::string& source, const std::string& destination);

}  // namespace Tessaly::inline v1::detail
