// SPDX-License-Identifier: MIT
// Any bytes are refused or become a value that both formats serialize and parse again.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "Tessaly/Core/Foundation/PropertyListSerialization.hpp"

namespace {

using Tessaly::PropertyListError;
using Tessaly::PropertyListFormat;
using Tessaly::PropertyListSerialization;

void require(bool condition) {
  if (!condition) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  try {
    const auto read = PropertyListSerialization::read({data, size});
    require(read.value.depth() <= Tessaly::PropertyList::maximumDepth);
    const Tessaly::Data binary = PropertyListSerialization::data(read.value, PropertyListFormat::binary);
    // A list with much sharing need not parse again. Without the padding of the file its size may be out of proportion.
    if (read.format == PropertyListFormat::xml || size < 1024) {
      require(PropertyListSerialization::read(binary.bytes()).value.isIdentical(read.value));
    }
    if (PropertyListSerialization::isExact(read.value, PropertyListFormat::xml) && size < 256) {
      const Tessaly::Data xml = PropertyListSerialization::data(read.value, PropertyListFormat::xml);
      require(PropertyListSerialization::read(xml.bytes()).value == read.value);
    }
  } catch (const PropertyListError&) {
  }
  return 0;
}
