// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1::Text::detail {

/// The text after ICU's own transform for searches.
[[nodiscard]] std::optional<std::string> transformedForSearchByICU(std::string_view text);

/// The work of all transforms of ICU in this process, as a number of UTF-16 units. Counts the units that the transforms
/// read, plus the units that were moved to make room for changes.
///
/// Thread contract: thread-safe.
[[nodiscard]] TESSALY_EXPORT std::uint64_t transformStepsForTesting() noexcept;

}  // namespace Tessaly::inline v1::Text::detail
