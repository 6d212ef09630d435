// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "Tessaly/Core/Formatters/PluralRules.hpp"
#include "Tessaly/Core/Formatters/detail/DecimalWriter.hpp"

namespace Tessaly::inline v1::detail {

/// The prepared plural rules of one locale.
///
/// Thread contract: thread-compatible.
class PluralCategories {
 public:
  PluralCategories(const std::string& locale, PluralRules::Kind kind);
  ~PluralCategories();

  /// A special value of the argument `fractionDigits`. It stands for the number of fraction digits in the magnitude's
  /// shortest decimal form.
  static constexpr int shortest = -1;

  /// The category of a magnitude that is shown with exactly `fractionDigits` fraction digits. The magnitude must not be
  /// negative.
  [[nodiscard]] PluralRules::Category of(double magnitude, int fractionDigits);

  /// The category of a rounded magnitude that is shown without trailing zeros.
  [[nodiscard]] PluralRules::Category of(const DecimalWriter::Decimals& shown);

 private:
  [[nodiscard]] PluralRules::Category ofICU(double magnitude, int fractionDigits) const;

  struct Rules;
  std::unique_ptr<Rules> rules_;
};

}  // namespace Tessaly::inline v1::detail
