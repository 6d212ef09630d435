// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "Tessaly/Core/Text/UTF8.hpp"
#include "Tessaly/Core/Text/detail/SearchScalars.hpp"

namespace Tessaly::inline v1::Text::detail {

constexpr bool isASCIILetter(char32_t scalar) noexcept { return ((scalar | 0x20) - U'a') < 26; }
constexpr bool isASCIIDigit(char32_t scalar) noexcept { return (scalar - U'0') < 10; }

/// A place at which the text can be divided, and the length of the result up to that place. The results before and
/// after the place do not depend on each other. The place follows a space between two words of the same script, and no
/// rule looks across that space.
struct SearchCut {
  std::size_t text = 0;
  std::size_t result = 0;
};

/// A summary of the scalars before a place in the text. The result of the text after that place may depend on this
/// summary.
struct SearchContext {
  SearchKind beforeLast = SearchKind::plain;
  SearchKind last = SearchKind::plain;
  char32_t lastScalar = 0;
  SearchKind lastLetter = SearchKind::plain;

  /// `beforeLastEndsInLetter` says whether the result of the second to last scalar ends in a Latin letter.
  /// `lastEndsInLetter` says the same for the last scalar.
  bool beforeLastEndsInLetter = false;
  bool lastEndsInLetter = false;

  void advance(SearchScalar found, char32_t scalar) noexcept {
    beforeLast = std::exchange(last, found.kind());
    lastScalar = scalar;
    if (isLetter(last)) lastLetter = last;
    beforeLastEndsInLetter = std::exchange(
        lastEndsInLetter, !found.text().empty() && isASCIILetter(static_cast<unsigned char>(found.text().back())));
  }

  /// Whether the text can be cut before the next scalar, which has the given kind. The rules for the text after a cut
  /// may look back into the result before the cut. They look past signs, but never past a Latin letter. So the last
  /// scalar before a cut must be a space, and the result before that space must end in a Latin letter.
  [[nodiscard]] bool isCutBefore(SearchKind kind) const noexcept {
    return lastScalar == U' ' && beforeLast == kind && beforeLastEndsInLetter && isLetter(kind) && !isHan(kind);
  }
};

/// The kind and the result of a scalar. This function has its own rules for ASCII scalars. For any other scalar it
/// calls `searchScalar`.
[[nodiscard]] SearchScalar scalarAt(char32_t scalar);

/// One run of the search transform on one text. Two passes alternate: one for Latin text, and one for text of any
/// script. Each pass begins at a cut. If the rules do not cover a scalar, ICU transforms the piece from the cut before
/// the scalar to the next cut.
class SearchRun {
 public:
  explicit SearchRun(std::string_view text) : text_(text) {}

  std::optional<std::string> result() {
    while (at_ < text_.size()) {
      passLatin();
      if (at_ < text_.size() && !passOtherScripts()) return std::nullopt;
    }
    return std::move(result_);
  }

 private:
  /// The kinds of content that the piece since the last cut contains.
  enum Seen : std::uint8_t { otherScript = 1, latinOnly = 2, greek = 4, semicolon = 8, han = 16, sign = 32 };

  void passLatin();
  void goBackToCut(std::size_t asciiBegin);
  bool passOtherScripts();
  bool passPieceByICU();
  [[nodiscard]] std::size_t nextCut() const;

  bool append(SearchScalar scalar);
  bool appendSign(SearchScalar scalar);
  void noteOpening();
  bool appendSignBesideHan(SearchScalar found);
  bool appendMark();
  bool appendLetter(SearchScalar scalar);
  bool appendGreek();
  void composeGreek();
  bool appendHangul(std::string_view text);
  bool appendKana(SearchScalar scalar);
  bool appendHan(SearchScalar found);
  [[nodiscard]] bool followsStop() const noexcept;

  [[nodiscard]] char32_t scalar() const noexcept { return decoded_.scalar; }
  [[nodiscard]] char32_t next() const noexcept {
    const std::size_t after = at_ + decoded_.length;
    return after < text_.size() ? decodeScalar(text_, after).scalar : 0;
  }
  /// Records one kind of content of the piece. Returns false if the piece also has a conflicting kind.
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
  SearchCut cut_;
  DecodedScalar decoded_{};
  SearchContext context_;
  unsigned seen_ = 0;
  /// Whether an opening sign directly follows a letter, and no letter follows the sign yet.
  bool hasOpeningAfterLetter_ = false;
  /// The number of bytes of the result that come from the Hangul syllables directly before the current place.
  std::size_t hangulLength_ = 0;
};

}  // namespace Tessaly::inline v1::Text::detail
