// SPDX-License-Identifier: MIT
// Component: Tessaly::Foundation
#pragma once

#include <cstdint>
#include <functional>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1 {

namespace detail {
struct UbiquityContainer;  // Defined in FoundationExtensions/URL+Extensions.hpp.
}  // namespace detail

/// A uniform resource locator: an absolute one, or a relative one without a base (RFC 3986).
///
/// Every component is kept in its percent-encoded form, which holds ASCII only. Bytes that are not valid UTF-8 are
/// encoded as they are, so that every file name of Linux survives the way into a URL and back.
///
/// Thread contract: thread-compatible.
///
///     URL folder = URL::fileURLWithPath("/tmp/notes", URL::DirectoryHint::isDirectory);
///     URL file = folder.appendingPathComponent("a b.txt");
///     std::cout << file << ' ' << file.path();  // file:///tmp/notes/a%20b.txt /tmp/notes/a b.txt
///     std::optional<URL> site = URL::from("https://example.com:8080/?q=1#top");
class URL {
 public:
  /// How it is decided whether a path names a folder, whose URL ends with a slash.
  enum class DirectoryHint : std::uint8_t {
    inferFromPath,    ///< By a slash at the end.
    isDirectory,      ///< It does.
    notDirectory,     ///< It does not.
    checkFileSystem,  ///< By a look at the file system; by a slash at the end when nothing is there.
  };

  /// Parses a text.
  ///
  /// Nothing comes of the empty text, of a scheme that is not a letter followed by letters, digits, `+`, `-` and `.`,
  /// of a port that is not all digits, of a malformed bracketed host, and of a host that IDNA (UTS 46,
  /// non-transitional) refuses. The text before the first `:` is a scheme unless one of `/?#[]@` precedes it.
  ///
  /// A component with a character that must not stand in it is percent-encoded as a whole, with the valid `%XX` in it:
  /// "/tmp/a b" becomes "/tmp/a%20b" and "/tmp/a%20b c" becomes "/tmp/a%2520b%20c", while "/tmp/a%20b" stays. In the
  /// first segment of a relative path without a scheme a `:` becomes "%3A". A host with non-ASCII characters becomes
  /// its IDNA form instead.
  [[nodiscard]] TESSALY_EXPORT static std::optional<URL> from(std::string_view text);

  /// The `file` URL of a path. Every byte that means something else in a URL is encoded. A relative path is taken from
  /// the current folder; throws `POSIXError` when that folder cannot be told.
  [[nodiscard]] TESSALY_EXPORT static URL fileURLWithPath(std::string_view path,
                                                          DirectoryHint hint = DirectoryHint::inferFromPath);

  /// A directory in the application's cloud container, made if it is missing. Nothing if there is no such container.
  /// Include FoundationExtensions/URL+Extensions.hpp.
  template <typename Definition = detail::UbiquityContainer>
  [[nodiscard]] static std::optional<URL> ubiquityContainer(const std::optional<std::string>& containerIdentifier,
                                                            const std::vector<std::string>& pathComponents = {}) {
    static_assert(requires { sizeof(Definition); }, "include Tessaly/FoundationExtensions/URL+Extensions.hpp");
    return Definition::find(containerIdentifier, pathComponents);
  }

  /// The whole URL, percent-encoded.
  [[nodiscard]] const std::string& absoluteString() const noexcept { return text_; }

  /// The scheme as written; empty for a text that begins with ":".
  [[nodiscard]] TESSALY_EXPORT std::optional<std::string> scheme() const;
  /// Percent-decoded.
  [[nodiscard]] TESSALY_EXPORT std::optional<std::string> user() const;
  /// Percent-decoded.
  [[nodiscard]] TESSALY_EXPORT std::optional<std::string> password() const;
  /// Percent-decoded, without the brackets of an IP literal. Nothing when it is empty.
  [[nodiscard]] TESSALY_EXPORT std::optional<std::string> host() const;
  /// Nothing when there is none, it is empty, or it does not fit.
  [[nodiscard]] TESSALY_EXPORT std::optional<std::int64_t> port() const;
  /// Percent-decoded, without slashes at the end except for the root's. In a file URL "%2F" and "%00" stay encoded.
  [[nodiscard]] TESSALY_EXPORT std::string path() const;
  /// As it stands in the URL, percent-encoded.
  [[nodiscard]] TESSALY_EXPORT std::string_view encodedPath() const noexcept TESSALY_LIFETIMEBOUND;
  /// Percent-encoded, without the `?`.
  [[nodiscard]] TESSALY_EXPORT std::optional<std::string> query() const;
  /// Percent-encoded, without the `#`.
  [[nodiscard]] TESSALY_EXPORT std::optional<std::string> fragment() const;

  /// Whether the scheme is `file`, in any case.
  [[nodiscard]] TESSALY_EXPORT bool isFileURL() const noexcept;
  /// Whether the path ends with a slash.
  [[nodiscard]] bool hasDirectoryPath() const noexcept { return encodedPath().ends_with('/'); }

  /// The last component of `path()`: "/" for the root, empty for the empty path.
  [[nodiscard]] TESSALY_EXPORT std::string lastPathComponent() const;
  /// What follows the last dot of the last component; empty when there is none, it comes last, or only dots precede it.
  [[nodiscard]] TESSALY_EXPORT std::string pathExtension() const;

  /// The URL with a component (or several, with slashes between them) after its path, joined by one slash. The bytes
  /// are taken as a name: `%`, `?` and `#` are encoded. Query and fragment stay.
  [[nodiscard]] TESSALY_EXPORT URL appendingPathComponent(std::string_view component,
                                                          DirectoryHint hint = DirectoryHint::inferFromPath) const;

  /// The URL of the containing folder, with a slash at its end; "./" for a relative path of one component. The root
  /// stays; to a path that ends with ".", ".." or nothing "../" is appended. Query and fragment stay.
  [[nodiscard]] TESSALY_EXPORT URL deletingLastPathComponent() const;

  /// The same as `absoluteString()`.
  [[nodiscard]] const std::string& description() const noexcept { return text_; }

  /// Whether both are spelt alike.
  friend bool operator==(const URL& left, const URL& right) noexcept { return left.text_ == right.text_; }

 private:
  explicit URL(std::string text) noexcept;

  [[nodiscard]] URL withEncodedPath(std::string_view path) const;

  std::string text_;
};

/// Writes `description()`.
TESSALY_EXPORT std::ostream& operator<<(std::ostream& stream, const URL& url);

}  // namespace Tessaly::inline v1

template <>
struct std::hash<Tessaly::URL> {
  std::size_t operator()(const Tessaly::URL& url) const noexcept {
    return std::hash<std::string>()(url.absoluteString());
  }
};
