// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Text/detail/SearchTransform.hpp"

#include <cstddef>
#include <utility>

#include "Tessaly/Core/Text/StringTransform.hpp"
#include "Tessaly/Core/Text/UTF8.hpp"
#include "Tessaly/Core/Text/detail/ASCII.hpp"
#include "Tessaly/Core/Text/detail/SearchRun.hpp"

namespace Tessaly::inline v1::Text {
namespace detail {
namespace {

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

SearchScalar scalarAt(char32_t scalar) {
  if (scalar >= 0x80) return searchScalar(scalar);
  const char lowered = static_cast<char>(scalar - U'A' < 26 ? scalar | 0x20 : scalar);
  SearchKind kind = SearchKind::plain;
  if (isASCIILetter(scalar)) {
    kind = SearchKind::latin;
  } else if (scalar == U'~') {
    kind = SearchKind::latinOnly;
  } else if (std::u32string_view(U"([{").contains(scalar)) {
    kind = SearchKind::opening;
  } else if (std::u32string_view(U".,:;?!)]}").contains(scalar)) {
    kind = SearchKind::closing;
  }
  return {kind, {&lowered, 1}};
}

/// Transforms Latin letters and common signs. At any other scalar the pass stops and goes back to the last cut before
/// that scalar.
void SearchRun::passLatin() {
  if (at_ == 0) result_.reserve(text_.size());
  cut_ = {at_, result_.size()};
  std::size_t asciiBegin = at_;
  bool dropsMarks = false;
  while (at_ < text_.size()) {
    if (static_cast<unsigned char>(text_[at_]) < 0x80) {
      asciiBegin = std::exchange(at_, skipASCII(text_, at_));
      appendLowered(result_, text_.substr(asciiBegin, at_ - asciiBegin));
      const auto last = static_cast<unsigned char>(text_[at_ - 1]);
      dropsMarks = isASCIILetter(last) || isASCIIDigit(last);
      continue;
    }
    const DecodedScalar decoded = decodeScalar(text_, at_);
    const SearchScalar found = searchScalar(decoded.scalar);
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
void SearchRun::goBackToCut(std::size_t asciiBegin) {
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

/// Transforms text of any script up to a cut before a Latin letter, or up to the end of a piece that needs ICU.
bool SearchRun::passOtherScripts() {
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
    context_.advance(found, scalar());
    at_ += decoded_.length;
  }
  return true;
}

bool SearchRun::passPieceByICU() {
  const std::size_t end = nextCut();
  const auto piece = transformedForSearchByICU(text_.substr(cut_.text, end - cut_.text));
  if (!piece) return false;
  result_.resize(cut_.result);
  result_ += *piece;
  at_ = end;
  return true;
}

std::size_t SearchRun::nextCut() const {
  SearchContext context;
  std::size_t at = at_;
  while (at < text_.size()) {
    const DecodedScalar decoded = decodeScalar(text_, at);
    const SearchScalar found = scalarAt(decoded.scalar);
    if (context.isCutBefore(found.kind())) return at;
    context.advance(found, decoded.scalar);
    at += decoded.length;
  }
  return at;
}

}  // namespace detail

std::optional<std::string> transformedForSearch(std::string_view text) { return detail::SearchRun(text).result(); }

}  // namespace Tessaly::inline v1::Text
