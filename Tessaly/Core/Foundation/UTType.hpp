// SPDX-License-Identifier: MIT
// Component: Tessaly::Foundation
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <iosfwd>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Foundation/URL.hpp"

namespace Tessaly::inline v1 {

namespace detail {
struct SharedFileTypes;  // Defined in FoundationExtensions/UTType+Extensions.hpp.
}  // namespace detail

/// A type of files: "a picture", "a PNG picture", "a file with the extension cdg".
///
/// The Shared MIME-info Database of the system and of the user gives the types, their extensions and their supertypes.
/// `XDG_DATA_HOME`, `HOME` and `XDG_DATA_DIRS` locate the database. The database is read at its first use, so types
/// that are installed later are missing. Some common types exist without the database. The identifier of a declared
/// type is its uniform type identifier ("public.png"), or else its MIME type ("audio/flac"). An extension without a
/// type gets a dynamic type, whose identifier ("dyn.a...") encodes the extension.
///
/// Thread contract: thread-compatible. The static functions are thread-safe.
///
///     const std::optional<UTType> type = UTType::fromFilenameExtension("png");
///     if (type && type->conformsTo(UTType::image())) std::cout << *type << '\n';  // public.png
class UTType {
 public:
  /// The type with an identifier: a known uniform type identifier, a known MIME type, or the identifier of a dynamic
  /// type. Absent for other texts.
  [[nodiscard]] TESSALY_EXPORT static std::optional<UTType> from(std::string_view identifier);
  /// The most likely type of files with the extension, among the types that conform to `conformingTo`. If no type of
  /// the extension conforms, the result is a dynamic type with `conformingTo` as its supertype. Pass the extension
  /// without its dot. Absent if the extension is empty, or contains "/" or NUL.
  [[nodiscard]] TESSALY_EXPORT static std::optional<UTType> fromFilenameExtension(std::string_view extension,
                                                                                  const UTType& conformingTo = data());
  /// The type with this MIME type or alias. Ignores MIME parameters such as "; charset=utf-8". Absent for a malformed
  /// MIME type. An unknown MIME type becomes a type whose identifier is the MIME type in lower case.
  [[nodiscard]] TESSALY_EXPORT static std::optional<UTType> fromMIMEType(std::string_view mimeType);
  /// The type of a file by its name and contents. They are examined in the order that the Shared MIME-info Database
  /// recommends. First, the name selects the patterns with the best match. If all these patterns belong to one type,
  /// this type is the result. If they belong to several types, the contents choose among these types, or else the first
  /// of them is the result. If no pattern matches the name, the contents decide alone. At most the first 64 KiB of the
  /// contents count.
  [[nodiscard]] TESSALY_EXPORT static UTType ofContents(std::string_view fileName,
                                                        std::span<const std::uint8_t> contents);
  /// The type of a file, a directory or a device. Reads the contents of a file only if its name does not decide.
  /// Follows symbolic links. Throws `POSIXError` if `stat` fails, for example because the file does not exist. Throws
  /// `URLError` (`unsupportedURL`) if the URL is not a file URL.
  [[nodiscard]] TESSALY_EXPORT static UTType ofFile(const URL& file);

  /// The type that all types of files and directories conform to.
  [[nodiscard]] TESSALY_EXPORT static UTType item();
  /// The type of a stream of bytes.
  [[nodiscard]] TESSALY_EXPORT static UTType data();
  /// The type of text of any kind, with markup or without.
  [[nodiscard]] TESSALY_EXPORT static UTType text();
  /// The type of text without markup. Every type whose MIME type begins with "text/" also conforms to it, even HTML.
  [[nodiscard]] TESSALY_EXPORT static UTType plainText();
  [[nodiscard]] TESSALY_EXPORT static UTType image();
  [[nodiscard]] TESSALY_EXPORT static UTType audio();
  [[nodiscard]] TESSALY_EXPORT static UTType movie();
  [[nodiscard]] TESSALY_EXPORT static UTType folder();

  // Callers of the next three functions must include Tessaly/FoundationExtensions/UTType+Extensions.hpp. The first call
  // of each function makes its type and keeps it. If no known type fits the extension, the result is a dynamic type.

  /// The type of tables of comma-separated values: among the types of the extension "csv", the most likely one that
  /// conforms to `text()`.
  template <typename Definition = detail::SharedFileTypes>
  [[nodiscard]] static const UTType& csv() {
    static_assert(requires { sizeof(Definition); }, "include Tessaly/FoundationExtensions/UTType+Extensions.hpp");
    return Definition::csv();
  }
  /// Karaoke graphics: the type of the extension "cdg".
  template <typename Definition = detail::SharedFileTypes>
  [[nodiscard]] static const UTType& cdg() {
    static_assert(requires { sizeof(Definition); }, "include Tessaly/FoundationExtensions/UTType+Extensions.hpp");
    return Definition::cdg();
  }
  /// Sound: the type of the extension "ogg".
  template <typename Definition = detail::SharedFileTypes>
  [[nodiscard]] static const UTType& ogg() {
    static_assert(requires { sizeof(Definition); }, "include Tessaly/FoundationExtensions/UTType+Extensions.hpp");
    return Definition::ogg();
  }

  [[nodiscard]] const std::string& identifier() const noexcept TESSALY_LIFETIMEBOUND { return identifier_; }
  /// The preferred extension, without the dot.
  [[nodiscard]] TESSALY_EXPORT std::optional<std::string> preferredFilenameExtension() const;
  /// Every extension, the preferred one first.
  [[nodiscard]] TESSALY_EXPORT std::vector<std::string> filenameExtensions() const;
  [[nodiscard]] TESSALY_EXPORT std::optional<std::string> preferredMIMEType() const;
  /// The identifiers of the direct supertypes.
  [[nodiscard]] TESSALY_EXPORT std::vector<std::string> supertypeIdentifiers() const;
  /// Whether this type equals the other type, or is a direct or indirect subtype of it.
  [[nodiscard]] TESSALY_EXPORT bool conformsTo(const UTType& other) const;
  /// Whether the type is dynamic: no database declares it, and only its extension and its supertype are known.
  [[nodiscard]] TESSALY_EXPORT bool isDynamic() const noexcept;

  friend bool operator==(const UTType& left, const UTType& right) noexcept {
    return left.identifier_ == right.identifier_;
  }

 private:
  UTType(std::string identifier, std::string mimeType) noexcept
      : identifier_(std::move(identifier)), mimeType_(std::move(mimeType)) {}
  static UTType ofMIMEType(std::string_view mimeType);
  static UTType wellKnown(std::string_view identifier);

  std::string identifier_;
  /// Empty for a type without a MIME type.
  std::string mimeType_;
};

/// Writes the identifier.
TESSALY_EXPORT std::ostream& operator<<(std::ostream& stream, const UTType& type);

}  // namespace Tessaly::inline v1

template <>
struct std::hash<Tessaly::UTType> {
  std::size_t operator()(const Tessaly::UTType& type) const noexcept {
    return std::hash<std::string>()(type.identifier());
  }
};
