// SPDX-License-Identifier: MIT
#include <algorithm>
#include <cstddef>
#include <string_view>

#include "Tessaly/Core/Text/UTF8.hpp"
#include "Tessaly/Core/Text/detail/SearchRun.hpp"

// The rules of the scripts: what each sign and letter appends to the result, and what it demands of its neighbours.

namespace Tessaly::inline v1::Text::detail {
namespace {

constexpr bool isOneOf(char32_t scalar, std::u32string_view scalars) noexcept { return scalars.contains(scalar); }

/// The vowels after which an upsilon is "u", and not "y". A vowel with an accent is not one of them.
constexpr std::u32string_view plainVowels = U"αειουΑΕΙΟΥ";
constexpr std::u32string_view upsilons = U"υΥύΎϋΫΰ";
/// The letters before which a gamma sounds like "n".
constexpr std::u32string_view velars = U"γκξχΓΚΞΧ";

/// Whether the scalar can be an accent of the letter before it.
constexpr bool isMark(char32_t scalar) noexcept { return scalar >= 0x300 && scalar <= 0x36F; }

constexpr bool isSmallKana(char32_t scalar) noexcept {
  return isOneOf(scalar, U"ぁぃぅぇぉゃゅょゎァィゥェォャュョヮヵヶ");
}
/// Whether the result of the sign depends on the syllable after it.
constexpr bool looksAhead(char32_t kana) noexcept { return isOneOf(kana, U"っんッン"); }

/// The sign that repeats the ideograph before it. The sign is not an ideograph.
constexpr char32_t iteration = U'々';

/// The largest number of signs between a sign and the letter that says which script the sign belongs to.
constexpr int maximumSignsBeforeLetter = 8;

/// Whether the ideograph may have another reading before `next`. A space counts too, because the deciding scalar may
/// stand after the space.
constexpr bool hasOwnReadingBefore(char32_t ideograph, char32_t next) noexcept {
  switch (ideograph) {
    case U'藏':
      return next == U'文' || next == U' ';
    case U'重':
      return next == U'庆' || next == U' ';
    case U'沈':
      return next == U'阳' || next == U' ';
    case U'秘':
      return next == U'鲁' || next == U' ';
    default:
      return false;
  }
}

}  // namespace

/// Appends the result of the current scalar. False if only ICU knows the result.
bool SearchRun::append(SearchScalar scalar) {
  return isLetter(scalar.kind()) ? appendLetter(scalar) : appendSign(scalar);
}

bool SearchRun::appendSign(SearchScalar found) {
  bool isFit = true;
  switch (found.kind()) {
    case SearchKind::plain:
    case SearchKind::closing:
      if (scalar() != U';') break;
      // In Greek text a semicolon is a question mark.
      if (context_.lastLetter == SearchKind::greek) {
        found = {SearchKind::closing, "?"};
      } else {
        isFit = note(semicolon, greek);
      }
      break;
    case SearchKind::opening:
      noteOpening();
      break;
    case SearchKind::latinOnly:
      if (scalar() == U'·' && context_.lastLetter == SearchKind::greek) {
        found = {SearchKind::closing, ":"};
      } else {
        isFit = note(latinOnly, otherScript);
      }
      break;
    case SearchKind::mark:
      return appendMark();
    case SearchKind::prolonged:
      isFit = isKana(context_.last) || context_.last == SearchKind::prolonged;
      break;
    case SearchKind::arabicSign:
      isFit = context_.last == SearchKind::arabic;
      break;
    case SearchKind::replacedBesideHan:
    case SearchKind::closingBesideHan:
      return appendSignBesideHan(found);
    default:
      isFit = false;
  }
  result_.append(found.text());
  return isFit;
}

/// Appends the space between an opening sign and an ideograph before it.
void SearchRun::noteOpening() {
  const SearchKind last = context_.last;
  if (last == SearchKind::han) {
    result_ += ' ';
  } else if (last != SearchKind::hanSymbol &&
             (isLetter(last) || last == SearchKind::mark || last == SearchKind::prolonged)) {
    hasOpeningAfterLetter_ = true;
  }
}

/// Appends the replacement of the sign if the letter before or after it is an ideograph, and otherwise the sign itself.
bool SearchRun::appendSignBesideHan(SearchScalar found) {
  bool isBesideHan = isHan(context_.lastLetter);
  std::size_t at = at_ + decoded_.length;
  for (int signs = 0; !isBesideHan && at < text_.size(); ++signs) {
    if (signs == maximumSignsBeforeLetter) return false;
    const DecodedScalar decoded = decodeScalar(text_, at);
    const SearchKind kind = scalarAt(decoded.scalar).kind();
    isBesideHan = isHan(kind);
    if (isLetter(kind)) break;
    at += decoded.length;
  }
  result_.append(isBesideHan ? found.text() : text_.substr(at_, decoded_.length));
  return true;
}

/// Drops the mark, or replaces the result of the Cyrillic letter before it with the result of the composed letter.
bool SearchRun::appendMark() {
  const SearchKind last = context_.last;
  if (last != SearchKind::cyrillic) {
    return last == SearchKind::latin || (last == SearchKind::mark && context_.beforeLast != SearchKind::cyrillic) ||
           isASCIIDigit(context_.lastScalar);
  }
  const SearchScalar base = searchScalar(context_.lastScalar);
  const SearchScalar composed = composedSearchScalar(context_.lastScalar, scalar());
  result_.resize(result_.size() - base.text().size());
  result_.append(composed.text());
  return composed.kind() == SearchKind::cyrillic && isASCIILetter(static_cast<unsigned char>(result_.back()));
}

bool SearchRun::appendLetter(SearchScalar found) {
  const SearchKind kind = found.kind();
  if (kind != SearchKind::latin && !note(otherScript, latinOnly)) return false;
  if (isHan(kind)) return appendHan(found);
  hasOpeningAfterLetter_ = false;
  if (kind == SearchKind::greek) return appendGreek();
  if (kind == SearchKind::hangul) return appendHangul(found.text());
  if (isKana(kind)) return appendKana(found);
  result_.append(found.text());
  // Letters that become signs, such as a Cyrillic hard sign, belong to the ideographs beside them.
  const auto isSign = [](char letter) { return !isASCIILetter(static_cast<unsigned char>(letter)); };
  return kind == SearchKind::latin || std::ranges::none_of(found.text(), isSign) || note(sign, han);
}

/// Replaces the current letter with the letter that it composes with the accents after it.
void SearchRun::composeGreek() {
  for (;;) {
    const char32_t composed = composedScalar(scalar(), next());
    if (composed == 0 || searchScalar(composed).kind() != SearchKind::greek) return;
    at_ += decoded_.length;
    decoded_ = {composed, decodeScalar(text_, at_).length};
  }
}

bool SearchRun::appendGreek() {
  if (followsLetterOfAnotherKind(SearchKind::greek) || !note(greek, semicolon)) return false;
  if (isMark(next())) composeGreek();
  const SearchScalar found = searchScalar(scalar());
  std::string_view text = found.text();
  const char32_t last = context_.last == SearchKind::greek ? context_.lastScalar : 0;
  if (isOneOf(scalar(), upsilons) && isOneOf(last, plainVowels)) {
    text = "u";
  } else if (isOneOf(scalar(), U"σςΣ") && isOneOf(last, U"πΠ")) {
    result_ += '\'';
  } else if (isOneOf(scalar(), U"γΓ") && isOneOf(next(), velars)) {
    text = "n";
  } else if (isOneOf(scalar(), U"νΝ") && isOneOf(next(), velars)) {
    text = "n'";
  }
  result_.append(text);
  return true;
}

bool SearchRun::appendHangul(std::string_view text) {
  if (followsLetterOfAnotherKind(SearchKind::hangul)) return false;
  const std::size_t begin = result_.size();
  if (hangulLength_ > 0) {
    const std::size_t count = hangulLength_ < 3 ? hangulLength_ : 3;
    if (needsHyphen(std::string_view(result_).substr(begin - count), scalar())) result_ += '-';
  }
  result_.append(text);
  hangulLength_ += result_.size() - begin;
  return true;
}

bool SearchRun::appendKana(SearchScalar found) {
  const char32_t after = next();
  const SearchScalar following = scalarAt(after);
  const bool isAhead = looksAhead(scalar());
  // A syllable and a small kana after it have one result.
  if (!isAhead && (isSmallKana(scalar()) || !isSmallKana(after))) {
    result_.append(found.text());
    return true;
  }
  if (!isKana(following.kind())) {
    result_.append(found.text());
    return following.kind() != SearchKind::unfit;
  }
  if (following.kind() != found.kind()) return false;
  const SearchScalar pair = kanaPair(scalar(), after);
  if (pair.kind() == SearchKind::unfit || (isAhead && !pair.text().ends_with(following.text()))) return false;
  std::string_view text = pair.text();
  if (isAhead) {
    text.remove_suffix(following.text().size());
  } else {
    at_ += decoded_.length;
    decoded_ = decodeScalar(text_, at_);
  }
  result_.append(text);
  return true;
}

/// Whether the current ideograph follows a sign that ends a part of a sentence.
bool SearchRun::followsStop() const noexcept {
  switch (context_.last) {
    case SearchKind::closing:
    case SearchKind::closingBesideHan:
      return true;
    case SearchKind::plain:
      // The transform of katakana turns an ideographic stop into a full stop.
      return context_.lastScalar == U'。' && context_.lastLetter == SearchKind::katakana;
    case SearchKind::latinOnly:
      // The transform of Greek turns a middle dot into a colon.
      return context_.lastScalar == U'·' && context_.lastLetter == SearchKind::greek;
    default:
      return false;
  }
}

bool SearchRun::appendHan(SearchScalar found) {
  const SearchKind last = context_.last;
  if (!note(han, sign) || hasOpeningAfterLetter_ || last == SearchKind::mark || last == SearchKind::arabicSign ||
      hasOwnReadingBefore(scalar(), next())) {
    return false;
  }
  bool needsSpace = false;
  if (last == SearchKind::han) {
    needsSpace = scalar() != iteration || context_.lastScalar != iteration;
  } else if (isLetter(last) || last == SearchKind::prolonged) {
    needsSpace = scalar() != iteration && last != SearchKind::hanSymbol;
  } else {
    needsSpace = followsStop();
  }
  if (needsSpace && found.kind() == SearchKind::han) result_ += ' ';
  result_.append(found.text());
  return true;
}

}  // namespace Tessaly::inline v1::Text::detail
