// SPDX-License-Identifier: MIT
#pragma once

#include <functional>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1::detail {

/// Starts a detached thread of the library's own: all signals blocked, named for debuggers (by at most 15 characters),
/// never joined. From then on a fork's child must not use the runtime (see `stopIfForkedChild`).
///
/// Stops the process when the system refuses a thread. A throw out of `body` stops the process.
///
/// Thread contract: thread-safe.
TESSALY_EXPORT void startLibraryThread(const char* name, std::move_only_function<void()> body);

}  // namespace Tessaly::inline v1::detail
