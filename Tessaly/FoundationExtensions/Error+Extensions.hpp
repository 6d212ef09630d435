// SPDX-License-Identifier: MIT
// Component: Tessaly::FoundationExtensions
#pragma once

#include <exception>
#include <string>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1 {

/// The text of an error for a log: what it is as a value, ", ", and its message for people.
///
/// An `Error` gives `description()` and `localizedDescription()`. A `std::system_error` with an `errno` reads like a
/// `POSIXError`; any other `std::exception` is its bare type name with its text quoted, and its text:
/// `runtime_error("No paper"), No paper`. Never throws, except for want of memory.
///
/// Thread contract: thread-safe.
[[nodiscard]] TESSALY_EXPORT std::string logDescription(const std::exception& error);
/// The same for whatever was thrown, also if that is no exception type: a thrown text or number is described by itself,
/// anything else by its type. "nil" when nothing was thrown.
[[nodiscard]] TESSALY_EXPORT std::string logDescription(const std::exception_ptr& error);

/// Whether the error only says that the work was given up on request: a `CancellationError`, or a `URLError` whose code
/// is `cancelled`.
///
/// Thread contract: thread-safe.
[[nodiscard]] TESSALY_EXPORT bool isCancellation(const std::exception& error) noexcept;
/// The same for whatever was thrown. False when nothing was.
[[nodiscard]] TESSALY_EXPORT bool isCancellation(const std::exception_ptr& error) noexcept;

}  // namespace Tessaly::inline v1
