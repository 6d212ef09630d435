// SPDX-License-Identifier: MIT
#pragma once

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1::detail {

/// Renames an item, unless the new name is taken. Returns 0, or -1 and sets `errno`: `EEXIST` if the name is taken.
///
/// NFS and many FUSE volumes cannot refuse a taken name. There, the name is looked up before. If another process takes
/// the name in between, its file is replaced.
TESSALY_EXPORT int renameWithoutReplacing(const char* from, const char* to) noexcept;

}  // namespace Tessaly::inline v1::detail
