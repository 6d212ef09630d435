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

/// Removes each pair of tags, such as `<b>` and `</b>` for the tag "b", and adds the attributes to the text between
/// them.
///
/// A pair is the first opening tag and the last closing tag of a line. All tags of the same name between the two are
/// removed too. The positions of all pairs are computed before the text changes, and are intentionally not corrected
/// for removed tags. So, with pairs on several lines, only the first pair is replaced correctly. For each later pair,
/// the call replaces the wrong characters. The length of the range that gets the attributes is not corrected for tags
/// inside the pair either. With such tags, that range also covers text after the pair. If a range exceeds the text, the
/// call throws `std::out_of_range`. The changes that the call has made so far stay. The tag is inserted into regular
/// expressions without escaping. An invalid expression finds nothing. Ill-formed UTF-8 in the tag counts as U+FFFD.
///
/// Cost: O(n) for a tag of printable ASCII without the special characters of regular expressions. Any other tag takes
/// O(n²) for a line with many opening tags and no closing tag.
///
/// Thread contract: thread-safe, except on the same text.
///
///     NSMutableAttributedString text("A <b>bold</b> word");
///     replace(text, "b", {{"weight", 700}});  // "A bold word"
TESSALY_EXPORT void replace(NSMutableAttributedString& string, std::string_view htmlTags,
                            const NSMutableAttributedString::Attributes& withAttributes);

}  // namespace Tessaly::inline v1
