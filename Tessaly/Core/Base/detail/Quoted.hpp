// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1::detail {

/// The text as it would stand in a source: in quotation marks, with quotation marks, backslashes and control characters
/// escaped. Bytes beyond ASCII stay as they are.
[[nodiscard]] TESSALY_EXPORT std::string quoted(std::string_view text);

}  // namespace Tessaly::inline v1::detail
