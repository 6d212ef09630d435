// SPDX-License-Identifier: MIT
// Any tag in any text throws nothing but the range error, and the attributes still cover the whole text.
#include <any>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <string_view>

#include "Tessaly/Core/Text/UTF8.hpp"
#include "Tessaly/FoundationExtensions/NSMutableAttributedString+Tags.hpp"

namespace {

using namespace Tessaly;

void require(bool condition) {
  if (!condition) std::abort();
}

void replaceIn(std::string_view text, std::string_view tag) {
  NSMutableAttributedString string(text);
  try {
    replace(string, tag, {{"found", true}});
  } catch (const std::out_of_range&) {
    // This exception is documented for nested tags.
  }
  for (std::int64_t at = 0; at < string.length();) {
    const NSRange run = string.effectiveRange(at);
    require(run.location == at && run.length > 0);
    at += run.length;
  }
  require(Text::isWellFormed(string.string()));
  // Every replacement is at most as long as the original.
  require(string.length() <= NSMutableAttributedString(text).length());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // Longer patterns give expressions that backtrack for hours.
  const std::string_view text(reinterpret_cast<const char*>(data), size < 200 ? size : 200);
  replaceIn(text, "b");
  const std::size_t split = text.find('\0');
  if (split == std::string_view::npos) return 0;
  const std::string_view tag = text.substr(0, split < 8 ? split : 8);
  if (tag.find_first_of("*+{") == std::string_view::npos) replaceIn(text.substr(split + 1), tag);
  return 0;
}
