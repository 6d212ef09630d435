// SPDX-License-Identifier: MIT
#pragma once

#include <functional>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1::detail {

/// Starts a detached thread of the library. The thread blocks all signals, has a name of at most 15 characters for
/// debuggers, and is never joined. The child of a later fork must not use the runtime (see `stopIfForkedChild`).
///
/// Stops the process if the system refuses a thread, or if `body` throws.
///
/// Thread contract: thread-safe.
TESSALY_EXPORT void startLibraryThread(const char* name, std::move_only_function<void()> body);

}  // namespace Tessaly::inline v1::detail
