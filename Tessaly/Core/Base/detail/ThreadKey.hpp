// SPDX-License-Identifier: MIT
#pragma once

#include <pthread.h>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1::detail {

/// Makes a key for values of threads. The destructor is called at the end of each thread whose value is not null. Stops
/// the process if the system has no more keys.
///
/// Thread contract: thread-safe.
[[nodiscard]] TESSALY_EXPORT pthread_key_t makeThreadKey(void (*destructor)(void*)) noexcept;

}  // namespace Tessaly::inline v1::detail
