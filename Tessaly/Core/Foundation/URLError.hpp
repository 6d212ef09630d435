// SPDX-License-Identifier: MIT
// Component: Tessaly::Foundation
#pragma once

#include <cstdint>
#include <string>

#include "Tessaly/Core/Base/Error.hpp"

namespace Tessaly::inline v1 {

/// A failure to load a URL: a code in the domain "NSURLErrorDomain".
///
/// Thread contract: thread-safe.
///
///     try {
///       throw URLError(URLError::Code::timedOut);
///     } catch (const URLError& error) {
///       if (error.urlCode() != URLError::Code::cancelled) std::cerr << error.localizedDescription() << '\n';
///     }
class TESSALY_EXPORT URLError final : public Error {
 public:
  /// The reasons for failures. Their numbers never change.
  enum class Code : std::int32_t {
    unknown = -1,
    cancelled = -999,
    badURL = -1000,
    timedOut = -1001,
    unsupportedURL = -1002,
    cannotFindHost = -1003,
    cannotConnectToHost = -1004,
    networkConnectionLost = -1005,
    dnsLookupFailed = -1006,
    httpTooManyRedirects = -1007,
    resourceUnavailable = -1008,
    notConnectedToInternet = -1009,
    redirectToNonExistentLocation = -1010,
    badServerResponse = -1011,
    userCancelledAuthentication = -1012,
    userAuthenticationRequired = -1013,
    zeroByteResource = -1014,
    cannotDecodeRawData = -1015,
    cannotDecodeContentData = -1016,
    cannotParseResponse = -1017,
    fileDoesNotExist = -1100,
    fileIsDirectory = -1101,
    noPermissionsToReadFile = -1102,
    dataLengthExceedsMaximum = -1103,
    secureConnectionFailed = -1200,
    cannotCreateFile = -3000,
    cannotOpenFile = -3001,
    cannotWriteToFile = -3003,
  };

  explicit URLError(Code code) noexcept : code_(code) {}
  ~URLError() override;

  /// The kind of failure.
  [[nodiscard]] Code urlCode() const noexcept { return code_; }
  /// The numeric value of `urlCode()`.
  [[nodiscard]] std::int64_t code() const noexcept override { return static_cast<std::int64_t>(code_); }
  /// "NSURLErrorDomain".
  [[nodiscard]] std::string domain() const override;
  /// The description for logs, for example `Error Domain=NSURLErrorDomain Code=-999 "(null)"`.
  [[nodiscard]] std::string description() const override;

  /// Whether both have the same code.
  friend bool operator==(const URLError& left, const URLError& right) noexcept { return left.code_ == right.code_; }

 private:
  Code code_;
};

}  // namespace Tessaly::inline v1
