// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1::detail {

/// The number of bytes that the process may allocate before the system ends a process, as far as the system reports it.
/// The number depends on the free memory of the machine, the control groups and the limit of address space. The
/// function reads the system's files, except "/proc/self/statm", below `rootFolder` instead of "/".
[[nodiscard]] TESSALY_EXPORT std::int64_t availableMemory(const std::string& rootFolder = {});

}  // namespace Tessaly::inline v1::detail
