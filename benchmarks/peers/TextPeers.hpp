// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>
#include <string>

/// The facilities of ICU and utf8proc beside characters and searches.
namespace Tessaly::Benchmarks::TextPeers {

/// Counts something in its text.
using Counter = std::function<std::int64_t()>;

/// Characters by a reused break iterator, over the UTF-8 itself.
Counter charactersByICU(const std::string& text);
/// Characters by `utf8proc_grapheme_break_stateful`.
Counter charactersByUtf8proc(const std::string& text);

/// Whether a character is an emoji, by the same rule as ours: the first scalar, and whether others follow.
Counter emojiByICU(const std::string& text);
/// `emojiByICU` with utf8proc's boundaries. The property Emoji comes from ICU, because utf8proc lacks it.
Counter emojiByUtf8proc(const std::string& text);

/// The transform for searches by a reused transliterator, from UTF-8 to UTF-8.
std::function<std::string(const std::string&)> transformedByICU();

}  // namespace Tessaly::Benchmarks::TextPeers
