// SPDX-License-Identifier: MIT
// Component: Tessaly::FoundationExtensions
#pragma once

#include <exception>
#include <string>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1 {

/// The text of an error for a log: the error's description and its message for people, with a comma and a space between
/// them.
///
/// An `Error` gives `description()` and `localizedDescription()`. For any other `std::exception` the message is
/// `what()`. A `std::system_error` of the system or generic category is described like a `POSIXError`. A
/// `std::system_error` of another category is described by its domain, code and quoted message. The description of any
/// other exception is its unqualified type name with the quoted message. The whole text then is, for example,
/// `runtime_error("No paper"), No paper`. Throws only `std::bad_alloc`.
///
/// Thread contract: thread-safe.
[[nodiscard]] TESSALY_EXPORT std::string logDescription(const std::exception& error);
/// The text for a log that describes any thrown object: a description, a comma, a space and a message. A thrown
/// `std::string` or `const char*` is described by its quoted text, and an `int` by its value. For any other type that
/// is not a `std::exception`, the description is the type's name and "()". The result for a null `std::exception_ptr`
/// is "nil".
[[nodiscard]] TESSALY_EXPORT std::string logDescription(const std::exception_ptr& error);

/// Whether the error says that the work was cancelled: a `CancellationError`, or a `URLError` whose code is
/// `cancelled`.
///
/// Thread contract: thread-safe.
[[nodiscard]] TESSALY_EXPORT bool isCancellation(const std::exception& error) noexcept;
/// Whether a thrown object of any type says that the work was cancelled. False for a null `std::exception_ptr`.
[[nodiscard]] TESSALY_EXPORT bool isCancellation(const std::exception_ptr& error) noexcept;

}  // namespace Tessaly::inline v1
