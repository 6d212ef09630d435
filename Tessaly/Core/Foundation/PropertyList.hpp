// SPDX-License-Identifier: MIT
// Component: Tessaly::Foundation
#pragma once

#include <atomic>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <iosfwd>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Foundation/Data.hpp"
#include "Tessaly/Core/Foundation/Date.hpp"
#include "Tessaly/Core/Foundation/NSNumber.hpp"

namespace Tessaly::inline v1 {

/// A value of a property list: a number (boolean, integer or real), a text (UTF-8 string), a date or data. A value can
/// also be an array of values, or a dictionary of values with text keys.
///
/// A value has 16 bytes and is immutable. Copies share their data on the heap. U+FFFD replaces ill-formed UTF-8 in a
/// text or a key when the value is made. Serialization therefore never has to change a text. Values may be nested to
/// any depth. `PropertyListSerialization` and `description` have the limit `maximumDepth`. The settings store allows
/// one level less.
///
/// Property lists are the format of settings. For data that other systems read, prefer a JSON coder.
///
/// Thread contract: thread-compatible; copies of one value may be used in different threads.
///
///     PropertyList window(PropertyList::Dictionary{{"title", "Untitled"}, {"columns", PropertyList::Array{80, 132}}});
///     const PropertyList* title = window.find("title");
///     if (title != nullptr && title->text() != nullptr) std::cout << *title->text() << '\n';  // Untitled
class PropertyList {
 public:
  using Array = std::vector<PropertyList>;
  using Dictionary = std::map<std::string, PropertyList, std::less<>>;

  /// The kind of a value.
  enum class Kind : std::uint8_t { boolean, integer, real, text, date, data, array, dictionary };

  /// The maximum depth of a value that is serialized or parsed.
  static constexpr std::uint32_t maximumDepth = 512;

  PropertyList(NSNumber number) noexcept : kind_(kindOf(number)), numberKind_(number.kind()) {
    payload_.bits = number.bits();
  }
  template <typename Number>
    requires std::constructible_from<NSNumber, Number> && (std::integral<Number> || std::floating_point<Number>)
  PropertyList(Number number) noexcept : PropertyList(NSNumber(number)) {}
  PropertyList(Date date) noexcept : kind_(Kind::date), numberKind_(NSNumber::Kind::double_) {
    payload_.bits = NSNumber(date.timeIntervalSinceReferenceDate()).bits();
  }
  TESSALY_EXPORT PropertyList(std::string text);
  PropertyList(std::string_view text) : PropertyList(std::string(text)) {}
  PropertyList(const char* text) : PropertyList(std::string(text)) {}
  TESSALY_EXPORT PropertyList(Data data);
  TESSALY_EXPORT PropertyList(Array array);
  TESSALY_EXPORT PropertyList(Dictionary dictionary);

  PropertyList(const PropertyList& other) noexcept
      : kind_(other.kind_), numberKind_(other.numberKind_), payload_(other.payload_) {
    if (hasBox()) payload_.box->holders.fetch_add(1, std::memory_order_relaxed);
  }
  /// The moved-from value is `false`.
  PropertyList(PropertyList&& other) noexcept
      : kind_(std::exchange(other.kind_, Kind::boolean)),
        numberKind_(std::exchange(other.numberKind_, NSNumber::Kind::boolean)),
        payload_(std::exchange(other.payload_, Payload{})) {}
  PropertyList& operator=(PropertyList other) noexcept {
    std::swap(kind_, other.kind_);
    std::swap(numberKind_, other.numberKind_);
    std::swap(payload_, other.payload_);
    return *this;
  }
  ~PropertyList() {
    if (hasBox() && payload_.box->holders.fetch_sub(1, std::memory_order_acq_rel) == 1) destroyBox();
  }

  [[nodiscard]] Kind kind() const noexcept { return kind_; }
  /// The number, if the value is a boolean, an integer or a real.
  [[nodiscard]] std::optional<NSNumber> number() const noexcept {
    if (kind_ > Kind::real) return std::nullopt;
    return NSNumber(numberKind_, payload_.bits);
  }
  [[nodiscard]] TESSALY_EXPORT std::optional<Date> date() const noexcept;
  /// The text, or null if the value is of another kind. The pointer is valid while this value or a copy of it exists.
  /// The same holds for the pointers that `data`, `array`, `dictionary` and `find` return.
  [[nodiscard]] TESSALY_EXPORT const std::string* text() const noexcept;
  [[nodiscard]] TESSALY_EXPORT const Data* data() const noexcept;
  [[nodiscard]] TESSALY_EXPORT const Array* array() const noexcept;
  [[nodiscard]] TESSALY_EXPORT const Dictionary* dictionary() const noexcept;
  /// The dictionary's value for a key. Null if the key is missing, or if this value is not a dictionary.
  [[nodiscard]] TESSALY_EXPORT const PropertyList* find(std::string_view key) const noexcept;

  /// The number of levels of containers: 0 for a value that is not a container, 1 for an empty container. O(1).
  [[nodiscard]] std::uint32_t depth() const noexcept { return hasBox() ? payload_.box->depth : 0; }

  /// Whether both have the same kinds and bitwise the same contents: 5 and 5.0 differ, and so do 0.0 and -0.0. A real
  /// of single precision is not identical to a real of double precision.
  [[nodiscard]] bool isIdentical(const PropertyList& other) const noexcept {
    return compare(*this, other, Comparison::identical);
  }

  /// A text similar to JSON, on one line: `{"a": [1, 2.5, true]}`. Data is written as `<0a1b>`, and a date as its
  /// description. A value whose depth exceeds `maximumDepth` is written as `...`.
  [[nodiscard]] TESSALY_EXPORT std::string description() const;

  /// Whether the contents are equal. Numbers of different kinds are compared by value: 5 equals 5.0, and true equals 1.
  friend bool operator==(const PropertyList& left, const PropertyList& right) noexcept {
    return compare(left, right, Comparison::byValue);
  }

 private:
  /// The base class of the data on the heap. The kind of the value determines the derived class.
  struct Box {
    std::atomic<std::uint32_t> holders{1};
    std::uint32_t depth = 0;
  };
  template <typename Value>
  struct BoxOf;
  union Payload {
    std::uint64_t bits = 0;
    Box* box;
  };
  enum class Comparison : std::uint8_t { byValue, identical };

  static constexpr Kind kindOf(NSNumber number) noexcept {
    if (number.kind() == NSNumber::Kind::boolean) return Kind::boolean;
    return number.isReal() ? Kind::real : Kind::integer;
  }
  [[nodiscard]] bool hasBox() const noexcept { return kind_ == Kind::text || kind_ > Kind::date; }
  template <typename Value>
  PropertyList(Kind kind, Value value, std::uint32_t depth);
  template <typename Value>
  [[nodiscard]] const Value* valueIf(Kind kind) const noexcept;
  TESSALY_EXPORT void destroyBox() noexcept;
  TESSALY_EXPORT static bool compare(const PropertyList& left, const PropertyList& right,
                                     Comparison comparison) noexcept;
  void describe(std::string& text) const;

  Kind kind_;
  NSNumber::Kind numberKind_ = NSNumber::Kind::boolean;
  Payload payload_;
};

/// Writes `description()`.
TESSALY_EXPORT std::ostream& operator<<(std::ostream& stream, const PropertyList& list);

}  // namespace Tessaly::inline v1
