// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Base/NumberDescription.hpp"

#include <array>
#include <charconv>
#include <cmath>

namespace Tessaly::inline v1 {
namespace {

template <typename Number>
std::string shortestText(Number value, Number largestWithAllDigits) {
  if (std::isnan(value)) return "nan";
  if (std::isinf(value)) return value < 0 ? "-inf" : "inf";
  const Number magnitude = std::abs(value);
  const bool isPlain = magnitude == 0 || (magnitude >= Number(0.0001) && magnitude <= largestWithAllDigits);
  std::array<char, 64> buffer;
  const auto end = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value,
                                 isPlain ? std::chars_format::fixed : std::chars_format::scientific);
  std::string text(buffer.data(), end.ptr);
  if (isPlain && text.find('.') == std::string::npos) text += ".0";
  return text;
}

}  // namespace

std::string numberDescription(double value) { return shortestText(value, 0x1p53); }
std::string numberDescription(float value) { return shortestText(value, 0x1p24F); }

}  // namespace Tessaly::inline v1
