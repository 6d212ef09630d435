// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <span>

#include "Tessaly/Core/Foundation/Data.hpp"
#include "Tessaly/Core/Foundation/PropertyList.hpp"

namespace Tessaly::inline v1::detail {

/// Each throws `PropertyListError`.
[[nodiscard]] PropertyList readBinaryPropertyList(std::span<const std::uint8_t> bytes);
[[nodiscard]] Data::Bytes writeBinaryPropertyList(const PropertyList& value);
[[nodiscard]] PropertyList readXMLPropertyList(std::span<const std::uint8_t> bytes);
[[nodiscard]] Data::Bytes writeXMLPropertyList(const PropertyList& value);
[[nodiscard]] bool isExactInXML(const PropertyList& value) noexcept;

}  // namespace Tessaly::inline v1::detail
