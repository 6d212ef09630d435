// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "Tessaly/Core/Foundation/Date.hpp"

namespace TessalyTool {

/// "2023-01-02 15:04:05.678", in the time zone of the user.
std::string timeText(Tessaly::Date date);

}  // namespace TessalyTool
