// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <string>

#include "FileTexts.hpp"
#include "Preferences.hpp"
#include "Words.hpp"

namespace keeper {

/// A column beside the names. The user can hide it.
struct Column {
  Word title;
  std::string (*text)(const File&);
  /// Its usual width.
  int characters;
  bool isNumber;
  Tessaly::Default<bool>::Key shown;
};

/// In the order of the list.
inline constexpr std::array columns{
    Column{Word::size, sizeOf, 12, true, showsSizeKey},
    Column{Word::kind, kindOf, 24, false, showsKindKey},
    Column{Word::modified, dateOf, 22, false, showsDateKey},
};

}  // namespace keeper
