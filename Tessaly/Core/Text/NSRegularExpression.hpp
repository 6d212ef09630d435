// SPDX-License-Identifier: MIT
// Component: Tessaly::Text
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Tessaly/Core/Base/Error.hpp"
#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Text/NSRange.hpp"

namespace Tessaly::inline v1 {

/// The error of a malformed pattern.
struct TESSALY_EXPORT RegularExpressionError final : Error {
  std::string pattern;
  /// ICU's name of the mistake, such as "U_REGEX_MISMATCHED_PAREN".
  std::string reason;

  RegularExpressionError(std::string pattern, std::string reason);
  ~RegularExpressionError() override;
  [[nodiscard]] std::string description() const override;
};

/// A compiled regular expression of ICU, with ICU's default options. Classes such as "\w" follow Unicode's properties.
/// Case matters. "." does not match a line end. "^" matches at the beginning of the text. "$" matches at the end of the
/// text, and before a line end that ends the text.
///
/// Ranges count UTF-16 units. Copies share the compiled expression. A search that exceeds ICU's 8 MB for backtracking
/// finds no further match. The nearest standard facility is `std::regex`, which matches bytes instead of characters.
/// The recursion of `std::regex` is as deep as the text is long.
///
/// Thread contract: thread-safe.
///
///     const NSRegularExpression years("\\d{4}");
///     const std::vector<NSRange> found = years.matches(u"1965 to 1969");  // {0, 4} and {8, 4}
class TESSALY_EXPORT NSRegularExpression {
 public:
  /// Throws `RegularExpressionError` if the pattern is malformed. Ill-formed UTF-8 counts as U+FFFD.
  explicit NSRegularExpression(std::string_view pattern);
  ~NSRegularExpression();
  // A move also shares the expression, because otherwise a moved-from object would be unusable.
  NSRegularExpression(const NSRegularExpression&) noexcept;
  NSRegularExpression& operator=(const NSRegularExpression&) noexcept;

  [[nodiscard]] const std::string& pattern() const noexcept TESSALY_LIFETIMEBOUND;

  /// The ranges of all matches, in order. They do not overlap. Throws `std::length_error` for a text of 2^31 units or
  /// more.
  [[nodiscard]] std::vector<NSRange> matches(std::u16string_view text) const;
  /// The range of the first match. Absent if there is no match. Throws `std::length_error` for a text of 2^31 units or
  /// more.
  [[nodiscard]] std::optional<NSRange> rangeOfFirstMatch(std::u16string_view text) const;

 private:
  struct Compiled;
  [[nodiscard]] std::vector<NSRange> find(std::u16string_view text, std::size_t most) const;

  std::shared_ptr<const Compiled> compiled_;
};

}  // namespace Tessaly::inline v1
