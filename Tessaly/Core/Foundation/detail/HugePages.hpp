// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1::detail {

/// Asks for memory that is about to be written from end to end to come in few large pages: of fresh memory, half of the
/// time goes into the faults of small ones. Heeded only for blocks of 32 MiB and more, which the C library maps one by
/// one, so that nobody else's memory is meant.
TESSALY_EXPORT void adviseHugePages(void* memory, std::size_t size) noexcept;

}  // namespace Tessaly::inline v1::detail
