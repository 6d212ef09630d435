// SPDX-License-Identifier: MIT
// Component: Tessaly::Text
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1::Text {

/// The text passed through a transform of ICU, named as ICU names it: "Any-Latin", "Latin-ASCII; Lower". Nothing if
/// there is no such transform. Ill-formed UTF-8 counts as U+FFFD.
///
/// A transform is made at its first use, which may take ten milliseconds and more, and kept.
///
/// Thread contract: thread-safe.
///
///     const std::optional<std::string> name = Text::transformed("Ελληνικά", "Any-Latin");  // Ellēniká
[[nodiscard]] TESSALY_EXPORT std::optional<std::string> transformed(std::string_view text, std::string_view identifier);

/// The same as `transformed(text, "Any-Latin; Latin-ASCII; Lower")`, without exception, but faster: a text of ASCII and
/// Latin letters, precomposed, does not go through ICU.
///
/// Thread contract: thread-safe.
[[nodiscard]] TESSALY_EXPORT std::optional<std::string> transformedForSearch(std::string_view text);

}  // namespace Tessaly::inline v1::Text
