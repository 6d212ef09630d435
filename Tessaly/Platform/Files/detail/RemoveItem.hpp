// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace Tessaly::inline v1::detail {

/// Removes a file, a symbolic link, or a directory with all its contents. Follows no link, even if another program
/// replaces a directory by a link meanwhile. Throws `POSIXError`. The contents that were removed before are gone then.
void removeItem(const std::string& path);

}  // namespace Tessaly::inline v1::detail
