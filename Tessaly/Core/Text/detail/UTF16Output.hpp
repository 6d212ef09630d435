// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "Tessaly/Core/Text/UTF16.hpp"

namespace Tessaly::inline v1::detail {

/// `Text::fromUTF16` for ICU's string class. This function is a template because no header of the library may name that
/// class.
///
/// Thread contract: thread-safe.
template <typename UnicodeString>
  requires requires(const UnicodeString& units) { units.getBuffer(); }
[[nodiscard]] std::string fromUTF16(const UnicodeString& units) {
  return Text::fromUTF16(std::u16string_view(units.getBuffer(), static_cast<std::size_t>(units.length())));
}

}  // namespace Tessaly::inline v1::detail
