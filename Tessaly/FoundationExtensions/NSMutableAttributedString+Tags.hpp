// SPDX-License-Identifier: MIT
// Component: Tessaly::FoundationExtensions
#pragma once

#include <string_view>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Text/NSMutableAttributedString.hpp"

namespace Tessaly::inline v1 {

/// Adds attributes to the whole text.
///
/// Thread contract: thread-safe, except on the same text.
TESSALY_EXPORT void addAttributes(NSMutableAttributedString& string,
                                  const NSMutableAttributedString::Attributes& attributes);

/// Takes each pair of tags away, `<b>` and `</b>` for the tag "b", and adds the attributes to what stood between them.
///
/// A pair goes from the first opening tag of a line to its last closing one; all tags between them go too. The pairs
/// are found before anything is changed, and their places are not corrected for what is taken away before them: with
/// pairs on several lines only the first is placed exactly. Nor is the length of a part for tags within it: where that
/// leaves the text, the call throws `std::out_of_range` with the text as changed so far. The tag is part of regular
/// expressions; one that makes none changes nothing. Ill-formed UTF-8 in it counts as U+FFFD.
///
/// Thread contract: thread-safe, except on the same text.
///
///     NSMutableAttributedString text("A <b>bold</b> word");
///     replace(text, "b", {{"weight", 700}});  // "A bold word"
TESSALY_EXPORT void replace(NSMutableAttributedString& string, std::string_view htmlTags,
                            const NSMutableAttributedString::Attributes& withAttributes);

}  // namespace Tessaly::inline v1
