// SPDX-License-Identifier: MIT
// Component: Tessaly::Foundation
#pragma once

#include <cstddef>
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

/// A uniform resource locator (RFC 3986), absolute or relative. A relative URL does not store a base URL.
///
/// Every component is stored percent-encoded, in ASCII only. Ill-formed UTF-8 is encoded byte by byte, so every file
/// name of Linux can be converted to a URL and back.
///
/// Thread contract: thread-compatible.
///
///     URL folder = URL::fileURLWithPath("/tmp/notes", URL::DirectoryHint::isDirectory);
///     URL file = folder.appendingPathComponent("a b.txt");
///     std::cout << file << ' ' << file.path();  // file:///tmp/notes/a%20b.txt /tmp/notes/a b.txt
///     std::optional<URL> site = URL::from("https://example.com:8080/?q=1#top");
class URL {
 public:
  /// The way to decide whether a path names a directory. The path of a directory's URL ends with a slash.
  enum class DirectoryHint : std::uint8_t {
    inferFromPath,    ///< A slash at the end decides.
    isDirectory,      ///< The path names a directory.
    notDirectory,     ///< The path does not name a directory.
    checkFileSystem,  ///< The file system decides. For a missing file, a slash at the end decides.
  };

  /// Parses a text. Absent if the text is not a URL.
  ///
  /// These texts are not URLs: the empty text, a text with a malformed scheme, and a text whose port has a character
  /// other than a digit. The same holds for a text whose host has misplaced brackets, or a malformed address in
  /// brackets. A text with a non-ASCII host that IDNA (UTS 46, non-transitional) refuses is not a URL either. A
  /// well-formed scheme is empty, or is a letter followed by letters, digits, `+`, `-` or `.`. The text before the
  /// first `:` is a scheme unless one of `/?#[]@` precedes the `:`.
  ///
  /// If a component has an invalid character, the whole component is percent-encoded, including each valid `%XX`.
  /// "/tmp/a b" becomes "/tmp/a%20b", and "/tmp/a%20b c" becomes "/tmp/a%2520b%20c", but "/tmp/a%20b" stays. In the
  /// first segment of a relative path without a scheme, `:` becomes "%3A". A host with non-ASCII characters is replaced
  /// by its IDNA form. Throws `POSIXError` (`ELIBACC`) for such a host if this system lacks libidn2.
  [[nodiscard]] TESSALY_EXPORT static std::optional<URL> from(std::string_view text);

  /// The `file` URL of a path. Every byte that the path of a URL must not contain is encoded, and so is `%`. A relative
  /// path is appended to the path of the current directory. Throws `POSIXError` if the system does not give the current
  /// directory.
  [[nodiscard]] TESSALY_EXPORT static URL fileURLWithPath(std::string_view path,
                                                          DirectoryHint hint = DirectoryHint::inferFromPath);

  /// A directory in the cloud container with this identifier. Without an identifier, the container is the application's
  /// own one. Makes the directory if it is missing. Absent if there is no container, or if the directory cannot be
  /// made. Linux has no such containers, so the result is absent unless the host's `FileManager` has one. Callers must
  /// include Tessaly/FoundationExtensions/URL+Extensions.hpp.
  template <typename Definition = detail::UbiquityContainer>
  [[nodiscard]] static std::optional<URL> ubiquityContainer(const std::optional<std::string>& containerIdentifier,
                                                            const std::vector<std::string>& pathComponents = {}) {
    static_assert(requires { sizeof(Definition); }, "include Tessaly/FoundationExtensions/URL+Extensions.hpp");
    return Definition::find(containerIdentifier, pathComponents);
  }

  /// The whole URL, percent-encoded.
  [[nodiscard]] const std::string& absoluteString() const noexcept TESSALY_LIFETIMEBOUND { return text_; }

  /// The scheme in its original case. An empty text if the URL begins with ":". Absent if the URL has no scheme.
  [[nodiscard]] TESSALY_EXPORT std::optional<std::string> scheme() const;
  /// The user, percent-decoded.
  [[nodiscard]] TESSALY_EXPORT std::optional<std::string> user() const;
  /// The password, percent-decoded.
  [[nodiscard]] TESSALY_EXPORT std::optional<std::string> password() const;
  /// The host, percent-decoded, without the brackets of an IP literal. Absent if the host is empty.
  [[nodiscard]] TESSALY_EXPORT std::optional<std::string> host() const;
  /// The port. Absent if the URL has no port, if the port is empty, or if the port does not fit in `std::int64_t`.
  [[nodiscard]] TESSALY_EXPORT std::optional<std::int64_t> port() const;
  /// The path, percent-decoded, without slashes at the end. The path of the root is "/". In a file URL, "%2F" and
  /// "%00" stay encoded.
  [[nodiscard]] TESSALY_EXPORT std::string path() const;
  /// The path in its percent-encoded form.
  [[nodiscard]] TESSALY_EXPORT std::string_view encodedPath() const noexcept TESSALY_LIFETIMEBOUND;
  /// The query, percent-encoded, without the `?`.
  [[nodiscard]] TESSALY_EXPORT std::optional<std::string> query() const;
  /// The fragment, percent-encoded, without the `#`.
  [[nodiscard]] TESSALY_EXPORT std::optional<std::string> fragment() const;

  /// Whether the scheme is `file`, in upper or lower case.
  [[nodiscard]] TESSALY_EXPORT bool isFileURL() const noexcept;
  /// Whether the path ends with a slash.
  [[nodiscard]] bool hasDirectoryPath() const noexcept { return encodedPath().ends_with('/'); }

  /// The last component of `encodedPath()`, percent-decoded like `path()`: "/" for the root, empty for the empty path.
  [[nodiscard]] TESSALY_EXPORT std::string lastPathComponent() const;
  /// The text after the last dot of the last component. Empty if the component has no dot or ends with a dot. Also
  /// empty if nothing but dots stands before the last dot (".profile").
  [[nodiscard]] TESSALY_EXPORT std::string pathExtension() const;

  /// Returns a URL whose path has one more component at its end, or several components separated by slashes. One slash
  /// separates the path from the component. If the path is empty and the URL has no authority, no slash is inserted.
  /// Pass an unencoded component, because `%`, `?` and `#` are encoded. Query and fragment stay.
  [[nodiscard]] TESSALY_EXPORT URL appendingPathComponent(std::string_view component,
                                                          DirectoryHint hint = DirectoryHint::inferFromPath) const;

  /// The URL of the parent directory, with a slash at the end of its path. A relative path of one component becomes
  /// "./". The root stays, and so does an empty path after an authority. Any other empty path becomes "../". A path
  /// whose last component is "." or ".." gets "../" at its end. Query and fragment stay.
  [[nodiscard]] TESSALY_EXPORT URL deletingLastPathComponent() const;

  /// The same as `absoluteString()`.
  [[nodiscard]] const std::string& description() const noexcept TESSALY_LIFETIMEBOUND { return text_; }

  /// Whether both have the same text.
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
