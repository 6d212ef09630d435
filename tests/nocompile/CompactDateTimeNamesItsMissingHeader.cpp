// expected: include Tessaly/FoundationExtensions/FormatStyle\+Extensions.hpp
// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Formatters/FormatStyle.hpp"
#ifdef ALLOWED
#include "Tessaly/FoundationExtensions/FormatStyle+Extensions.hpp"
#endif

Tessaly::Date::FormatStyle style() { return Tessaly::Date::FormatStyle::compactDateTime(); }
