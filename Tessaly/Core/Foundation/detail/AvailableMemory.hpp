// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1::detail {

/// Bytes that may be asked for without ending anybody, as far as the system tells: what the machine has left, and what
/// the process's control groups and its limit of address space leave it. The folder stands for "/" where files of the
/// system are read.
[[nodiscard]] TESSALY_EXPORT std::int64_t availableMemory(const std::string& rootFolder = {});

}  // namespace Tessaly::inline v1::detail
