// expected: too few arguments to function call, single argument 'charactersLimit' was not specified
// SPDX-License-Identifier: MIT
#include "Tessaly/Formatting/Formatters+CharactersLimit.hpp"

#ifdef ALLOWED
const auto limit = Tessaly::Formatters::CharactersLimit::make(3);
#else
const auto limit = Tessaly::Formatters::CharactersLimit::make();
#endif
