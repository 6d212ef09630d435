// SPDX-License-Identifier: MIT
// Component: Tessaly::Foundation
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <iosfwd>
#include <limits>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Foundation/detail/WholeNumber.hpp"

namespace Tessaly::inline v1 {

class PropertyList;

namespace detail {
/// The types of `NSNumber::exactly`.
template <typename Value>
concept ExactNumber =
    WholeNumber<Value> || std::same_as<Value, bool> || std::same_as<Value, float> || std::same_as<Value, double>;
}  // namespace detail

/// A number that stores its kind: a boolean, a signed or unsigned 64-bit integer, or a real. A real is a floating-point
/// number of single or double precision.
///
/// Numbers of different kinds are equal if their values are equal: true equals 1, and 5 equals 5.0. The nearest
/// standard facility is a `std::variant` of the kinds, which compares the kinds first.
///
/// Thread contract: thread-compatible.
///
///     NSNumber volume(50);
///     std::cout << volume.doubleValue() << ' ' << (volume == NSNumber(50.0)) << '\n';  // 50 1
class NSNumber {
 public:
  /// The kind of a number. `unsignedInteger` is for 2^63 and above. A smaller unsigned integer counts as `integer`.
  enum class Kind : std::uint8_t { boolean, integer, unsignedInteger, single, double_ };

  template <std::same_as<bool> Value>
  explicit constexpr NSNumber(Value value) noexcept : kind_(Kind::boolean), integer_(value ? 1 : 0) {}
  template <std::signed_integral Value>
    requires(sizeof(Value) <= sizeof(std::int64_t))
  explicit constexpr NSNumber(Value value) noexcept : kind_(Kind::integer), integer_(value) {}
  template <std::unsigned_integral Value>
    requires(sizeof(Value) <= sizeof(std::uint64_t) && !std::same_as<Value, bool>)
  explicit constexpr NSNumber(Value value) noexcept
      : kind_(value > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max()) ? Kind::unsignedInteger
                                                                                           : Kind::integer),
        integer_(static_cast<std::int64_t>(value)) {}
  explicit constexpr NSNumber(float value) noexcept : kind_(Kind::single), real_(value) {}
  explicit constexpr NSNumber(double value) noexcept : kind_(Kind::double_), real_(value) {}

  [[nodiscard]] constexpr Kind kind() const noexcept { return kind_; }
  /// Whether the number is a floating-point number, of single or double precision.
  [[nodiscard]] constexpr bool isReal() const noexcept { return kind_ == Kind::single || kind_ == Kind::double_; }

  /// False for zero only.
  [[nodiscard]] constexpr bool boolValue() const noexcept { return isReal() ? real_ != 0 : integer_ != 0; }
  /// The value truncated toward zero. An unsigned integer of 2^63 or more wraps to a negative number. A floating-point
  /// number outside the range of `std::int64_t` gives the nearest end of that range. NaN gives 0.
  [[nodiscard]] constexpr std::int64_t integerValue() const noexcept { return isReal() ? cut(real_) : integer_; }
  /// `integerValue`, wrapped to 16 bits.
  [[nodiscard]] constexpr std::int16_t shortValue() const noexcept { return static_cast<std::int16_t>(integerValue()); }
  /// The nearest number of double precision.
  [[nodiscard]] constexpr double doubleValue() const noexcept {
    if (isReal()) return real_;
    if (kind_ == Kind::unsignedInteger) return static_cast<double>(static_cast<std::uint64_t>(integer_));
    return static_cast<double>(integer_);
  }
  /// The nearest number of single precision.
  [[nodiscard]] constexpr float floatValue() const noexcept {
    if (isReal()) return static_cast<float>(real_);
    if (kind_ == Kind::unsignedInteger) return static_cast<float>(static_cast<std::uint64_t>(integer_));
    return static_cast<float>(integer_);
  }

  /// The number as a `Value`, if the conversion is exact. Absent if the conversion would truncate, wrap or round.
  /// Booleans convert to 0 and 1. NaN converts to NaN in both precisions.
  template <detail::ExactNumber Value>
  [[nodiscard]] constexpr std::optional<Value> exactly() const noexcept {
    if constexpr (std::same_as<Value, bool>) {
      if (isReal() ? real_ == 0 || real_ == 1 : integer_ == 0 || integer_ == 1) return boolValue();
      return std::nullopt;
    } else if constexpr (std::is_floating_point_v<Value>) {
      const Value value =
          std::same_as<Value, float> ? static_cast<Value>(floatValue()) : static_cast<Value>(doubleValue());
      if (*this == NSNumber(value)) return value;
      return std::nullopt;
    } else {
      if (isReal()) return realExactly<Value>(real_);
      const bool fits = kind_ == Kind::unsignedInteger ? std::in_range<Value>(static_cast<std::uint64_t>(integer_))
                                                       : std::in_range<Value>(integer_);
      if (fits) return static_cast<Value>(integer_);
      return std::nullopt;
    }
  }

  /// Whether both have the same kind and the same bit pattern: 0.0 and -0.0 differ.
  [[nodiscard]] constexpr bool isIdentical(const NSNumber& other) const noexcept {
    return kind_ == other.kind_ && bits() == other.bits();
  }

  /// The number in decimal, with the fewest digits that identify it: "1", "-5", "0.1", "1e+20", "nan". Booleans are "1"
  /// and "0".
  [[nodiscard]] TESSALY_EXPORT std::string description() const;

  /// Whether the values are exactly equal. The kinds may differ. NaN equals NaN.
  friend constexpr bool operator==(const NSNumber& left, const NSNumber& right) noexcept {
    if (left.isReal() && right.isReal()) {
      return left.real_ == right.real_ || (left.real_ != left.real_ && right.real_ != right.real_);
    }
    if (left.isReal()) return right.equalsReal(left.real_);
    if (right.isReal()) return left.equalsReal(right.real_);
    return left.integer_ == right.integer_ &&
           (left.kind_ == Kind::unsignedInteger) == (right.kind_ == Kind::unsignedInteger);
  }

 private:
  friend class PropertyList;
  friend struct std::hash<NSNumber>;

  constexpr NSNumber(Kind kind, std::uint64_t bits) noexcept : kind_(kind), integer_(0) {
    if (isReal()) {
      real_ = __builtin_bit_cast(double, bits);
    } else {
      integer_ = static_cast<std::int64_t>(bits);
    }
  }
  [[nodiscard]] constexpr std::uint64_t bits() const noexcept {
    return isReal() ? __builtin_bit_cast(std::uint64_t, real_) : static_cast<std::uint64_t>(integer_);
  }

  static constexpr std::int64_t cut(double real) noexcept {
    if (real != real) return 0;
    if (real >= 0x1p63) return std::numeric_limits<std::int64_t>::max();
    if (real < -0x1p63) return std::numeric_limits<std::int64_t>::min();
    return static_cast<std::int64_t>(real);
  }
  constexpr bool equalsReal(double real) const noexcept {
    if (kind_ == Kind::unsignedInteger) {
      return real >= 0x1p63 && real < 0x1p64 &&
             static_cast<std::uint64_t>(real) == static_cast<std::uint64_t>(integer_);
    }
    return real >= -0x1p63 && real < 0x1p63 && static_cast<double>(static_cast<std::int64_t>(real)) == real &&
           static_cast<std::int64_t>(real) == integer_;
  }
  template <typename Value>
  static constexpr std::optional<Value> realExactly(double real) noexcept {
    if (real >= 0x1p63 && real < 0x1p64) {
      const auto whole = static_cast<std::uint64_t>(real);  // From 2^63 on, every `double` is an integer.
      return std::in_range<Value>(whole) ? std::optional(static_cast<Value>(whole)) : std::nullopt;
    }
    if (!(real >= -0x1p63 && real < 0x1p63)) return std::nullopt;
    const auto whole = static_cast<std::int64_t>(real);
    if (static_cast<double>(whole) != real || !std::in_range<Value>(whole)) return std::nullopt;
    return static_cast<Value>(whole);
  }

  Kind kind_;
  union {
    std::int64_t integer_;
    double real_;
  };
};

/// Writes `description()`.
TESSALY_EXPORT std::ostream& operator<<(std::ostream& stream, const NSNumber& number);

}  // namespace Tessaly::inline v1

/// Equal numbers have equal hashes, even if their kinds differ.
template <>
struct std::hash<Tessaly::NSNumber> {
  TESSALY_EXPORT std::size_t operator()(const Tessaly::NSNumber& number) const noexcept;
};
