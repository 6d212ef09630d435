// SPDX-License-Identifier: MIT
#include <array>
#include <cstddef>

#include "Tessaly/Core/Base/detail/Hexadecimal.hpp"
#include "Tessaly/FoundationExtensions/String+HexColor.hpp"

namespace Tessaly::inline v1 {
std::optional<String::ColorIntegerComponents> String::hexColorIntegerComponents(std::string_view text) noexcept {
  if (text.starts_with('#')) text.remove_prefix(1);
  const std::size_t count = text.size();
  if (count != 3 && count != 4 && count != 6 && count != 8) return std::nullopt;
  std::array<int, 8> digits{};
  for (std::size_t at = 0; at < count; ++at) {
    digits[at] = detail::hexadecimalValue(text[at]);
    if (digits[at] < 0) return std::nullopt;
  }
  const auto component = [&](std::size_t index) -> std::int64_t {
    return count <= 4 ? digits[index] * 17 : digits[2 * index] * 16 + digits[2 * index + 1];
  };
  const bool hasAlpha = count == 4 || count == 8;
  return ColorIntegerComponents{
      .red = component(0), .green = component(1), .blue = component(2), .alpha = hasAlpha ? component(3) : 255};
}

std::optional<String::ColorComponents> String::hexColorComponents(std::string_view text) noexcept {
  const auto components = hexColorIntegerComponents(text);
  if (!components) return std::nullopt;
  const auto fraction = [](std::int64_t component) { return static_cast<double>(component) / 255.0; };
  return ColorComponents{.red = fraction(components->red),
                         .green = fraction(components->green),
                         .blue = fraction(components->blue),
                         .alpha = fraction(components->alpha)};
}

}  // namespace Tessaly::inline v1
