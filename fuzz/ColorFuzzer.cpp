// SPDX-License-Identifier: MIT
// Any bytes read as the same colour as with a slow parser of the same rules.
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>

#include "Tessaly/FoundationExtensions/String+HexColor.hpp"

namespace {

namespace String = Tessaly::String;

void require(bool condition) {
  if (!condition) std::abort();
}

std::optional<String::ColorIntegerComponents> slowly(std::string text) {
  if (!text.empty() && text[0] == '#') text.erase(0, 1);
  for (const char byte : text) {
    if (std::isxdigit(static_cast<unsigned char>(byte)) == 0) return std::nullopt;
  }
  if (text.size() == 3) text += "f";
  if (text.size() == 4) text = {text[0], text[0], text[1], text[1], text[2], text[2], text[3], text[3]};
  if (text.size() == 6) text += "ff";
  if (text.size() != 8) return std::nullopt;
  const auto number = [&](std::size_t at) { return std::stoll(text.substr(at, 2), nullptr, 16); };
  return String::ColorIntegerComponents(number(0), number(2), number(4), number(6));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  // Short prefixes are colours more often, so they are tried, too.
  for (const std::string_view part : {text, text.substr(0, 3), text.substr(0, 5), text.substr(0, 9)}) {
    const auto components = String::hexColorIntegerComponents(part);
    require(components == slowly(std::string(part)));
    const auto fractions = String::hexColorComponents(part);
    require(fractions.has_value() == components.has_value());
    if (fractions) require(fractions->red * 255 == static_cast<double>(components->red) && fractions->alpha <= 1);
  }
  return 0;
}
