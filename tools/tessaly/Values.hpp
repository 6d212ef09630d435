// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "Command.hpp"
#include "Tessaly/Platform/Foundation/PropertyList.hpp"

namespace TessalyTool {

/// The value that the arguments spell: `-int 5`, `-array a -int 5`, or a bare text. Throws `UsageError`.
Tessaly::PropertyList parsedValue(Arguments arguments);

/// A value for people and scripts: texts as they are, everything else as it describes itself.
std::string printed(const Tessaly::PropertyList& value);

}  // namespace TessalyTool
