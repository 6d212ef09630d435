// SPDX-License-Identifier: MIT
#pragma once

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1::detail {

/// Renames an item, unless the new name is taken. Returns 0, or -1 and sets `errno`: `EEXIST` if the name is taken.
///
/// NFS and many FUSE file systems have no such rename. On these, the function first checks whether the new name is
/// taken, and then renames the item. If another process takes the name in between, the rename replaces that process's
/// file.
TESSALY_EXPORT int renameWithoutReplacing(const char* from, const char* to) noexcept;

}  // namespace Tessaly::inline v1::detail
