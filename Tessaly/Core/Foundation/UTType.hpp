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

/// A type of files: "a picture", "a PNG picture", "whatever ends in .cdg".
///
/// What types there are, which extensions they have and what they are special cases of says the Shared MIME-info
/// Database of the system and of the user, found by `XDG_DATA_HOME`, `HOME` and `XDG_DATA_DIRS` and read at the first
/// question that needs it; what is installed later is not seen. Some common types are known without it. A declared
/// type's identifier is its uniform type identifier ("public.png") or else its MIME type ("audio/flac"); an extension
/// that no type has gets a dynamic type, whose identifier ("dyn.a...") says the extension.
///
/// Thread contract: thread-compatible. The static functions are thread-safe.
///
///     const std::optional<UTType> type = UTType::fromFilenameExtension("png");
///     if (type && type->conformsTo(UTType::image())) std::cout << *type << '\n';  // public.png
class UTType {
 public:
  /// The type with an identifier: a uniform type identifier, a MIME type that the database knows, or that of a dynamic
  /// type. Nothing for others.
  [[nodiscard]] TESSALY_EXPORT static std::optional<UTType> from(std::string_view identifier);
  /// The likeliest type of files whose names end in a dot and the extension, among those that conform to a type; a
  /// dynamic one when there is none. Nothing when no name can end so: the extension is empty or holds "/" or NUL.
  [[nodiscard]] TESSALY_EXPORT static std::optional<UTType> fromFilenameExtension(std::string_view extension,
                                                                                  const UTType& conformingTo = data());
  /// The type of a MIME type, whose parameters do not matter, or of what it is an alias of. Nothing when it reads as
  /// none; one that the database does not know is a type of its own.
  [[nodiscard]] TESSALY_EXPORT static std::optional<UTType> fromMIMEType(std::string_view mimeType);
  /// The type of contents under a file name, in the order that the database's specification recommends: by the name,
  /// and by the contents where several types or none have such names. More contents than 64 KiB change nothing.
  [[nodiscard]] TESSALY_EXPORT static UTType ofContents(std::string_view fileName,
                                                        std::span<const std::uint8_t> contents);
  /// The same of a file, whose contents are only read where the name does not decide; or that of a folder or device.
  /// Symbolic links are followed. Throws `POSIXError` when there is no file, and `URLError` (`unsupportedURL`) when the
  /// URL is not that of one.
  [[nodiscard]] TESSALY_EXPORT static UTType ofFile(const URL& file);

  /// What all types of files and folders conform to.
  [[nodiscard]] TESSALY_EXPORT static UTType item();
  /// A stream of bytes.
  [[nodiscard]] TESSALY_EXPORT static UTType data();
  /// Text of any kind, with markup or without.
  [[nodiscard]] TESSALY_EXPORT static UTType text();
  /// Text without markup.
  [[nodiscard]] TESSALY_EXPORT static UTType plainText();
  [[nodiscard]] TESSALY_EXPORT static UTType image();
  [[nodiscard]] TESSALY_EXPORT static UTType audio();
  [[nodiscard]] TESSALY_EXPORT static UTType movie();
  [[nodiscard]] TESSALY_EXPORT static UTType folder();

  // The next three need FoundationExtensions/UTType+Extensions.hpp. The first use makes the type and keeps it. The
  // process stops if there is no such type.

  /// Tables with commas: the type of the extension "csv" that conforms to `text`.
  template <typename Definition = detail::SharedFileTypes>
  [[nodiscard]] static const UTType& csv() {
    static_assert(requires { sizeof(Definition); }, "include Tessaly/FoundationExtensions/UTType+Extensions.hpp");
    return Definition::csv();
  }
  /// Sung words with pictures: the type of the extension "cdg".
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

  [[nodiscard]] const std::string& identifier() const noexcept { return identifier_; }
  /// Without the dot.
  [[nodiscard]] TESSALY_EXPORT std::optional<std::string> preferredFilenameExtension() const;
  /// Every extension, the preferred one first.
  [[nodiscard]] TESSALY_EXPORT std::vector<std::string> filenameExtensions() const;
  [[nodiscard]] TESSALY_EXPORT std::optional<std::string> preferredMIMEType() const;
  /// The identifiers of what it is a special case of, without those further up.
  [[nodiscard]] TESSALY_EXPORT std::vector<std::string> supertypeIdentifiers() const;
  /// Whether it is the other type, or a special case of it, however far down.
  [[nodiscard]] TESSALY_EXPORT bool conformsTo(const UTType& other) const;
  /// Whether nobody declared it and only an extension speaks for it.
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
  /// Empty where there is none.
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
