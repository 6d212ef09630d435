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

/// The work of all transforms of ICU in this process: the UTF-16 units that they read, and those that were moved
/// because a transform changed others.
///
/// Thread contract: thread-safe.
[[nodiscard]] TESSALY_EXPORT std::uint64_t transformStepsForTesting() noexcept;

}  // namespace Tessaly::inline v1::Text::detail
