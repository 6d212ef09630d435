// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Formatters/detail/NumberText.hpp"

namespace Tessaly::inline v1::detail {

/// How the text around a number matches the label that a style writes there. `anyCase`: only the case of letters
/// differs. `absent`: the text has no label. `other`: anything else.
enum class LabelMatch : std::uint8_t { exact, anyCase, absent, other };

/// The values that a text can mean as a number of a given shape, the most probable value first. `values` is empty if
/// the text is not a number.
///
/// The label of a shape is its currency, its unit or its percent sign. The text may have the label in any width, or no
/// label. `label` says how the text around the number matches this label. If `label` is `other`, `values` is empty.
struct NumberReading {
  LabelMatch label = LabelMatch::other;
  std::vector<double> values;
};

/// Parses a number with or without its label. Accepts the digits and separators that `typedText` accepts. The number
/// may have one sign, before or after its digits. An amount of money in parentheses is negative. The value of a
/// percentage is the typed number divided by 100, even if the text has no percent sign.
///
/// Thread contract: thread-safe. Preparing a combination of locale and shape takes about 1 ms. Each thread keeps the 64
/// combinations that it used last.
[[nodiscard]] TESSALY_EXPORT NumberReading readNumber(const std::string& locale, const NumberShape& shape,
                                                      std::string_view text);

}  // namespace Tessaly::inline v1::detail
