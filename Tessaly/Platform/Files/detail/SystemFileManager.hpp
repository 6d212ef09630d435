// SPDX-License-Identifier: MIT
#pragma once

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Platform/Files/FileManager.hpp"

namespace Tessaly::inline v1::detail {

/// The running system's file manager. Made at the first call, never destroyed.
[[nodiscard]] TESSALY_EXPORT FileManager& systemFileManager() noexcept;

}  // namespace Tessaly::inline v1::detail
