// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>
#include <string>

/// What ICU and utf8proc offer beside characters and searches.
namespace Tessaly::Benchmarks::TextPeers {

/// Counts something in the text that it was made with.
using Counter = std::function<std::int64_t()>;

/// Characters by a break iterator that is kept, over the UTF-8 itself.
Counter charactersByICU(const std::string& text);
/// Characters by `utf8proc_grapheme_break_stateful`.
Counter charactersByUtf8proc(const std::string& text);

/// Whether a character is an emoji, told as ours tells it: by the first scalar, and whether there are more.
Counter emojiByICU(const std::string& text);
/// The same with utf8proc's boundaries. It has no property Emoji; that of ICU serves.
Counter emojiByUtf8proc(const std::string& text);

/// The transform for searches by a transliterator that is kept, from UTF-8 to UTF-8.
std::function<std::string()> transformedByICU(const std::string& text);

}  // namespace Tessaly::Benchmarks::TextPeers
