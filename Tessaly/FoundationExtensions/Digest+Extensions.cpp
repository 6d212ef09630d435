// SPDX-License-Identifier: MIT
#include <cstdint>
#include <span>
#include <string_view>

#include "Tessaly/FoundationExtensions/Digest+Extensions.hpp"

namespace Tessaly::inline v1 {
namespace {

std::string hexadecimal(std::span<const std::uint8_t> bytes) {
  constexpr std::string_view digits = "0123456789abcdef";
  std::string text;
  text.reserve(2 * bytes.size());
  for (const std::uint8_t byte : bytes) text += {digits[byte >> 4], digits[byte & 0xF]};
  return text;
}

}  // namespace

std::string stringEncoded(const SHA256Digest& digest) { return hexadecimal(digest.bytes); }

std::string stringEncoded(const HashedAuthenticationCode& code) { return hexadecimal(code.bytes); }

std::string Insecure::stringEncoded(const MD5Digest& digest) { return hexadecimal(digest.bytes); }

}  // namespace Tessaly::inline v1
