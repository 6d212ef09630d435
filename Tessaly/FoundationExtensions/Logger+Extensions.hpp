// SPDX-License-Identifier: MIT
// Component: Tessaly::FoundationExtensions
#pragma once

#include <cxxabi.h>

#include <concepts>
#include <exception>
#include <functional>
#include <string_view>
#include <type_traits>
#include <utility>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Base/IsAsync.hpp"
#include "Tessaly/Core/Logging/Logger.hpp"  // IWYU pragma: export

namespace Tessaly::inline v1 {

/// The definition of `Logger::make`.
struct detail::MainBundleLogger {
  [[nodiscard]] TESSALY_EXPORT static Logger make(std::string_view subsystem, std::string_view category);
  [[nodiscard]] TESSALY_EXPORT static Logger makeForType(std::string_view subsystem, std::string_view typeName);
};

// All functions of this header are thread-safe. Each function from `errorPublic` to `errorWithAssert` writes one record
// and never throws. If the type of the record is disabled, the function does nothing and makes no text. The last
// parameters are the source location of the call, and callers should omit them. A message shows a null file or function
// as "(null)".

/// Writes the message as a record of type error. The message is public: it is never written as `<private>`.
///
///     const auto logger = Logger::make("Export", Type<Exporter>());
///     errorPublic(logger, "The table is empty");
TESSALY_EXPORT void errorPublic(const Logger& logger, std::string_view message,
                                LogLocation location = LogLocation::here()) noexcept;

/// Writes the message as a record of type error, because the log has no type for warnings. The message is public: it is
/// never written as `<private>`.
TESSALY_EXPORT void warningPublic(const Logger& logger, std::string_view message,
                                  LogLocation location = LogLocation::here()) noexcept;

/// Writes the message as a record of type default. The message is public: it is never written as `<private>`.
TESSALY_EXPORT void noticePublic(const Logger& logger, std::string_view message,
                                 LogLocation location = LogLocation::here()) noexcept;

/// Writes "<message> | File: <file>, line: <line>" as a record of type error. This text is public: it is never written
/// as `<private>`. Does not stop the process in any build.
TESSALY_EXPORT void errorWithAssert(const Logger& logger, std::string_view message, const char* file = __builtin_FILE(),
                                    unsigned line = __builtin_LINE(),
                                    const char* function = __builtin_FUNCTION()) noexcept;

namespace detail {
TESSALY_EXPORT void writeCaughtError(const Logger& logger, std::string_view message, const std::exception_ptr& error,
                                     LogLocation location) noexcept;
}  // namespace detail

/// Runs the operation. If the operation throws, the function does not rethrow. Instead it writes a record of type
/// error, unless that type is disabled. The record is "<message> <error> | Function: <function> | File: <file>". All
/// its parts are public except <error>, which is the error's `logDescription`. A message that does not end with
/// punctuation gets a full stop.
///
/// Only the unwinding by `pthread_exit` or `pthread_cancel` reaches the caller.
///
///     catchError(logger, "Saving failed", [&] { document.save(); });
template <std::invocable Operation>
void catchError(const Logger& logger, std::string_view message, Operation&& operation,
                const char* file = __builtin_FILE(), const char* function = __builtin_FUNCTION(),
                unsigned line = __builtin_LINE()) {
  static_assert(!isAsync<std::remove_cvref_t<std::invoke_result_t<Operation>>>,
                "the operation must not be asynchronous: it would not run");
  try {
    static_cast<void>(std::invoke(std::forward<Operation>(operation)));
  } catch (const abi::__forced_unwind&) {
    throw;
  } catch (...) {
    if (logger.log().isEnabled(OSLogType::error)) {
      detail::writeCaughtError(logger, message, std::current_exception(), {file, function, line});
    }
  }
}

/// `catchError` with an explicit source location. The operation comes after the file and the function.
template <std::invocable Operation>
void catchError(const Logger& logger, std::string_view message, const char* file, const char* function,
                Operation&& operation, unsigned line = __builtin_LINE()) {
  catchError(logger, message, std::forward<Operation>(operation), file, function, line);
}

}  // namespace Tessaly::inline v1
