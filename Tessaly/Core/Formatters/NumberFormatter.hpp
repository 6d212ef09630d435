// SPDX-License-Identifier: MIT
// Component: Tessaly::Formatters
#pragma once

#include <any>
#include <concepts>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Formatters/Formatter.hpp"
#include "Tessaly/Core/Foundation/NSNumber.hpp"
#include "Tessaly/Core/Text/Locale.hpp"

namespace Tessaly::inline v1 {

/// Writes numbers in the form of a locale, and parses such numbers.
///
/// For text that machines read, use `std::to_chars`. The nearest standard facility is `std::num_put` with a
/// `std::locale`. `std::num_put` writes only ASCII digits and needs a locale that was generated on the machine.
///
/// The first use of a locale prepares the locale in about 50 µs. The formatter keeps the eight prepared locales that it
/// used last. The prepared locales stay valid when the locale, the limits of the fraction digits or the zero symbol
/// change. After a change of any other property, the formatter prepares each locale again at its next use.
///
/// Thread contract: thread-compatible. Formatting and parsing change the formatter, although these functions are
/// `const`. So two threads need two formatters.
///
///     NumberFormatter formatter;
///     formatter.setLocale(Locale("de"));
///     formatter.setMaximumFractionDigits(2);
///     std::cout << formatter.string(1234.5678).value_or("");  // 1234,57
class TESSALY_EXPORT NumberFormatter : public Formatter {
 public:
  /// `none`: no grouping and no fraction digits. If the number has more than 42 integer digits, only the last 42 are
  /// written. `decimal`: grouping and up to three fraction digits. `percent`: the value times 100 in double precision,
  /// with grouping, without fraction digits, and with the locale's percent sign.
  enum class Style : std::uint8_t { none = 0, decimal = 1, percent = 3 };
  enum class RoundingMode : std::uint8_t {
    ceiling = 0,
    floor = 1,
    down = 2,
    up = 3,
    halfEven = 4,
    halfDown = 5,
    halfUp = 6,
  };

  NumberFormatter();
  ~NumberFormatter() override;

  /// A formatter with shared ownership.
  [[nodiscard]] static std::shared_ptr<NumberFormatter> make() { return std::make_shared<NumberFormatter>(); }

  /// "Tessaly.NumberFormatter".
  [[nodiscard]] std::string_view className() const noexcept override;

  /// The locale. Absent by default, which means the current locale at every use.
  [[nodiscard]] const std::optional<Locale>& locale() const noexcept TESSALY_LIFETIMEBOUND;
  void setLocale(const std::optional<Locale>& locale);

  [[nodiscard]] Style numberStyle() const noexcept;
  /// Sets the style. Also resets the limits of the fraction digits to those of the style.
  void setNumberStyle(Style style);

  /// A number pattern in the syntax of ICU's `DecimalFormat`. The formatter uses only the prefix and the suffix of the
  /// pattern, and only for negative numbers. In the pattern, "~" stands for the locale's sign of approximation. Absent
  /// by default. A malformed pattern counts as absent.
  [[nodiscard]] const std::optional<std::string>& negativeFormat() const noexcept TESSALY_LIFETIMEBOUND;
  void setNegativeFormat(const std::optional<std::string>& format);

  /// The texts before and after a number. Setting an absent value restores the text of the locale. If `negativeFormat`
  /// is set, an absent negative prefix or suffix restores that of the pattern.
  [[nodiscard]] std::string positivePrefix() const;
  void setPositivePrefix(const std::optional<std::string>& prefix);
  [[nodiscard]] std::string negativePrefix() const;
  void setNegativePrefix(const std::optional<std::string>& prefix);
  [[nodiscard]] std::string positiveSuffix() const;
  void setPositiveSuffix(const std::optional<std::string>& suffix);
  [[nodiscard]] std::string negativeSuffix() const;
  void setNegativeSuffix(const std::optional<std::string>& suffix);

  /// The minimum and maximum number of fraction digits, from 0 to 340. Other values count as the nearer bound. Setting
  /// one limit also moves the other limit if the minimum would exceed the maximum.
  [[nodiscard]] std::int64_t minimumFractionDigits() const noexcept;
  void setMinimumFractionDigits(std::int64_t digits) noexcept;
  [[nodiscard]] std::int64_t maximumFractionDigits() const noexcept;
  void setMaximumFractionDigits(std::int64_t digits) noexcept;

  /// How numbers are rounded. The rounding starts from a number's shortest decimal form, in which 1.005 is a tie.
  /// `halfEven` by default.
  [[nodiscard]] RoundingMode roundingMode() const noexcept;
  void setRoundingMode(RoundingMode mode);

  /// The whole text for an exact zero. The formatter adds no prefix and no suffix to this text. Absent by default.
  [[nodiscard]] const std::optional<std::string>& zeroSymbol() const noexcept TESSALY_LIFETIMEBOUND;
  void setZeroSymbol(const std::optional<std::string>& symbol);

  /// The signs of the locale.
  [[nodiscard]] std::string plusSign() const;
  [[nodiscard]] std::string minusSign() const;
  /// Absent if the locale has no decimal separator.
  [[nodiscard]] std::optional<std::string> decimalSeparator() const;

  /// The text of a number. Never absent.
  [[nodiscard]] std::optional<std::string> string(const NSNumber& number) const;
  template <typename Number>
    requires std::is_arithmetic_v<Number>
  [[nodiscard]] std::optional<std::string> string(Number number) const {
    return string(NSNumber(number));
  }
  /// The text of an `NSNumber`, `bool`, `float`, `double` or a standard integer type. Absent for every other object,
  /// including a `char` or a `long double`.
  [[nodiscard]] std::optional<std::string> string(const std::any& object) const override;

  /// Parses a number. The whole text must have the form that this formatter writes, prefix and suffix included.
  /// Otherwise the result is absent. Digits of every script, leading white space, an exponent ("1e3") and excess
  /// fraction digits are accepted. The time is O(n). A text of more than 10,000 characters is refused unless almost all
  /// of them are digits.
  [[nodiscard]] virtual std::optional<NSNumber> number(std::string_view text) const;

  /// Parses like `number`, and stores an `NSNumber`. Leaves `*errorDescription` unchanged.
  bool getObjectValue(std::any* object, std::string_view text,
                      std::optional<std::string>* errorDescription = nullptr) override;

 private:
  struct Configuration;
  class Engine;
  class State;

  [[nodiscard]] Engine& engine() const;
  Configuration& change();

  std::unique_ptr<State> state_;
};

}  // namespace Tessaly::inline v1
