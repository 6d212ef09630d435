// SPDX-License-Identifier: MIT
#include <fmt/format.h>

#include <algorithm>
#include <bit>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Tessaly/Core/Foundation/PropertyListSerialization.hpp"
#include "Tessaly/Core/Foundation/detail/PropertyListFormats.hpp"
#include "Tessaly/Core/Text/UTF8.hpp"

namespace Tessaly::inline v1::detail {
namespace {

constexpr std::size_t headerSize = 8;
constexpr std::size_t trailerSize = 32;

/// Parses the binary format. A table gives the offset of every object, and containers refer to objects by index. So
/// containers can share objects. In a malformed file, an object can contain itself or refer to a missing object.
class Reader {
 public:
  explicit Reader(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}

  PropertyList read() {
    if (bytes_.size() < headerSize + trailerSize) fail("ends too early", bytes_.size());
    const std::size_t trailer = bytes_.size() - trailerSize;
    offsetSize_ = bytes_[trailer + 6];
    referenceSize_ = bytes_[trailer + 7];
    const std::uint64_t count = unsignedAt(trailer + 8, 8);
    const std::uint64_t root = unsignedAt(trailer + 16, 8);
    const std::uint64_t table = unsignedAt(trailer + 24, 8);
    if (offsetSize_ < 1 || offsetSize_ > 8 || referenceSize_ < 1 || referenceSize_ > 8) {
      fail("has impossible sizes", trailer);
    }
    if (table < headerSize || table > trailer) fail("has its table outside the file", trailer);
    if (count == 0 || count > (trailer - table) / offsetSize_) fail("has fewer objects than it says", trailer);
    if (root >= count) fail("has no root", trailer);
    table_ = static_cast<std::size_t>(table);
    objects_.resize(static_cast<std::size_t>(count));
    // Sharing lets a small file represent a huge value. A disproportionate value is an attack.
    mostNodes_ = 256 * static_cast<std::uint64_t>(bytes_.size()) + 65536;
    return object(root, 0).value.value();
  }

 private:
  struct Object {
    std::optional<PropertyList> value;
    /// The number of values if each shared value counts once for each reference.
    std::uint64_t nodes = 1;
    bool isBeingRead = false;
  };

  [[noreturn]] static void fail(std::string_view what, std::size_t offset) {
    throw PropertyListError(fmt::format("The property list {} at byte {}", what, offset));
  }

  /// `size` must be at most 8, and the bytes must exist.
  [[nodiscard]] std::uint64_t unsignedAt(std::size_t offset, std::size_t size) const {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < size; ++i) value = value << 8 | bytes_[offset + i];
    return value;
  }

  /// Throws unless these bytes end before the table, which follows the objects.
  void require(std::size_t offset, std::uint64_t size) const {
    if (offset > table_ || size > table_ - offset) fail("has an object that ends outside the file", offset);
  }

  /// The length of the object at `offset`. Moves `offset` after the length.
  std::uint64_t count(std::size_t& offset, unsigned low) const {
    if (low < 0xF) return low;
    require(offset, 1);
    const unsigned marker = bytes_[offset++];
    if (marker >> 4 != 1 || (marker & 0xF) > 3) fail("has a length that is no number", offset - 1);
    const std::size_t size = std::size_t{1} << (marker & 0xF);
    require(offset, size);
    const std::uint64_t result = unsignedAt(offset, size);
    offset += size;
    return result;
  }

  PropertyList integer(std::size_t offset, unsigned exponent) const {
    if (exponent > 4) fail("has an integer that is too large", offset);
    const std::size_t size = std::size_t{1} << exponent;
    require(offset, size);
    if (size < 8) return PropertyList(unsignedAt(offset, size));
    const std::uint64_t low = unsignedAt(offset + size - 8, 8);
    if (size == 8) return PropertyList(static_cast<std::int64_t>(low));
    const std::uint64_t high = unsignedAt(offset, 8);
    if (high == 0) return PropertyList(low);
    if (high == std::numeric_limits<std::uint64_t>::max() && low >> 63 == 1) {
      return PropertyList(static_cast<std::int64_t>(low));
    }
    fail("has an integer that is too large", offset);
  }

  PropertyList real(std::size_t offset, unsigned exponent) const {
    if (exponent != 2 && exponent != 3) fail("has a real of an unknown size", offset);
    const std::size_t size = std::size_t{1} << exponent;
    require(offset, size);
    const std::uint64_t bits = unsignedAt(offset, size);
    if (size == 4) return PropertyList(std::bit_cast<float>(static_cast<std::uint32_t>(bits)));
    return PropertyList(std::bit_cast<double>(bits));
  }

  PropertyList utf16(std::size_t offset, std::size_t length) const {
    std::string text;
    text.reserve(length);
    for (std::size_t i = 0; i < length; ++i) {
      char32_t scalar = static_cast<char32_t>(unsignedAt(offset + 2 * i, 2));
      if (scalar >= 0xD800 && scalar < 0xDC00 && i + 1 < length) {
        const auto next = static_cast<char32_t>(unsignedAt(offset + 2 * i + 2, 2));
        if (next >= 0xDC00 && next < 0xE000) {
          scalar = 0x10000 + ((scalar - 0xD800) << 10) + (next - 0xDC00);
          ++i;
        }
      }
      Text::appendScalar(text, scalar);  // A lone surrogate becomes U+FFFD.
    }
    return PropertyList(std::move(text));
  }

  const Object& object(std::uint64_t index, std::uint32_t depth) {
    if (index >= objects_.size()) fail("refers to an object that is not there", table_);
    Object& object = objects_[static_cast<std::size_t>(index)];
    if (object.value) {
      if (object.value->depth() + depth > PropertyList::maximumDepth) fail("is nested too deep", table_);
      return object;
    }
    if (object.isBeingRead) fail("contains itself", table_);
    object.isBeingRead = true;
    const std::uint64_t offset = unsignedAt(table_ + static_cast<std::size_t>(index) * offsetSize_, offsetSize_);
    if (offset < headerSize || offset >= table_) fail("has an object outside the file", table_);
    read(object, static_cast<std::size_t>(offset), depth);
    object.isBeingRead = false;
    return object;
  }

  void read(Object& object, std::size_t offset, std::uint32_t depth) {
    const unsigned marker = bytes_[offset];
    const unsigned low = marker & 0xF;
    const std::size_t begin = offset++;
    switch (marker >> 4) {
      case 0x0:
        if (low != 8 && low != 9) break;
        object.value.emplace(low == 9);
        return;
      case 0x1:
        object.value = integer(offset, low);
        return;
      case 0x2:
        object.value = real(offset, low);
        return;
      case 0x3:
        if (low != 3) break;
        require(offset, 8);
        object.value = Date::sinceReferenceDate(std::bit_cast<double>(unsignedAt(offset, 8)));
        return;
      case 0x4:
      case 0x5: {
        const std::uint64_t size = count(offset, low);
        require(offset, size);
        const auto contents = bytes_.subspan(offset, static_cast<std::size_t>(size));
        if (marker >> 4 == 0x4) {
          object.value = Data(contents);
        } else {
          if (std::ranges::any_of(contents, [](std::uint8_t byte) { return byte >= 0x80; })) {
            fail("has a text that is not of ASCII", offset);
          }
          object.value = std::string(contents.begin(), contents.end());
        }
        return;
      }
      case 0x6: {
        const std::uint64_t length = count(offset, low);
        if (length > bytes_.size()) fail("has an object that ends outside the file", offset);
        require(offset, 2 * length);
        object.value = utf16(offset, static_cast<std::size_t>(length));
        return;
      }
      case 0xA:
      case 0xD:
        readContainer(object, offset, low, depth, marker >> 4 == 0xD);
        return;
      default:
        break;
    }
    fail("has an object of an unknown kind", begin);
  }

  void readContainer(Object& object, std::size_t offset, unsigned low, std::uint32_t depth, bool isDictionary) {
    if (depth >= PropertyList::maximumDepth) fail("is nested too deep", offset);
    const std::uint64_t length = count(offset, low);
    if (length > bytes_.size()) fail("has an object that ends outside the file", offset);
    require(offset, (isDictionary ? 2 : 1) * length * referenceSize_);
    const auto size = static_cast<std::size_t>(length);
    const auto reference = [&](std::size_t position) {
      return unsignedAt(offset + position * referenceSize_, referenceSize_);
    };
    const auto element = [&](std::size_t position) -> const PropertyList& {
      const Object& found = this->object(reference(position), depth + 1);
      object.nodes += found.nodes;
      if (object.nodes > mostNodes_) fail("repeats itself without measure", offset);
      return found.value.value();
    };
    if (!isDictionary) {
      PropertyList::Array array;
      array.reserve(size);
      for (std::size_t i = 0; i < size; ++i) array.push_back(element(i));
      object.value.emplace(std::move(array));
      return;
    }
    PropertyList::Dictionary dictionary;
    for (std::size_t i = 0; i < size; ++i) {
      const std::string* key = element(i).text();
      if (key == nullptr) fail("has a key that is no text", offset);
      const PropertyList& value = element(size + i);
      if (dictionary.empty() || dictionary.rbegin()->first < *key) {
        dictionary.emplace_hint(dictionary.end(), *key, value);  // Most writers sort their keys.
      } else {
        dictionary.insert_or_assign(*key, value);
      }
    }
    object.value.emplace(std::move(dictionary));
  }

  std::span<const std::uint8_t> bytes_;
  std::size_t offsetSize_ = 0;
  std::size_t referenceSize_ = 0;
  std::size_t table_ = 0;
  std::uint64_t mostNodes_ = 0;
  std::vector<Object> objects_;
};

}  // namespace

PropertyList readBinaryPropertyList(std::span<const std::uint8_t> bytes) { return Reader(bytes).read(); }

}  // namespace Tessaly::inline v1::detail
