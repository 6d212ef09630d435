// SPDX-License-Identifier: MIT
#pragma once

#include <pthread.h>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1::detail {

/// Makes a thread key, under which each thread stores one value of its own. The system calls `destructor` at the end of
/// each thread whose value is not null. Stops the process if the system has no more thread keys.
///
/// Thread contract: thread-safe.
[[nodiscard]] TESSALY_EXPORT pthread_key_t makeThreadKey(void (*destructor)(void*)) noexcept;

}  // namespace Tessaly::inline v1::detail
