// SPDX-License-Identifier: MIT
// Component: Tessaly::Base
#pragma once

#include <atomic>
#include <cstdint>
#include <exception>
#include <iosfwd>
#include <string>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1 {

/// The base of Tessaly's error classes, and of a host's error classes that describe themselves.
///
/// A derived class overrides `description()` to give another text for logs, and `localizedDescription()` to give
/// another message for people. By default the domain is the full name of the class, and the code is 1.
///
/// Thread contract: thread-safe once constructed, while no thread assigns to the error or changes a member of a derived
/// class.
///
///     struct UploadError : Tessaly::Error {
///       std::string description() const override { return "Upload refused"; }
///     };
class TESSALY_EXPORT Error : public std::exception {
 public:
  Error() noexcept = default;
  Error(const Error& other) noexcept;
  Error& operator=(const Error& other) noexcept;
  ~Error() override;

  /// The description for logs and debuggers: by default the unqualified class name and "()".
  [[nodiscard]] virtual std::string description() const;
  /// The message for people: by default "The operation couldn’t be completed. (<domain> error <code>.)".
  [[nodiscard]] virtual std::string localizedDescription() const;
  /// The domain of `code()`: by default the full class name, with dots between the parts of the name.
  [[nodiscard]] virtual std::string domain() const;
  /// The error's number in its domain: by default 1.
  [[nodiscard]] virtual std::int64_t code() const noexcept;

  /// The text of `description()`, built at the first call. The pointer is valid until this error is destroyed, or
  /// until another error is assigned to this error. If `description()` throws, the text is "Tessaly::Error".
  [[nodiscard]] const char* what() const noexcept final;

 private:
  mutable std::atomic<const std::string*> what_{nullptr};
};

/// Writes `description()`.
TESSALY_EXPORT std::ostream& operator<<(std::ostream& stream, const Error& error);

/// The error that a cancelled task throws when it stops early.
///
/// Thread contract: thread-safe.
///
///     try {
///       upload();
///     } catch (const Tessaly::CancellationError&) {
///       return;  // The host cancelled the task: nothing to report.
///     }
class TESSALY_EXPORT CancellationError final : public Error {
 public:
  ~CancellationError() override;
};

}  // namespace Tessaly::inline v1
