// SPDX-License-Identifier: MIT
#pragma once

#include "FileIndex.hpp"
#include "Tessaly/Core/Foundation/Data.hpp"

namespace keeper {

/// A table of files for spreadsheets: name, size in bytes, date of modification in ISO 8601.
[[nodiscard]] Tessaly::Data table(const Files& files);

}  // namespace keeper
