// SPDX-License-Identifier: MIT
#include <algorithm>
#include <bit>
#include <limits>
#include <memory_resource>
#include <span>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "Tessaly/Core/Foundation/PropertyListSerialization.hpp"
#include "Tessaly/Core/Foundation/detail/PropertyListFormats.hpp"
#include "Tessaly/Core/Text/UTF8.hpp"

namespace Tessaly::inline v1::detail {
namespace {

constexpr std::string_view header = "bplist00";

/// Numbers the values first, each before its container, and then writes them. Equal texts get one number, and so does a
/// container that occurs several times.
class Writer {
 public:
  Data::Bytes write(const PropertyList& root) {
    number(root);
    putObjects(objects_.size());
    return finish();
  }
  Data::Bytes write(const PropertyList::Dictionary& root) {
    objects_.reserve(2 * root.size());
    references_.resize(2 * root.size());
    std::size_t at = 0;
    for (const auto& [key, element] : root) {
      references_[at] = add({nullptr, key, 0});
      // The references of nested values follow those of the root.
      const std::size_t value = number(element);
      references_[root.size() + at++] = value;
    }
    putObjects(objects_.size() + 1);
    offsets_.push_back(bytes_.size());
    putHead(0xD, root.size());
    putAll(std::span(references_).first(2 * root.size()), referenceSize_);
    return finish();
  }

 private:
  /// Puts the numbered objects. `count` also includes the objects that the caller puts afterwards.
  void putObjects(std::size_t count) {
    referenceSize_ = bytesFor(count - 1);
    bytes_.reserve(header.size() + 16 * objects_.size());
    bytes_.insert(bytes_.end(), header.begin(), header.end());
    offsets_.reserve(count);
    for (const Object& object : objects_) {
      offsets_.push_back(bytes_.size());
      put(object);
    }
  }

  Data::Bytes finish() {
    const std::size_t table = bytes_.size();
    const std::size_t offsetSize = bytesFor(table);
    putAll(offsets_, offsetSize);
    putUnsigned(0, 6);
    putUnsigned(offsetSize, 1);
    putUnsigned(referenceSize_, 1);
    putUnsigned(offsets_.size(), 8);
    putUnsigned(offsets_.size() - 1, 8);  // The root is numbered last.
    putUnsigned(table, 8);
    return std::move(bytes_);
  }

  struct Object {
    /// Null for a key.
    const PropertyList* value;
    std::string_view text;
    /// The index of the container's first reference in `references_`.
    std::size_t references;
  };

  static std::size_t bytesFor(std::size_t largest) {
    if (largest <= 0xFF) return 1;
    if (largest <= 0xFFFF) return 2;
    return largest <= 0xFFFFFFFF ? 4 : 8;
  }

  std::size_t add(const Object& object) {
    objects_.push_back(object);
    return objects_.size() - 1;
  }

  std::size_t numberText(const PropertyList* value, std::string_view text) {
    const auto [found, isNew] = texts_.try_emplace(text, objects_.size());
    if (isNew) add({value, text, 0});
    return found->second;
  }

  std::size_t number(const PropertyList& value) {
    if (const std::string* text = value.text()) {
      return numberText(&value, *text);
    }
    const PropertyList::Array* array = value.array();
    const PropertyList::Dictionary* dictionary = value.dictionary();
    if (array == nullptr && dictionary == nullptr) return add({&value, {}, 0});
    const void* identity = array != nullptr ? static_cast<const void*>(array) : dictionary;
    if (const auto found = containers_.find(identity); found != containers_.end()) return found->second;
    std::vector<std::size_t> elements;
    if (array != nullptr) {
      elements.reserve(array->size());
      for (const PropertyList& element : *array) elements.push_back(number(element));
    } else {
      elements.reserve(2 * dictionary->size());
      if (dictionary->size() > texts_.size()) {
        texts_.reserve(texts_.size() + 2 * dictionary->size());
        objects_.reserve(objects_.size() + 2 * dictionary->size() + 1);
      }
      for (const auto& [key, element] : *dictionary) elements.push_back(numberText(nullptr, key));
      for (const auto& [key, element] : *dictionary) elements.push_back(number(element));
    }
    const std::size_t references = references_.size();
    references_.insert(references_.end(), elements.begin(), elements.end());
    const std::size_t result = add({&value, {}, references});
    containers_.emplace(identity, result);
    return result;
  }

  void putUnsigned(std::uint64_t value, std::size_t size) {
    for (std::size_t i = size; i-- > 0;) bytes_.push_back(static_cast<std::uint8_t>(i < 8 ? value >> (8 * i) : 0));
  }

  void putAll(std::span<const std::size_t> values, std::size_t size) {
    const std::size_t start = bytes_.size();
    bytes_.resize(start + values.size() * size);
    std::uint8_t* place = bytes_.data() + start;
    for (const std::size_t value : values) {
      for (std::size_t i = size; i-- > 0;) *place++ = static_cast<std::uint8_t>(value >> (8 * i));
    }
  }

  void putByte(unsigned byte) { bytes_.push_back(static_cast<std::uint8_t>(byte)); }

  void putInteger(NSNumber number) {
    const std::int64_t value = number.integerValue();
    if (number.kind() == NSNumber::Kind::unsignedInteger) {
      putByte(0x14);
      putUnsigned(static_cast<std::uint64_t>(value), 16);
    } else {
      const std::size_t size = value < 0 ? 8 : bytesFor(static_cast<std::size_t>(value));
      putByte(0x10u + static_cast<unsigned>(std::countr_zero(size)));
      putUnsigned(static_cast<std::uint64_t>(value), size);
    }
  }

  void putHead(unsigned kind, std::size_t count) {
    putByte(kind << 4 | static_cast<unsigned>(std::min<std::size_t>(count, 0xF)));
    if (count >= 0xF) putInteger(NSNumber(static_cast<std::uint64_t>(count)));
  }

  void putText(std::string_view text) {
    if (std::ranges::all_of(text, [](char unit) { return static_cast<unsigned char>(unit) < 0x80; })) {
      putHead(0x5, text.size());
      bytes_.insert(bytes_.end(), text.begin(), text.end());
      return;
    }
    std::size_t units = 0;
    for (const char32_t scalar : Text::Scalars(text)) units += scalar >= 0x10000 ? 2 : 1;
    putHead(0x6, units);
    for (const char32_t scalar : Text::Scalars(text)) {
      if (scalar >= 0x10000) {
        putUnsigned(0xD800 + ((scalar - 0x10000) >> 10), 2);
        putUnsigned(0xDC00 + ((scalar - 0x10000) & 0x3FF), 2);
      } else {
        putUnsigned(scalar, 2);
      }
    }
  }

  void put(const Object& object) {
    if (object.value == nullptr || object.value->kind() == PropertyList::Kind::text) {
      putText(object.text);
      return;
    }
    const PropertyList& value = *object.value;
    switch (value.kind()) {
      case PropertyList::Kind::boolean:
        putByte(value.number()->boolValue() ? 0x09 : 0x08);
        return;
      case PropertyList::Kind::integer:
        putInteger(*value.number());
        return;
      case PropertyList::Kind::real:
        if (value.number()->kind() == NSNumber::Kind::single) {
          putByte(0x22);
          putUnsigned(std::bit_cast<std::uint32_t>(value.number()->floatValue()), 4);
        } else {
          putByte(0x23);
          putUnsigned(std::bit_cast<std::uint64_t>(value.number()->doubleValue()), 8);
        }
        return;
      case PropertyList::Kind::date:
        putByte(0x33);
        putUnsigned(std::bit_cast<std::uint64_t>(value.date()->timeIntervalSinceReferenceDate()), 8);
        return;
      case PropertyList::Kind::data:
        putHead(0x4, value.data()->size());
        bytes_.insert(bytes_.end(), value.data()->begin(), value.data()->end());
        return;
      case PropertyList::Kind::array:
        putHead(0xA, value.array()->size());
        putReferences(object, value.array()->size());
        return;
      default:
        putHead(0xD, value.dictionary()->size());
        putReferences(object, 2 * value.dictionary()->size());
    }
  }

  void putReferences(const Object& object, std::size_t count) {
    putAll(std::span(references_).subspan(object.references, count), referenceSize_);
  }

  Data::Bytes bytes_;
  std::vector<Object> objects_;
  std::vector<std::size_t> references_;
  std::vector<std::size_t> offsets_;
  std::pmr::monotonic_buffer_resource nodes_;
  std::pmr::unordered_map<std::string_view, std::size_t> texts_{&nodes_};
  std::pmr::unordered_map<const void*, std::size_t> containers_{&nodes_};
  std::size_t referenceSize_ = 1;
};

}  // namespace

Data::Bytes writeBinaryPropertyList(const PropertyList& value) { return Writer().write(value); }

Data::Bytes writeBinaryPropertyList(const PropertyList::Dictionary& root) { return Writer().write(root); }

}  // namespace Tessaly::inline v1::detail
