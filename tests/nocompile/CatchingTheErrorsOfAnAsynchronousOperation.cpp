// expected: the operation must not be asynchronous: it would not run
// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Tasks/Async.hpp"
#include "Tessaly/FoundationExtensions/Logger+Extensions.hpp"

Tessaly::Async<int> save();

void saveQuietly(const Tessaly::Logger& logger) {
#ifdef ALLOWED
  Tessaly::catchError(logger, "Saving failed", [] { return 1; });
#else
  Tessaly::catchError(logger, "Saving failed", [] { return save(); });
#endif
}
