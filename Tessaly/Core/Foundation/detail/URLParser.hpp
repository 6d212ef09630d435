// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace Tessaly::inline v1::detail {

/// The components of a URL's text, as views of the text. Splitting examines only the delimiters, so it never fails.
struct URLComponents {
  std::optional<std::string_view> scheme;
  bool hasAuthority = false;
  std::optional<std::string_view> user;
  std::optional<std::string_view> password;
  std::string_view host;
  std::optional<std::string_view> port;
  std::string_view path;
  std::optional<std::string_view> query;
  std::optional<std::string_view> fragment;

  [[nodiscard]] static URLComponents split(std::string_view text) noexcept;
};

/// The text with its components checked and percent-encoded if necessary. A host with non-ASCII characters becomes its
/// IDNA form instead. Absent if the text is not a URL. The empty text is not a URL, but here it stays empty. Encoding
/// the result again changes nothing.
[[nodiscard]] std::optional<std::string> encodedURL(std::string_view text);

/// Whether to encode the colons in a path's first segment. In a URL without a scheme, such a colon would be parsed as
/// the end of a scheme.
enum class FirstSegment { keepColons, encodeColons };

/// A file's path, percent-encoded for the path of a URL. '%' is encoded too.
[[nodiscard]] std::string percentEncodedPath(std::string_view path, FirstSegment firstSegment);

/// The bytes to decode. In the style `fileName`, "%2F" and "%00" stay encoded.
enum class DecodingStyle { everything, fileName };

[[nodiscard]] std::string percentDecoded(std::string_view text, DecodingStyle style);

}  // namespace Tessaly::inline v1::detail
