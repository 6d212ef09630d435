// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Foundation/PropertyListSerialization.hpp"

#include <string_view>

#include "Tessaly/Core/Foundation/detail/PropertyListFormats.hpp"

namespace Tessaly::inline v1 {

PropertyListError::~PropertyListError() = default;

PropertyListSerialization::Result PropertyListSerialization::read(std::span<const std::uint8_t> bytes) {
  const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  if (text.starts_with("bplist")) return {detail::readBinaryPropertyList(bytes), PropertyListFormat::binary};
  return {detail::readXMLPropertyList(bytes), PropertyListFormat::xml};
}

Data PropertyListSerialization::data(const PropertyList& value, PropertyListFormat format) {
  if (value.depth() > PropertyList::maximumDepth) {
    throw PropertyListError("The property list is nested too deep to be written");
  }
  return Data(format == PropertyListFormat::binary ? detail::writeBinaryPropertyList(value)
                                                   : detail::writeXMLPropertyList(value));
}

bool PropertyListSerialization::isExact(const PropertyList& value, PropertyListFormat format) noexcept {
  if (value.depth() > PropertyList::maximumDepth) return false;
  return format == PropertyListFormat::binary || detail::isExactInXML(value);
}

}  // namespace Tessaly::inline v1
