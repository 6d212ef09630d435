// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>

#include "FileIndex.hpp"
#include "Words.hpp"

namespace keeper {

// The texts of a row, in the user's language. They are made for visible rows only.

[[nodiscard]] std::string nameOf(const File& file);
[[nodiscard]] std::string sizeOf(const File& file);
[[nodiscard]] std::string kindOf(const File& file);
[[nodiscard]] std::string dateOf(const File& file);

/// "Files: 1,234". The number follows a noun in the plural, which every language can say.
[[nodiscard]] std::string counted(Word noun, std::size_t count);

}  // namespace keeper
