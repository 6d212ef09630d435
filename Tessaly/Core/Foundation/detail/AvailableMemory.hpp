// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1::detail {

/// An estimate of the number of bytes that the process can still allocate: the minimum of three numbers. They are the
/// available bytes of the machine, of the process's control groups (version 2), and of the process's address space.
/// Ignores a number that is unlimited or that the system does not report. If no number is left, the result is the
/// maximum of `std::int64_t`. For tests, `rootFolder` replaces the root "/" in the paths of the system's files. Only
/// "/proc/self/statm" is always read below "/".
[[nodiscard]] TESSALY_EXPORT std::int64_t availableMemory(const std::string& rootFolder = {});

}  // namespace Tessaly::inline v1::detail
