// SPDX-License-Identifier: MIT
// Component: Tessaly::FoundationExtensions
#pragma once

#include <concepts>
#include <cstdint>
#include <string>
#include <utility>

#include "Tessaly/Core/Base/Error.hpp"
#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1::Int32 {

/// The status code of a failed system call, and a description of the attempt.
///
/// The nearest standard facility is `std::system_error`, whose codes must belong to a category.
///
/// Thread contract: thread-compatible.
///
///     try {
///       Int32::checkError(status, "Cannot read file");
///     } catch (const Int32::StatusError& error) {
///       std::cerr << error.description() << '\n';  // Status -43 | Cannot read file
///     }
struct TESSALY_EXPORT StatusError : Error {
  std::int32_t status;
  std::string message;

  StatusError(std::int32_t status, std::string message);
  ~StatusError() override;

  /// "Status <status> | <message>".
  [[nodiscard]] std::string description() const override;

  /// Whether both errors have the same status and message.
  friend bool operator==(const StatusError& left, const StatusError& right) noexcept {
    return left.status == right.status && left.message == right.message;
  }
};

namespace detail {
[[noreturn]] TESSALY_EXPORT void throwStatusError(std::int32_t status, std::string message);
}  // namespace detail

/// Throws `StatusError` with the code and the message if the code is not 0.
///
/// Thread contract: thread-safe.
template <std::same_as<std::int32_t> Code, std::convertible_to<std::string> Message>
void checkError(Code code, Message&& message) {
  if (code != 0) [[unlikely]]
    detail::throwStatusError(code, std::forward<Message>(message));
}

}  // namespace Tessaly::inline v1::Int32
