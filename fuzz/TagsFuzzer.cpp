// SPDX-License-Identifier: MIT
// Any tag in any text: nothing but the range error comes out, and the text stays whole in its attributes.
#include <any>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <string_view>

#include "Tessaly/FoundationExtensions/NSMutableAttributedString+Tags.hpp"
#include "Tessaly/Platform/Text/UTF8.hpp"

namespace {

using namespace Tessaly;

void require(bool condition) {
  if (!condition) std::abort();
}

void replaceIn(std::string_view text, std::string_view tag) {
  NSMutableAttributedString string(text);
  const std::string before = string.string();
  bool hasThrown = false;
  try {
    replace(string, tag, {{"found", true}});
  } catch (const std::out_of_range&) {
    hasThrown = true;
  }
  bool isMarked = false;
  for (std::int64_t at = 0; at < string.length();) {
    const NSRange run = string.effectiveRange(at);
    require(run.location == at && run.length > 0);
    isMarked = isMarked || string.attributes(at).contains("found");
    at += run.length;
  }
  const std::string after = string.string();
  require(Text::isWellFormed(after));
  if (after == before && !hasThrown) require(!isMarked || before.find('<') != std::string::npos);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // Longer patterns make expressions that go back for hours.
  const std::string_view text(reinterpret_cast<const char*>(data), size < 200 ? size : 200);
  replaceIn(text, "b");
  const std::size_t split = text.find('\0');
  if (split == std::string_view::npos) return 0;
  const std::string_view tag = text.substr(0, split < 8 ? split : 8);
  if (tag.find_first_of("*+{") == std::string_view::npos) replaceIn(text.substr(split + 1), tag);
  return 0;
}
