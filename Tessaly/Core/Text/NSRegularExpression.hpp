// SPDX-License-Identifier: MIT
// Component: Tessaly::Text
#pragma once

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

/// Why a pattern is no regular expression.
struct TESSALY_EXPORT RegularExpressionError final : Error {
  std::string pattern;
  /// ICU's name of the mistake, such as "U_REGEX_MISMATCHED_PAREN".
  std::string reason;

  RegularExpressionError(std::string pattern, std::string reason);
  ~RegularExpressionError() override;
  [[nodiscard]] std::string description() const override;
};

/// A compiled regular expression of ICU, with Unicode's properties and without options: case counts, "." stops at the
/// end of a line, "^" and "$" stand for those of the whole text.
///
/// Ranges count UTF-16 units. Copies share what was compiled. A search that needs more than the 8 MB that ICU sets
/// apart for going back finds nothing more. The nearest standard facility is `std::regex`, which knows bytes and not
/// characters, and whose depth of recursion grows with the text.
///
/// Thread contract: thread-safe.
///
///     const NSRegularExpression years("\\d{4}");
///     const std::vector<NSRange> found = years.matches(u"1965 to 1969");  // {0, 4} and {8, 4}
class TESSALY_EXPORT NSRegularExpression {
 public:
  /// Throws `RegularExpressionError`. Ill-formed UTF-8 counts as U+FFFD.
  explicit NSRegularExpression(std::string_view pattern);
  ~NSRegularExpression();
  // Moving shares, too: one that was moved from would be none.
  NSRegularExpression(const NSRegularExpression&) noexcept;
  NSRegularExpression& operator=(const NSRegularExpression&) noexcept;

  [[nodiscard]] const std::string& pattern() const noexcept;

  /// The ranges of all matches, which do not overlap, in order.
  [[nodiscard]] std::vector<NSRange> matches(std::u16string_view text) const;
  /// The range of the first match, if there is any.
  [[nodiscard]] std::optional<NSRange> rangeOfFirstMatch(std::u16string_view text) const;

 private:
  struct Compiled;
  [[nodiscard]] std::vector<NSRange> find(std::u16string_view text, std::size_t most) const;

  std::shared_ptr<const Compiled> compiled_;
};

}  // namespace Tessaly::inline v1
