// SPDX-License-Identifier: MIT
// Component: Tessaly::Foundation
#pragma once

#include <cstdint>
#include <string>

#include "Tessaly/Core/Base/Error.hpp"

namespace Tessaly::inline v1 {

/// The error of a failed system call. Its code is the `errno` value, and its domain is "NSPOSIXErrorDomain".
///
/// The nearest standard facility is `std::system_error`, whose text depends on the process's locale. The text of a
/// `POSIXError` does not depend on the locale.
///
/// Thread contract: thread-safe.
///
///     if (::mkdir("/proc/none", 0700) != 0) throw POSIXError::last();
class TESSALY_EXPORT POSIXError final : public Error {
 public:
  /// The error of an `errno` value. If the system does not know the value, the error has no text.
  explicit POSIXError(int code) noexcept : code_(code) {}
  ~POSIXError() override;

  /// The error of this thread's `errno`.
  [[nodiscard]] static POSIXError last() noexcept;

  /// For example `Error Domain=NSPOSIXErrorDomain Code=2 "No such file or directory"`. If the error has no text,
  /// `"(null)"` is written instead.
  [[nodiscard]] std::string description() const override;
  /// For example "The operation couldn’t be completed. No such file or directory". If the error has no text, the
  /// function returns the default of `Error::localizedDescription()`.
  [[nodiscard]] std::string localizedDescription() const override;
  /// "NSPOSIXErrorDomain".
  [[nodiscard]] std::string domain() const override;
  /// The `errno` value.
  [[nodiscard]] std::int64_t code() const noexcept override { return code_; }

  /// Whether both have the same code.
  friend bool operator==(const POSIXError& left, const POSIXError& right) noexcept { return left.code_ == right.code_; }

 private:
  int code_;
};

}  // namespace Tessaly::inline v1
