// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Foundation/PropertyListSerialization.hpp"

#include <iostream>

namespace Tessaly {

void load(const PropertyList& settings);

void readOrTell(std::span<const std::uint8_t> bytes) {
  try {
    load(PropertyListSerialization::read(bytes).value);
  } catch (const PropertyListError& error) {
    std::cerr << error.what() << '\n';
  }
}

void showSerialization() {
  Data bytes = PropertyListSerialization::data(PropertyList::Array{1, "x"}, PropertyListFormat::binary);
  PropertyList same = PropertyListSerialization::read(bytes.bytes()).value;
}

}  // namespace Tessaly
