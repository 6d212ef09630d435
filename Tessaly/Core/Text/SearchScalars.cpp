// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Text/detail/SearchScalars.hpp"

#include <unicode/uchar.h>
#include <unicode/unorm2.h>
#include <unicode/uscript.h>

#include <atomic>
#include <optional>
#include <string>

#include "Tessaly/Core/Text/UTF8.hpp"
#include "Tessaly/Core/Text/detail/SearchTransform.hpp"

namespace Tessaly::inline v1::Text::detail {
namespace {

/// The kinds and the results of the scalars of the first plane. The system provides a page of this table when a scalar
/// in that page is first looked up.
constexpr std::size_t scalarCount = 0x10000;
constinit std::array<std::atomic<std::uint64_t>, scalarCount> scalars{};

/// Pairs of kana: the two scalars in 16 bits, and up to 6 bytes of text.
constinit std::array<std::atomic<std::uint64_t>, 512> kanaPairs{};

/// The known answers of `needsHyphen`: a key of 24 bits, and the answer in 2 bits.
constinit std::array<std::atomic<std::uint32_t>, 4096> hyphens{};

bool isIn(char32_t scalar, char32_t first, char32_t last) noexcept { return scalar >= first && scalar <= last; }

/// The kind of a sign that belongs to no script. The transforms of scripts change some symbols. So in text of scripts
/// other than Latin, the fast way takes only punctuation, spaces and digits.
SearchKind kindOfCommon(char32_t scalar, std::uint32_t category) noexcept {
  if (scalar == U'ー') return SearchKind::prolonged;
  if (scalar == U'،' || scalar == U'؛' || scalar == U'؟' || scalar == U'ـ') return SearchKind::arabicSign;
  // The transforms of Greek and kana also change some punctuation.
  const bool isPunctuation = (category & (U_GC_P_MASK | U_GC_ZS_MASK | U_GC_ND_MASK)) != 0 && scalar != U'·' &&
                             scalar != U'～' && scalar != U'゠';
  const bool isKnown =
      scalar < 0x100 || isIn(scalar, 0x2000, 0x206F) || isIn(scalar, 0x3000, 0x30FF) || isIn(scalar, 0xFF01, 0xFF5E);
  if (!isPunctuation || !isKnown) return SearchKind::latinOnly;
  if ((category & (U_GC_PS_MASK | U_GC_PI_MASK)) != 0) return SearchKind::opening;
  if ((category & (U_GC_PE_MASK | U_GC_PF_MASK)) != 0) return SearchKind::closing;
  constexpr std::u32string_view ends = U".,:;?!．，：；？！、";
  return ends.contains(scalar) ? SearchKind::closing : SearchKind::plain;
}

/// The kind of a letter. A letter is fit only if its script's transform depends on a known part of the letter's
/// neighbourhood. Letters that such a transform treats specially are unfit.
SearchKind kindOfLetter(char32_t scalar, UScriptCode script, std::uint32_t category) noexcept {
  switch (script) {
    case USCRIPT_LATIN:
      return (category & U_GC_L_MASK) != 0 ? SearchKind::latin : SearchKind::latinOnly;
    case USCRIPT_CYRILLIC:
      return (category & U_GC_L_MASK) != 0 ? SearchKind::cyrillic : SearchKind::unfit;
    case USCRIPT_GREEK:
      return isIn(scalar, U'Ά', U'ώ') ? SearchKind::greek : SearchKind::unfit;
    case USCRIPT_HEBREW:
      return isIn(scalar, U'א', U'ת') ? SearchKind::hebrew : SearchKind::unfit;
    case USCRIPT_ARABIC:
      return isIn(scalar, 0x0620, 0x06D3) && scalar != U'٫' && scalar != U'٬' ? SearchKind::arabic : SearchKind::unfit;
    case USCRIPT_HANGUL:
      return isIn(scalar, U'가', U'힣') ? SearchKind::hangul : SearchKind::unfit;
    case USCRIPT_HIRAGANA:
      return isIn(scalar, U'ぁ', U'ゔ') ? SearchKind::hiragana : SearchKind::unfit;
    case USCRIPT_KATAKANA:
      return isIn(scalar, U'ァ', U'ヺ') ? SearchKind::katakana : SearchKind::unfit;
    case USCRIPT_HAN:
      return scalar == U'々' || isIn(scalar, 0x3400, 0x4DBF) || isIn(scalar, 0x4E00, 0x9FFF) ? SearchKind::han
                                                                                             : SearchKind::unfit;
    default:
      return SearchKind::unfit;
  }
}

/// Whether the scalar is an accent of Latin letters. False for accents that the transform of Greek turns into letters.
bool isLatinMark(char32_t scalar) noexcept {
  return isIn(scalar, 0x0300, 0x036F) && scalar != 0x0313 && scalar != 0x0314 && !isIn(scalar, 0x0340, 0x0345);
}

SearchKind kindOf(char32_t scalar) noexcept {
  const auto point = static_cast<UChar32>(scalar);
  UErrorCode status = U_ZERO_ERROR;
  const UScriptCode script = uscript_getScript(point, &status);
  const UNormalizer2* composition = unorm2_getNFCInstance(&status);
  if (U_FAILURE(status)) return SearchKind::unfit;
  if (isLatinMark(scalar)) return SearchKind::mark;
  const std::uint32_t category = U_GET_GC_MASK(point);
  if ((category & U_GC_M_MASK) != 0 || unorm2_hasBoundaryBefore(composition, point) == 0) return SearchKind::unfit;
  return script == USCRIPT_COMMON ? kindOfCommon(scalar, category) : kindOfLetter(scalar, script, category);
}

/// The result of a scalar between two ideographs, and the spaces around that result.
struct FormBesideHan {
  bool hasSpaceBefore = false;
  bool hasSpaceAfter = false;
  std::string text;
};

std::optional<FormBesideHan> formBesideHan(std::string_view scalar) {
  constexpr std::string_view ideograph = "字";
  constexpr std::string_view reading = "zi";
  const auto result = transformedForSearchByICU(std::string(ideograph).append(scalar).append(ideograph));
  if (!result || result->size() < 2 * reading.size() || !result->starts_with(reading) || !result->ends_with(reading)) {
    return std::nullopt;
  }
  std::string_view text(*result);
  text = text.substr(reading.size(), text.size() - 2 * reading.size());
  FormBesideHan form{text.starts_with(' '), text.ends_with(' '), {}};
  if (form.hasSpaceBefore) text.remove_prefix(1);
  if (form.hasSpaceAfter && !text.empty()) text.remove_suffix(1);
  form.text = text;
  return form;
}

/// The kind and the result of a sign or letter that versions of ICU treat differently in a run of ideographs. `result`
/// is the result of the scalar alone.
SearchScalar learnedBesideHan(SearchKind kind, std::string_view scalar, std::string_view result) {
  const SearchScalar unfit{SearchKind::unfit, ""};
  const auto form = formBesideHan(scalar);
  if (!form || form->text.size() > SearchScalar::maximumLength) return unfit;
  if (form->text != result) {
    if (isLetter(kind) || result != scalar || form->hasSpaceBefore) return unfit;
    return {form->hasSpaceAfter ? SearchKind::closingBesideHan : SearchKind::replacedBesideHan, form->text};
  }
  if (isLetter(kind)) return {form->hasSpaceBefore ? SearchKind::han : SearchKind::hanSymbol, result};
  if (form->hasSpaceBefore) return {SearchKind::opening, result};
  return {form->hasSpaceAfter ? SearchKind::closing : SearchKind::plain, result};
}

/// Whether ICU decides, and not a rule of the library, how the scalar behaves in a run of ideographs.
bool isLearnedBesideHan(char32_t scalar, SearchKind kind) noexcept {
  const bool isSign = kind == SearchKind::plain || kind == SearchKind::opening || kind == SearchKind::closing;
  return scalar == U'々' || (isSign && isIn(scalar, 0x3001, 0x30FF));
}

SearchScalar learned(char32_t scalar) {
  const SearchKind kind = kindOf(scalar);
  if (kind == SearchKind::mark || kind == SearchKind::prolonged) return {kind, ""};
  const std::string_view before = kind == SearchKind::arabicSign ? "ب" : "";
  std::string text(before);
  appendScalar(text, scalar);
  const auto result = kind == SearchKind::unfit ? std::nullopt : transformedForSearchByICU(text);
  if (!result || result->size() > SearchScalar::maximumLength) return {SearchKind::unfit, ""};
  if (isLearnedBesideHan(scalar, kind)) return learnedBesideHan(kind, text, *result);
  if (kind == SearchKind::han && *result == text) return {SearchKind::unfit, ""};
  return {kind, std::string_view(*result).substr(before.empty() ? 0 : 1)};
}

/// The kind and the result of a scalar beyond the first plane. No transform knows the pictures there.
SearchScalar beyondFirstPlane(char32_t scalar) {
  if (!isIn(scalar, 0x1F300, 0x1FAFF) || u_charType(static_cast<UChar32>(scalar)) != U_OTHER_SYMBOL) {
    return {SearchKind::unfit, ""};
  }
  std::string text;
  appendScalar(text, scalar);
  return {SearchKind::plain, text};
}

}  // namespace

SearchScalar searchScalar(char32_t scalar) {
  if (scalar >= scalarCount) return beyondFirstPlane(scalar);
  std::atomic<std::uint64_t>& place = scalars[scalar];
  SearchScalar known(place.load(std::memory_order_relaxed));
  if (known.kind() == SearchKind::unknown) [[unlikely]] {
    known = learned(scalar);
    place.store(known.bits(), std::memory_order_relaxed);
  }
  return known;
}

char32_t composedScalar(char32_t letter, char32_t mark) noexcept {
  UErrorCode status = U_ZERO_ERROR;
  const UNormalizer2* composition = unorm2_getNFCInstance(&status);
  if (U_FAILURE(status)) return 0;
  const UChar32 composed = unorm2_composePair(composition, static_cast<UChar32>(letter), static_cast<UChar32>(mark));
  return composed >= 0 ? static_cast<char32_t>(composed) : 0;
}

SearchScalar composedSearchScalar(char32_t letter, char32_t mark) {
  const char32_t composed = composedScalar(letter, mark);
  return searchScalar(composed != 0 ? composed : letter);
}

SearchScalar kanaPair(char32_t first, char32_t second) {
  const std::uint64_t key = (first & 0xFF) << 8 | (second & 0xFF);
  std::atomic<std::uint64_t>& place = kanaPairs[(first * 67 + second) % kanaPairs.size()];
  const std::uint64_t known = place.load(std::memory_order_relaxed);
  if ((known & 0xFFFF) == key) {
    std::array<char, 6> letters{};
    for (std::size_t at = 0; at < letters.size(); ++at) letters[at] = static_cast<char>(known >> (16 + 8 * at));
    return {SearchKind::hiragana, {letters.data(), ::strnlen(letters.data(), letters.size())}};
  }
  std::string text;
  appendScalar(text, first);
  appendScalar(text, second);
  const auto result = transformedForSearchByICU(text);
  if (!result || result->size() > 6) return {SearchKind::unfit, ""};
  std::uint64_t bits = key;
  for (std::size_t at = 0; at < result->size(); ++at) {
    bits |= std::uint64_t{static_cast<unsigned char>((*result)[at])} << (16 + 8 * at);
  }
  place.store(bits, std::memory_order_relaxed);
  return {SearchKind::hiragana, *result};
}

bool needsHyphen(std::string_view letters, char32_t syllable) {
  // Only the initial and the vowel of the syllable matter. They have 399 combinations.
  std::uint32_t key = (syllable - U'가') / 28;
  for (std::size_t at = 0; at < 3; ++at) {
    const char letter = at < letters.size() ? letters[at] : '\0';
    key = key * 28 + static_cast<std::uint32_t>(letter == '\0' ? 0 : letter == '-' ? 1 : letter - 'a' + 2);
  }
  std::atomic<std::uint32_t>& place = hyphens[(key * 2654435761U) >> 20];
  const std::uint32_t known = place.load(std::memory_order_relaxed);
  constexpr std::uint32_t isKnown = 2;
  if (known >> 2 == key && (known & isKnown) != 0) return (known & 1) != 0;
  std::string text(letters);
  appendScalar(text, syllable);
  const auto result = transformedForSearchByICU(text);
  const bool isNeeded = result && result->substr(letters.size()).starts_with('-');
  place.store(key << 2 | isKnown | (isNeeded ? 1 : 0), std::memory_order_relaxed);
  return isNeeded;
}

}  // namespace Tessaly::inline v1::Text::detail
