// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1::Text::detail {

/// The form of a text for searches. ICU transforms the whole text. Absent if ICU cannot make the transform. Throws
/// `std::length_error` if the text has more than 2^30 - 1 bytes.
[[nodiscard]] std::optional<std::string> transformedForSearchByICU(std::string_view text);

/// The work of all ICU transforms that the library has run in this process, counted in UTF-16 units. The number is the
/// sum of the units that the transforms read and of the units that were moved to make room for changes.
///
/// Thread contract: thread-safe.
[[nodiscard]] TESSALY_EXPORT std::uint64_t transformStepsForTesting() noexcept;

}  // namespace Tessaly::inline v1::Text::detail
