// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1::detail {

/// Requests huge pages for memory that is about to be written completely. With small pages, page faults take half of
/// the time of writing new memory. Has an effect only for blocks of 32 MiB and more. The C library maps each such block
/// separately, so no other block is affected.
TESSALY_EXPORT void adviseHugePages(void* memory, std::size_t size) noexcept;

}  // namespace Tessaly::inline v1::detail
