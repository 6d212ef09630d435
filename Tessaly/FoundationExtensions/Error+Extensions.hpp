// SPDX-License-Identifier: MIT
// Component: Tessaly::FoundationExtensions
#pragma once

#include <exception>
#include <string>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1 {

/// The text of an error for a log: its description, ", ", and its message for people.
///
/// An `Error` gives `description()` and `localizedDescription()`. A `std::system_error` with an `errno` reads like a
/// `POSIXError`. Any other `std::exception` gives its unqualified type name with its quoted text, and its text:
/// `runtime_error("No paper"), No paper`. Throws only `std::bad_alloc`.
///
/// Thread contract: thread-safe.
[[nodiscard]] TESSALY_EXPORT std::string logDescription(const std::exception& error);
/// The text of any thrown object for a log. The description of a thrown text or number is its value. That of any other
/// object is the name of its type. "nil" for a null pointer.
[[nodiscard]] TESSALY_EXPORT std::string logDescription(const std::exception_ptr& error);

/// Whether the error says that the work was cancelled: a `CancellationError`, or a `URLError` whose code is
/// `cancelled`.
///
/// Thread contract: thread-safe.
[[nodiscard]] TESSALY_EXPORT bool isCancellation(const std::exception& error) noexcept;
/// Whether any thrown object says that the work was cancelled. False for a null pointer.
[[nodiscard]] TESSALY_EXPORT bool isCancellation(const std::exception_ptr& error) noexcept;

}  // namespace Tessaly::inline v1
