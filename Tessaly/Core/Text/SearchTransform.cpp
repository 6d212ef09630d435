// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Text/detail/SearchTransform.hpp"

#include <unicode/uchar.h>
#include <unicode/unorm2.h>
#include <unicode/uscript.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "Tessaly/Core/Text/StringTransform.hpp"
#include "Tessaly/Core/Text/UTF8.hpp"
#include "Tessaly/Core/Text/detail/ASCII.hpp"

namespace Tessaly::inline v1::Text {
namespace {

/// The transform of one scalar, in UTF-8. The first byte is 0 before the first use, 0xFF for a scalar that depends on
/// its neighbours, and otherwise the length plus one. The text follows.
class Replacement {
 public:
  static constexpr std::size_t longest = 7;

  explicit Replacement(std::uint64_t bits) noexcept { std::memcpy(bytes_.data(), &bits, sizeof bits); }
  static Replacement none() noexcept { return Replacement(0xFF); }
  static Replacement of(std::string_view text) noexcept {
    Replacement made(0);
    made.bytes_[0] = static_cast<char>(text.size() + 1);
    text.copy(made.bytes_.data() + 1, longest);
    return made;
  }

  [[nodiscard]] std::uint64_t bits() const noexcept {
    std::uint64_t bits = 0;
    std::memcpy(&bits, bytes_.data(), sizeof bits);
    return bits;
  }
  [[nodiscard]] bool isKnown() const noexcept { return bytes_[0] != 0; }
  [[nodiscard]] bool isIndependent() const noexcept { return static_cast<unsigned char>(bytes_[0]) != 0xFF; }
  [[nodiscard]] std::string_view text() const noexcept {
    return {bytes_.data() + 1, static_cast<std::size_t>(bytes_[0] - 1)};
  }

 private:
  std::array<char, 1 + longest> bytes_;
};

/// The scalars with a cached result: Latin letters and their punctuation.
struct Block {
  char32_t first;
  char32_t end;
};
constexpr std::array<Block, 3> blocks{{{0x80, 0x300}, {0x1E00, 0x1F00}, {0x2000, 0x2070}}};
constexpr std::size_t replacementCount = (0x300 - 0x80) + 0x100 + 0x70;

constexpr std::size_t indexOf(char32_t scalar) noexcept {
  std::size_t index = 0;
  for (const Block& block : blocks) {
    if (scalar >= block.first && scalar < block.end) return index + (scalar - block.first);
    index += block.end - block.first;
  }
  return replacementCount;
}

/// Whether the transform treats the scalar alike in every context. Three parts of the transform look at neighbours. The
/// first part looks at runs of a script, and leaves Latin unchanged. The second composes, and drops marks after Latin
/// letters and digits. The third looks around a capital sigma, which is Greek.
bool isIndependent(char32_t scalar) noexcept {
  const auto point = static_cast<UChar32>(scalar);
  UErrorCode status = U_ZERO_ERROR;
  const UScriptCode script = uscript_getScript(point, &status);
  const UNormalizer2* composition = unorm2_getNFCInstance(&status);
  return U_SUCCESS(status) && (script == USCRIPT_LATIN || script == USCRIPT_COMMON) &&
         (U_GET_GC_MASK(point) & U_GC_M_MASK) == 0 && unorm2_hasBoundaryBefore(composition, point) != 0;
}

constinit std::array<std::atomic<std::uint64_t>, replacementCount> replacements{};

Replacement learned(char32_t scalar, std::atomic<std::uint64_t>& place) {
  Replacement replacement = Replacement::none();
  if (isIndependent(scalar)) {
    std::string text;
    appendScalar(text, scalar);
    const auto result = detail::transformedForSearchByICU(text);
    if (result && result->size() <= Replacement::longest) replacement = Replacement::of(*result);
  }
  place.store(replacement.bits(), std::memory_order_relaxed);
  return replacement;
}

Replacement replacementOf(char32_t scalar) {
  const std::size_t index = indexOf(scalar);
  if (index == replacementCount) return Replacement::none();
  const Replacement known(replacements[index].load(std::memory_order_relaxed));
  return known.isKnown() ? known : learned(scalar, replacements[index]);
}

void appendLowered(std::string& result, std::string_view ascii) {
  const std::size_t begin = result.size();
  result.append(ascii);
  char* bytes = result.data() + begin;
  for (std::size_t at = 0; at < ascii.size(); ++at) {
    const auto byte = static_cast<unsigned char>(bytes[at]);
    bytes[at] = static_cast<char>(byte + (static_cast<unsigned char>(byte - 'A') < 26 ? 0x20 : 0));
  }
}

}  // namespace

std::optional<std::string> transformedForSearch(std::string_view text) {
  std::string result;
  for (std::size_t at = 0; at < text.size();) {
    if (static_cast<unsigned char>(text[at]) < 0x80) {
      const std::size_t end = detail::skipASCII(text, at);
      if (at == 0) result.reserve(text.size());
      appendLowered(result, text.substr(at, end - at));
      at = end;
      continue;
    }
    const DecodedScalar decoded = decodeScalar(text, at);
    const Replacement replacement = replacementOf(decoded.scalar);
    if (!replacement.isIndependent()) return detail::transformedForSearchByICU(text);
    if (at == 0) result.reserve(text.size());
    result.append(replacement.text());
    at += decoded.length;
  }
  return result;
}

}  // namespace Tessaly::inline v1::Text
