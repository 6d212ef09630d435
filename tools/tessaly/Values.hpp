// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

#include "Command.hpp"
#include "Tessaly/Platform/Foundation/PropertyList.hpp"

namespace TessalyTool {

/// The value that the arguments spell: `-int 5`, `-array a -int 5`, or a bare text. Throws `UsageError`.
Tessaly::PropertyList parsedValue(Arguments arguments);

/// A value for people and scripts: texts as they are, everything else as it describes itself.
std::string printed(const Tessaly::PropertyList& value);

/// A key that begins a line: as it is, but quoted if it would break the line or steer the terminal.
std::string printedKey(std::string_view key);

}  // namespace TessalyTool
