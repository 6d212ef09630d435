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

/// How a property list is written down.
enum class PropertyListFormat : std::uint8_t {
  /// Elements of XML, in UTF-8. Dates are cut to seconds, and texts cannot hold control characters.
  xml,
  /// Objects behind a table of offsets. Holds every value exactly.
  binary,
};

/// Bytes that are no property list, or a value that cannot be written as one.
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

  /// Such as "The property list ends too early at byte 12".
  [[nodiscard]] std::string description() const override { return reason_; }

 private:
  std::string reason_;
};

/// Property lists as bytes, in both formats.
///
/// Reading takes arbitrary bytes: what is no property list throws, and so does one that is nested deeper than
/// `PropertyList::maximumDepth`, refers to itself, or would be out of proportion when written out. Of two entries with
/// one key the last counts.
///
/// Thread contract: thread-safe.
///
///     Data bytes = PropertyListSerialization::data(PropertyList::Array{1, "x"}, PropertyListFormat::binary);
///     PropertyList same = PropertyListSerialization::read(bytes.bytes()).value;
class PropertyListSerialization {
 public:
  struct Result {
    PropertyList value;
    PropertyListFormat format;
  };

  /// Reads a property list of either format. Throws `PropertyListError`.
  [[nodiscard]] TESSALY_EXPORT static Result read(std::span<const std::uint8_t> bytes);

  /// Writes a property list. Throws `PropertyListError` for a value that is nested too deep, or that the format cannot
  /// tell at all: see `isExact`.
  [[nodiscard]] TESSALY_EXPORT static Data data(const PropertyList& value, PropertyListFormat format);

  /// Whether the value would read back equal. Always true for the binary format; in XML, texts with control characters
  /// cannot be written, dates between two seconds are cut, and those outside the years 1 to 9999 cannot be written.
  [[nodiscard]] TESSALY_EXPORT static bool isExact(const PropertyList& value, PropertyListFormat format) noexcept;
};

}  // namespace Tessaly::inline v1
