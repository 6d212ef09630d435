// SPDX-License-Identifier: MIT
// Component: Tessaly::Bookmarks
#pragma once

#include <cstdint>
#include <string>

#include "Tessaly/Core/Base/Error.hpp"
#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1 {

/// The reason why a document of a sandboxed application cannot be reached.
enum class DocumentFailure : std::uint8_t {
  /// There is no session bus, or the bus cannot start the portal of documents.
  noPortal = 1,
  /// The portal did not answer within 2 s, or the connection was closed.
  notAnswering,
  /// The portal answered with an error or with a malformed answer.
  refused,
  /// The portal answers, but this process does not see its file system. The file system of a portal that has ended
  /// stays lost until the application starts again.
  notMounted,
  /// The portal does not show the document to this application. The permission was withdrawn, or it was not for later
  /// starts of the portal.
  revoked,
};

/// A document of a sandboxed application that cannot be reached. A document is a file or directory that the user has
/// granted to the application, for example in a file chooser. The portal `org.freedesktop.portal.Documents` shows it to
/// the application. A file that is missing in its document is a `POSIXError` (`ENOENT`) instead.
///
/// Thread contract: thread-safe.
///
///     try {
///       return Bookmarks::shared().resolve(token, BookmarkResolutionOptions::withSecurityScope).url;
///     } catch (const DocumentError& error) {
///       if (error.failure() == DocumentFailure::revoked) return chooseAgain();
///       throw;
///     }
class TESSALY_EXPORT DocumentError final : public Error {
 public:
  explicit DocumentError(DocumentFailure failure) noexcept : failure_(failure) {}
  ~DocumentError() override;

  [[nodiscard]] DocumentFailure failure() const noexcept { return failure_; }
  /// The numeric value of `failure()`.
  [[nodiscard]] std::int64_t code() const noexcept override { return static_cast<std::int64_t>(failure_); }
  /// For example `Error Domain=Tessaly.DocumentError Code=1 "org.freedesktop.portal.Documents is not running"`.
  [[nodiscard]] std::string description() const override;
  /// For example "The operation couldn’t be completed. org.freedesktop.portal.Documents is not running".
  [[nodiscard]] std::string localizedDescription() const override;

  /// Whether both have the same failure.
  friend bool operator==(const DocumentError& left, const DocumentError& right) noexcept {
    return left.failure_ == right.failure_;
  }

 private:
  DocumentFailure failure_;
};

}  // namespace Tessaly::inline v1
