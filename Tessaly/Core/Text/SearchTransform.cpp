// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Text/detail/SearchTransform.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "Tessaly/Core/Text/StringTransform.hpp"
#include "Tessaly/Core/Text/UTF8.hpp"
#include "Tessaly/Core/Text/detail/ASCII.hpp"
#include "Tessaly/Core/Text/detail/SearchScalars.hpp"

namespace Tessaly::inline v1::Text {
namespace {

using detail::isKana;
using detail::isLetter;
using detail::SearchKind;
using detail::SearchScalar;

constexpr bool isASCIILetter(char32_t scalar) noexcept { return ((scalar | 0x20) - U'a') < 26; }
constexpr bool isASCIIDigit(char32_t scalar) noexcept { return (scalar - U'0') < 10; }

void appendLowered(std::string& result, std::string_view ascii) {
  const std::size_t begin = result.size();
  result.append(ascii);
  char* bytes = result.data() + begin;
  for (std::size_t at = 0; at < ascii.size(); ++at) {
    const auto byte = static_cast<unsigned char>(bytes[at]);
    bytes[at] = static_cast<char>(byte + (static_cast<unsigned char>(byte - 'A') < 26 ? 0x20 : 0));
  }
}

constexpr bool isOneOf(char32_t scalar, std::u32string_view scalars) noexcept { return scalars.contains(scalar); }

/// The vowels after which an upsilon is "u", and not "y". An accent between the two separates them.
constexpr std::u32string_view plainVowels = U"αειουΑΕΙΟΥ";
constexpr std::u32string_view upsilons = U"υΥύΎϋΫΰ";
/// The letters before which a gamma sounds like "n".
constexpr std::u32string_view velars = U"γκξχΓΚΞΧ";

constexpr bool isSmallKana(char32_t scalar) noexcept {
  return isOneOf(scalar, U"ぁぃぅぇぉゃゅょゎァィゥェォャュョヮヵヶ");
}
/// Whether the result of the sign depends on the syllable after it.
constexpr bool looksAhead(char32_t kana) noexcept { return isOneOf(kana, U"っんッン"); }

/// Repeats the ideograph before it, but is a letter and not an ideograph.
constexpr char32_t iteration = U'々';

/// Whether the ideograph has another reading before the scalar, or before the scalar behind a space.
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

/// A place at which the text can be divided, and the length of the result up to it. The results before and after the
/// place do not depend on each other. Words of one script stand on both sides, and no rule looks across the space
/// between them.
struct Cut {
  std::size_t text = 0;
  std::size_t result = 0;
};

/// The scalars before a place, as far as the result depends on them.
struct Context {
  SearchKind beforeLast = SearchKind::plain;
  SearchKind last = SearchKind::plain;
  char32_t lastScalar = 0;
  SearchKind lastLetter = SearchKind::plain;

  void advance(SearchKind kind, char32_t scalar) noexcept {
    beforeLast = std::exchange(last, kind);
    lastScalar = scalar;
    if (isLetter(kind)) lastLetter = kind;
  }

  /// Whether the text can be cut before the next scalar.
  [[nodiscard]] bool isCutBefore(SearchKind kind) const noexcept {
    return lastScalar == U' ' && beforeLast == kind && isLetter(kind) && kind != SearchKind::han;
  }
};

/// The kind and the result of a scalar, ASCII included.
SearchScalar scalarAt(char32_t scalar) {
  if (scalar >= 0x80) return detail::searchScalar(scalar);
  const char lowered = static_cast<char>(scalar - U'A' < 26 ? scalar | 0x20 : scalar);
  SearchKind kind = SearchKind::plain;
  if (isASCIILetter(scalar)) {
    kind = SearchKind::latin;
  } else if (scalar == U'~') {
    kind = SearchKind::latinOnly;
  } else if (isOneOf(scalar, U"([{")) {
    kind = SearchKind::opening;
  } else if (isOneOf(scalar, U".,:;?!)]}")) {
    kind = SearchKind::closing;
  }
  return {kind, {&lowered, 1}};
}

/// One run of the transform for searches over a text. Two passes take turns: one for Latin text, one for any other
/// script. Each begins at a cut. A piece with a scalar that the rules do not cover goes through ICU, from its cut to
/// the next one.
class SearchTransform {
 public:
  explicit SearchTransform(std::string_view text) : text_(text) {}

  std::optional<std::string> result() {
    while (at_ < text_.size()) {
      passLatin();
      if (at_ < text_.size() && !passOtherScripts()) return std::nullopt;
    }
    return std::move(result_);
  }

 private:
  /// Other scripts and signs in the piece since the last cut.
  enum Seen : std::uint8_t { otherScript = 1, latinOnly = 2, greek = 4, semicolon = 8, han = 16, sign = 32 };

  void passLatin();
  void goBackToCut(std::size_t asciiBegin);
  bool passOtherScripts();
  bool passPieceByICU();
  [[nodiscard]] std::size_t nextCut() const;

  bool append(SearchScalar scalar);
  bool appendSign(SearchScalar scalar);
  bool appendMark();
  bool appendLetter(SearchScalar scalar);
  bool appendGreek(std::string_view text);
  bool appendHangul(std::string_view text);
  bool appendKana(SearchScalar scalar);
  bool appendHan(std::string_view text);

  [[nodiscard]] char32_t scalar() const noexcept { return decoded_.scalar; }
  [[nodiscard]] char32_t next() const noexcept {
    const std::size_t after = at_ + decoded_.length;
    return after < text_.size() ? decodeScalar(text_, after).scalar : 0;
  }
  /// Notes one kind of content of the piece. Returns false if the piece also has a conflicting kind.
  bool note(Seen seen, unsigned conflicts) noexcept {
    seen_ |= seen;
    return (seen_ & conflicts) == 0;
  }
  [[nodiscard]] bool followsLetterOfAnotherKind(SearchKind kind) const noexcept {
    return (isLetter(context_.last) && context_.last != kind) || context_.last == SearchKind::mark ||
           context_.last == SearchKind::prolonged || context_.last == SearchKind::arabicSign;
  }

  const std::string_view text_;
  std::size_t at_ = 0;
  std::string result_;
  Cut cut_;
  DecodedScalar decoded_{};
  Context context_;
  unsigned seen_ = 0;
  /// Whether an opening sign directly follows a letter, and no letter follows it yet.
  bool hasOpeningAfterLetter_ = false;
  /// The bytes of the result that come from the Hangul syllables directly before the current place.
  std::size_t hangulLength_ = 0;
};

/// Transforms Latin letters and common signs. At any other scalar it stops and goes back to the last cut before that
/// scalar.
void SearchTransform::passLatin() {
  if (at_ == 0) result_.reserve(text_.size());
  cut_ = {at_, result_.size()};
  std::size_t asciiBegin = at_;
  bool dropsMarks = false;
  while (at_ < text_.size()) {
    if (static_cast<unsigned char>(text_[at_]) < 0x80) {
      asciiBegin = std::exchange(at_, detail::skipASCII(text_, at_));
      appendLowered(result_, text_.substr(asciiBegin, at_ - asciiBegin));
      const auto last = static_cast<unsigned char>(text_[at_ - 1]);
      dropsMarks = isASCIILetter(last) || isASCIIDigit(last);
      continue;
    }
    const DecodedScalar decoded = decodeScalar(text_, at_);
    const SearchScalar found = detail::searchScalar(decoded.scalar);
    const SearchKind kind = found.kind();
    const bool isMark = kind == SearchKind::mark;
    if (kind == SearchKind::unfit || kind > SearchKind::latin || (isMark && !dropsMarks) ||
        (kind > SearchKind::mark && kind < SearchKind::latin)) {
      return goBackToCut(asciiBegin);
    }
    if (!isMark) dropsMarks = kind == SearchKind::latin;
    result_.append(found.text());
    at_ += decoded.length;
    asciiBegin = at_;
  }
}

/// Goes back to the last place between two words of the ASCII text before the current place, or to the last cut.
void SearchTransform::goBackToCut(std::size_t asciiBegin) {
  for (std::size_t at = at_; at >= asciiBegin + 3; --at) {
    const char* end = text_.data() + at;
    if (isASCIILetter(static_cast<unsigned char>(end[-3])) && end[-2] == ' ' &&
        isASCIILetter(static_cast<unsigned char>(end[-1]))) {
      cut_ = {at - 1, result_.size() - (at_ - (at - 1))};
      break;
    }
  }
  at_ = cut_.text;
  result_.resize(cut_.result);
}

/// Transforms text of any script up to a cut in ASCII text.
bool SearchTransform::passOtherScripts() {
  context_ = {};
  seen_ = 0;
  hasOpeningAfterLetter_ = false;
  hangulLength_ = 0;
  while (at_ < text_.size()) {
    decoded_ = decodeScalar(text_, at_);
    const SearchScalar found = scalarAt(scalar());
    if (context_.isCutBefore(found.kind())) {
      cut_ = {at_, result_.size()};
      if (found.kind() == SearchKind::latin) return true;
      seen_ = 0;
    }
    if (!append(found)) return passPieceByICU();
    if (found.kind() != SearchKind::hangul) hangulLength_ = 0;
    context_.advance(found.kind(), scalar());
    at_ += decoded_.length;
  }
  return true;
}

bool SearchTransform::passPieceByICU() {
  const std::size_t end = nextCut();
  const auto piece = detail::transformedForSearchByICU(text_.substr(cut_.text, end - cut_.text));
  if (!piece) return false;
  result_.resize(cut_.result);
  result_ += *piece;
  at_ = end;
  return true;
}

std::size_t SearchTransform::nextCut() const {
  Context context;
  std::size_t at = at_;
  while (at < text_.size()) {
    const DecodedScalar decoded = decodeScalar(text_, at);
    const SearchKind kind = scalarAt(decoded.scalar).kind();
    if (context.isCutBefore(kind)) return at;
    context.advance(kind, decoded.scalar);
    at += decoded.length;
  }
  return at;
}

/// Appends the result of the current scalar. False if only ICU knows it.
bool SearchTransform::append(SearchScalar scalar) {
  return isLetter(scalar.kind()) ? appendLetter(scalar) : appendSign(scalar);
}

bool SearchTransform::appendSign(SearchScalar found) {
  const SearchKind last = context_.last;
  bool isFit = true;
  switch (found.kind()) {
    case SearchKind::plain:
    case SearchKind::closing:
      // In Greek text a semicolon is a question mark.
      if (scalar() == U';') isFit = note(semicolon, greek);
      break;
    case SearchKind::opening:
      if (last == SearchKind::han) {
        result_ += ' ';
      } else if (isLetter(last) || last == SearchKind::mark || last == SearchKind::prolonged) {
        hasOpeningAfterLetter_ = true;
      }
      break;
    case SearchKind::latinOnly:
      isFit = note(latinOnly, otherScript);
      break;
    case SearchKind::mark:
      return appendMark();
    case SearchKind::prolonged:
      isFit = isKana(last) || last == SearchKind::prolonged;
      break;
    case SearchKind::arabicSign:
      isFit = last == SearchKind::arabic;
      break;
    default:
      isFit = false;
  }
  result_.append(found.text());
  return isFit;
}

/// Drops the mark, or replaces the result of the Cyrillic letter before it by that of the composed letter.
bool SearchTransform::appendMark() {
  const SearchKind last = context_.last;
  if (last != SearchKind::cyrillic) {
    return last == SearchKind::latin || (last == SearchKind::mark && context_.beforeLast != SearchKind::cyrillic) ||
           isASCIIDigit(context_.lastScalar);
  }
  const SearchScalar base = detail::searchScalar(context_.lastScalar);
  const SearchScalar composed = detail::composedSearchScalar(context_.lastScalar, scalar());
  result_.resize(result_.size() - base.text().size());
  result_.append(composed.text());
  return composed.kind() == SearchKind::cyrillic && isASCIILetter(static_cast<unsigned char>(result_.back()));
}

bool SearchTransform::appendLetter(SearchScalar found) {
  const SearchKind kind = found.kind();
  if (kind != SearchKind::latin && !note(otherScript, latinOnly)) return false;
  if (kind == SearchKind::han) return appendHan(found.text());
  hasOpeningAfterLetter_ = false;
  if (kind == SearchKind::greek) return appendGreek(found.text());
  if (kind == SearchKind::hangul) return appendHangul(found.text());
  if (isKana(kind)) return appendKana(found);
  result_.append(found.text());
  // Letters that become signs, such as a Cyrillic hard sign, belong to the ideographs beside them.
  const auto isSign = [](char letter) { return !isASCIILetter(static_cast<unsigned char>(letter)); };
  return kind == SearchKind::latin || std::ranges::none_of(found.text(), isSign) || note(sign, han);
}

bool SearchTransform::appendGreek(std::string_view text) {
  if (followsLetterOfAnotherKind(SearchKind::greek) || !note(greek, semicolon)) return false;
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

bool SearchTransform::appendHangul(std::string_view text) {
  if (followsLetterOfAnotherKind(SearchKind::hangul)) return false;
  const std::size_t begin = result_.size();
  if (hangulLength_ > 0) {
    const std::size_t count = hangulLength_ < 3 ? hangulLength_ : 3;
    if (detail::needsHyphen(std::string_view(result_).substr(begin - count), scalar())) result_ += '-';
  }
  result_.append(text);
  hangulLength_ += result_.size() - begin;
  return true;
}

bool SearchTransform::appendKana(SearchScalar found) {
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
  const SearchScalar pair = detail::kanaPair(scalar(), after);
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

bool SearchTransform::appendHan(std::string_view text) {
  const SearchKind last = context_.last;
  if (!note(han, sign) || hasOpeningAfterLetter_ || last == SearchKind::mark || last == SearchKind::arabicSign ||
      hasOwnReadingBefore(scalar(), next())) {
    return false;
  }
  const bool followsIdeograph = last == SearchKind::han && context_.lastScalar != iteration;
  const bool followsLetter = isLetter(last) || last == SearchKind::prolonged;
  // The transform of katakana turns an ideographic stop into a full stop.
  const bool followsStop =
      last == SearchKind::closing || (context_.lastScalar == U'。' && context_.lastLetter == SearchKind::katakana);
  if (followsStop || (scalar() == iteration ? followsIdeograph : followsLetter)) result_ += ' ';
  result_.append(text);
  return true;
}

}  // namespace

std::optional<std::string> transformedForSearch(std::string_view text) { return SearchTransform(text).result(); }

}  // namespace Tessaly::inline v1::Text
