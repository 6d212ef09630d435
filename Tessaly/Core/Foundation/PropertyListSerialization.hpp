// SPDX-License-Identifier: MIT
// Component: Tessaly::Foundation
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <utility>

#include "Tessaly/Core/Base/Error.hpp"
#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Foundation/Data.hpp"
#include "Tessaly/Core/Foundation/PropertyList.hpp"

namespace Tessaly::inline v1 {

/// The format of a serialized property list.
enum class PropertyListFormat : std::uint8_t {
  /// XML in UTF-8. Dates must be in the years 1 to 9999 and are rounded down to seconds. Texts cannot contain U+FFFE,
  /// U+FFFF or most control characters.
  xml,
  /// A binary format with a table of offsets. The format represents every value exactly.
  binary,
};

/// An error for malformed property lists, and for values that cannot be serialized.
///
/// Thread contract: thread-safe.
///
///     try {
///       load(PropertyListSerialization::read(bytes).value);
///     } catch (const PropertyListError& error) {
///       std::cerr << error.what() << '\n';
///     }
class TESSALY_EXPORT PropertyListError final : public Error {
 public:
  explicit PropertyListError(std::string reason) : reason_(std::move(reason)) {}
  ~PropertyListError() override;

  /// For example "The property list ends too early at byte 12".
  [[nodiscard]] std::string description() const override { return reason_; }

 private:
  std::string reason_;
};

/// Parses and serializes property lists in both formats.
///
/// Parsing is safe for arbitrary bytes and throws for malformed bytes. Parsing also throws for a list that is nested
/// deeper than `PropertyList::maximumDepth` or refers to itself. In a binary list, several references may lead to the
/// same value. The parser counts such a value, with all values in it, once for each reference. Parsing throws if the
/// count of all values exceeds 65,536 plus 256 for each byte of the list. If two entries have the same key, the parser
/// keeps the last entry.
///
/// Thread contract: thread-safe.
///
///     Data bytes = PropertyListSerialization::data(PropertyList::Array{1, "x"}, PropertyListFormat::binary);
///     PropertyList same = PropertyListSerialization::read(bytes.bytes()).value;
class PropertyListSerialization {
 public:
  /// A parsed value, and the format of the bytes.
  struct Result {
    PropertyList value;
    PropertyListFormat format;
  };

  /// Parses a property list of either format. Throws `PropertyListError` if the bytes are malformed, or if the list
  /// exceeds one of the limits in the class comment.
  [[nodiscard]] TESSALY_EXPORT static Result read(std::span<const std::uint8_t> bytes);

  /// Serializes a property list. Throws `PropertyListError` for a value that is nested deeper than
  /// `PropertyList::maximumDepth`. In XML, also throws for a text or date that XML cannot represent (see `isExact`),
  /// and for a result above 4 GiB.
  [[nodiscard]] TESSALY_EXPORT static Data data(const PropertyList& value, PropertyListFormat format);

  /// Whether parsing the serialized value gives an equal value. False for a value that is nested deeper than
  /// `PropertyList::maximumDepth`. Otherwise true for the binary format. XML cannot represent dates outside the years 1
  /// to 9999, or texts with U+FFFE, U+FFFF or most control characters. XML rounds dates down to seconds. The result
  /// does not consider the 4 GiB limit of `data` and the limit of `read` for shared values.
  [[nodiscard]] TESSALY_EXPORT static bool isExact(const PropertyList& value, PropertyListFormat format) noexcept;
};

}  // namespace Tessaly::inline v1
