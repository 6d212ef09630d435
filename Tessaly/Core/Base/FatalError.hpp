// SPDX-License-Identifier: MIT
// Component: Tessaly::Base
#pragma once

#include <string_view>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1 {

/// Stops the process because of a programming error.
///
/// Writes `<file>:<line>: Fatal error: <message>` and a line feed to standard error in one `write`, then runs the fatal
/// handlers (which flush the log) and aborts with `SIGABRT`. In a call by the library itself, `file` is `Tessaly/` and
/// the name of a source file (without extension) or of a class.
///
/// Thread contract: thread-safe. If several threads call `fatalError` at once, only the first call writes its message.
[[noreturn]] TESSALY_EXPORT void fatalError(std::string_view message, std::string_view file, unsigned line) noexcept;

/// Adds a handler. `fatalError` calls each handler once, between its message and the abort. The library keeps at most
/// eight handlers, including the handler that flushes its own log. Further handlers are ignored. Adding the same
/// handler again has no effect. A handler must not throw, and should end within a second.
///
/// Thread contract: thread-safe.
TESSALY_EXPORT void addFatalErrorHandler(void (*handler)() noexcept) noexcept;

}  // namespace Tessaly::inline v1
