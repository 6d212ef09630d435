// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace Tessaly::inline v1::Text::detail {

/// The text after ICU's transform for searches, without the fast way.
[[nodiscard]] std::optional<std::string> transformedForSearchByICU(std::string_view text);

}  // namespace Tessaly::inline v1::Text::detail
