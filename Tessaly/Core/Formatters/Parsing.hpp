// SPDX-License-Identifier: MIT
// Component: Tessaly::Formatters
#pragma once

#include <cstdint>

#include "Tessaly/Core/Base/Requirements.hpp"

namespace Tessaly::inline v1 {

/// The texts that `DateFormatter::date` and the `parse` operations of the styles accept.
///
/// `strict`: only a text that the style itself would write for the result, byte for byte. `lenient`: a text as people
/// type it. Such a text may have digits of any script, spaces of any kind and letters of either case. The label of a
/// number, such as its currency, may be missing. Neither mode guesses: both refuse an impossible date, another currency
/// and a unit of another kind.
///
/// Thread contract: thread-safe.
///
///     PercentFormatStyle percent;
///     auto typed = percent.parse("57");                   // 0.57
///     auto exact = percent.parse("57", Parsing::strict);  // Absent, because the style writes "57%".
enum class Parsing : std::uint8_t { strict, lenient };

}  // namespace Tessaly::inline v1
