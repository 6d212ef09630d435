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

/// Writes numbers as a locale does, and reads them again.
///
/// The nearest standard facility is `std::num_put` with a `std::locale`, which knows no digits but ASCII's and needs
/// the locale to be generated on the machine; for programs to read, use `std::to_chars`. Setting a property costs
/// nothing until the next use, which prepares the locale anew (about 50 us); the last eight locales stay prepared. The
/// limits of the fraction digits can be changed without that.
///
/// Thread contract: thread-compatible. Using it prepares locales inside, so two threads need two formatters.
///
///     NumberFormatter formatter;
///     formatter.setLocale(Locale("de"));
///     formatter.setMaximumFractionDigits(2);
///     std::cout << formatter.string(1234.5678).value_or("");  // 1234,57
class TESSALY_EXPORT NumberFormatter : public Formatter {
 public:
  /// `none`: no grouping and no fraction digits. `decimal`: grouped, up to three fraction digits. `percent`: the value
  /// times one hundred, in double precision, grouped, with the locale's sign.
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

  /// A formatter for those who share it.
  [[nodiscard]] static std::shared_ptr<NumberFormatter> make() { return std::make_shared<NumberFormatter>(); }

  /// "Tessaly.NumberFormatter".
  [[nodiscard]] std::string_view className() const noexcept override;

  /// Absent, as at first: the current locale at every use.
  [[nodiscard]] const std::optional<Locale>& locale() const noexcept;
  void setLocale(const std::optional<Locale>& locale);

  [[nodiscard]] Style numberStyle() const noexcept;
  /// Also resets the limits of the fraction digits to those of the style.
  void setNumberStyle(Style style);

  /// A pattern for negative numbers, of which the affixes count: "~" is the locale's sign of approximation. Absent at
  /// first. Ill-formed patterns are as good as absent.
  [[nodiscard]] const std::optional<std::string>& negativeFormat() const noexcept;
  void setNegativeFormat(const std::optional<std::string>& format);

  /// What stands before and behind. Setting an absent value restores the locale's own.
  [[nodiscard]] std::string positivePrefix() const;
  void setPositivePrefix(const std::optional<std::string>& prefix);
  [[nodiscard]] std::string negativePrefix() const;
  void setNegativePrefix(const std::optional<std::string>& prefix);
  [[nodiscard]] std::string positiveSuffix() const;
  void setPositiveSuffix(const std::optional<std::string>& suffix);
  [[nodiscard]] std::string negativeSuffix() const;
  void setNegativeSuffix(const std::optional<std::string>& suffix);

  /// From 0 to 340; values outside count as the nearer end. Setting one of the two moves the other if it must.
  [[nodiscard]] std::int64_t minimumFractionDigits() const noexcept;
  void setMinimumFractionDigits(std::int64_t digits) noexcept;
  [[nodiscard]] std::int64_t maximumFractionDigits() const noexcept;
  void setMaximumFractionDigits(std::int64_t digits) noexcept;

  /// What a number is rounded by: its shortest decimal form, so that 1.005 is a tie. At first `halfEven`.
  [[nodiscard]] RoundingMode roundingMode() const noexcept;
  void setRoundingMode(RoundingMode mode);

  /// The whole text of what is exactly zero, prefix and suffix included. Absent at first.
  [[nodiscard]] const std::optional<std::string>& zeroSymbol() const noexcept;
  void setZeroSymbol(const std::optional<std::string>& symbol);

  /// The signs of the locale.
  [[nodiscard]] std::string plusSign() const;
  [[nodiscard]] std::string minusSign() const;
  /// Absent when the locale has none.
  [[nodiscard]] std::optional<std::string> decimalSeparator() const;

  /// The text of a number. Absent when there is none.
  [[nodiscard]] std::optional<std::string> string(const NSNumber& number) const;
  template <typename Number>
    requires std::is_arithmetic_v<Number>
  [[nodiscard]] std::optional<std::string> string(Number number) const {
    return string(NSNumber(number));
  }
  /// The text of an `NSNumber` or of a number of the language; absent for everything else.
  [[nodiscard]] std::optional<std::string> string(const std::any& object) const override;

  /// Reads a number: the whole text must be one as this formatter writes it, prefix and suffix included. Absent if it
  /// is not. Digits of every script are read. Takes a time in proportion to the text, however long it is; one of more
  /// than 10,000 characters that are no mere digits is refused.
  [[nodiscard]] virtual std::optional<NSNumber> number(std::string_view text) const;

  /// As `number`, into an `NSNumber`.
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
