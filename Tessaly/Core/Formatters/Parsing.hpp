// SPDX-License-Identifier: MIT
// Component: Tessaly::Formatters
#pragma once

#include <cstdint>

#include "Tessaly/Core/Base/Requirements.hpp"

namespace Tessaly::inline v1 {

/// The texts that the `parse` operations of the styles and `DateFormatter::date` accept.
///
/// `strict`: only a text that the style itself would write for the result, byte for byte. `lenient`: a text as people
/// type it. The digits may be those of any script, spaces may be of any kind, letters may have either case, and what
/// the style adds to a number may be missing. Neither guesses: an impossible date, another currency or a unit of
/// another kind is refused.
///
/// Thread contract: thread-safe.
///
///     PercentFormatStyle percent;
///     auto typed = percent.parse("57");                   // 0.57
///     auto exact = percent.parse("57", Parsing::strict);  // Absent, because the style writes "57%".
enum class Parsing : std::uint8_t { strict, lenient };

}  // namespace Tessaly::inline v1
