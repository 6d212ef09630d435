// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1::detail {

/// The text in the form of a string literal: in quotation marks, with quotation marks, backslashes and control
/// characters escaped. Bytes beyond ASCII stay unchanged.
[[nodiscard]] TESSALY_EXPORT std::string quoted(std::string_view text);

/// Escapes a text for one entry of a log that is read on a terminal. Lines after the first are indented, so they do
/// not look like further entries. All control characters except line feeds and tabs are escaped, including U+0080 to
/// U+009F, so the text cannot control the terminal.
[[nodiscard]] TESSALY_EXPORT std::string terminalText(std::string_view text);

}  // namespace Tessaly::inline v1::detail
