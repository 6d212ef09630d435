// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <span>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Foundation/Data.hpp"
#include "Tessaly/Core/Foundation/PropertyList.hpp"

namespace Tessaly::inline v1::detail {

/// Parses the binary format. Both parsing functions of this header throw `PropertyListError` if they cannot parse the
/// bytes. `writeXMLPropertyList` throws it if XML cannot represent the value, or if the XML would exceed 4 GiB.
[[nodiscard]] PropertyList readBinaryPropertyList(std::span<const std::uint8_t> bytes);
[[nodiscard]] Data::Bytes writeBinaryPropertyList(const PropertyList& value);
/// Writes a dictionary as a property list. The writer does not compare the keys of this dictionary with the other texts
/// to find duplicates. This omission saves a third of the time for a large dictionary.
[[nodiscard]] TESSALY_EXPORT Data::Bytes writeBinaryPropertyList(const PropertyList::Dictionary& root);
[[nodiscard]] PropertyList readXMLPropertyList(std::span<const std::uint8_t> bytes);
[[nodiscard]] Data::Bytes writeXMLPropertyList(const PropertyList& value);
[[nodiscard]] bool isExactInXML(const PropertyList& value) noexcept;

}  // namespace Tessaly::inline v1::detail
