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
  /// XML in UTF-8. Dates are rounded down to seconds. Texts cannot contain most control characters, U+FFFE and U+FFFF.
  xml,
  /// A binary format with a table of offsets. It represents every value exactly.
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
/// Parsing is safe for arbitrary bytes and throws for malformed bytes. It also throws for a list that is nested deeper
/// than `PropertyList::maximumDepth` or refers to itself. A binary list may share values. Parsing throws if its number
/// of values, with each shared value counted once for each reference, exceeds 65,536 and 256 for each byte. If two
/// entries have the same key, the last one counts.
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

  /// Parses a property list of either format. Throws `PropertyListError`.
  [[nodiscard]] TESSALY_EXPORT static Result read(std::span<const std::uint8_t> bytes);

  /// Serializes a property list. Throws `PropertyListError` for a value that is nested deeper than
  /// `PropertyList::maximumDepth`, that the format cannot represent (see `isExact`), or that exceeds 4 GiB in XML.
  [[nodiscard]] TESSALY_EXPORT static Data data(const PropertyList& value, PropertyListFormat format);

  /// Whether the value would read back equal. False for a value that is nested deeper than
  /// `PropertyList::maximumDepth`. Otherwise true for the binary format. XML cannot represent texts with most control
  /// characters, U+FFFE or U+FFFF, and dates outside the years 1 to 9999. XML rounds dates down to seconds.
  [[nodiscard]] TESSALY_EXPORT static bool isExact(const PropertyList& value, PropertyListFormat format) noexcept;
};

}  // namespace Tessaly::inline v1
