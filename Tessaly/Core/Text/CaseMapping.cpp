// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Text/CaseMapping.hpp"

#include <unicode/ustring.h>

#include <algorithm>
#include <cstdint>
#include <new>

#include "Tessaly/Core/Text/UTF16.hpp"

namespace Tessaly::inline v1 {
namespace {

using Mapping = decltype(&u_strToUpper);

bool isASCII(std::string_view text) noexcept {
  return std::ranges::all_of(text, [](char byte) { return static_cast<unsigned char>(byte) < 0x80; });
}

std::string mapped(std::string_view text, Mapping mapping) {
  const std::u16string units = Text::toUTF16(text);
  const auto length = static_cast<std::int32_t>(units.size());
  std::u16string result(units.size() + 8, u'\0');
  for (;;) {
    UErrorCode status = U_ZERO_ERROR;
    const std::int32_t needed =
        mapping(result.data(), static_cast<std::int32_t>(result.size()), units.data(), length, "", &status);
    if (status == U_MEMORY_ALLOCATION_ERROR) throw std::bad_alloc();
    result.resize(static_cast<std::size_t>(needed));
    if (U_SUCCESS(status)) return Text::fromUTF16(result);
  }
}

}  // namespace

std::string Text::uppercased(std::string_view text) {
  if (!isASCII(text)) return mapped(text, u_strToUpper);
  std::string result(text);
  for (char& byte : result) byte = static_cast<char>(byte >= 'a' && byte <= 'z' ? byte - 0x20 : byte);
  return result;
}

std::string Text::lowercased(std::string_view text) {
  if (!isASCII(text)) return mapped(text, u_strToLower);
  std::string result(text);
  for (char& byte : result) byte = static_cast<char>(byte >= 'A' && byte <= 'Z' ? byte + 0x20 : byte);
  return result;
}

}  // namespace Tessaly::inline v1
