// SPDX-License-Identifier: MIT
#pragma once

#include <glib.h>

#include <algorithm>
#include <cstddef>
#include <string>
#include <utility>

namespace Tessaly::inline v1::detail {

// The positions in a text, and the parts of a text. As in GTK, positions count characters.

struct TextRange {
  int start = 0;
  int end = 0;
  friend bool operator==(const TextRange&, const TextRange&) noexcept = default;
};

/// A selection, from its fixed end to the cursor. Without a selection, both positions are equal.
struct TextSelection {
  int bound = 0;
  int cursor = 0;

  [[nodiscard]] bool isEmpty() const noexcept { return bound == cursor; }
  [[nodiscard]] TextRange range() const noexcept { return {std::min(bound, cursor), std::max(bound, cursor)}; }
  friend bool operator==(const TextSelection&, const TextSelection&) noexcept = default;
};

struct SelectedText {
  std::string text;
  TextSelection selection;
};

/// The text in front of a range, the text in the range, and the text after the range.
struct TextParts {
  std::string before;
  std::string within;
  std::string behind;
};

/// The part from one position to another. A negative `end` means the end of the text.
inline std::string partOf(const std::string& text, int start, int end) {
  const char* first = g_utf8_offset_to_pointer(text.c_str(), start);
  if (end < 0) return first;
  return std::string(first, static_cast<std::size_t>(g_utf8_offset_to_pointer(first, end - start) - first));
}

inline TextParts partsAround(const std::string& text, const TextRange& range) {
  return {partOf(text, 0, range.start), partOf(text, range.start, range.end), partOf(text, range.end, -1)};
}

/// The number of characters in the first bytes of a text.
inline int charactersIn(const std::string& text, std::size_t bytes) {
  return static_cast<int>(g_utf8_strlen(text.c_str(), static_cast<gssize>(bytes)));
}

/// The text up to its first zero byte. U+FFFD replaces bytes that are not UTF-8.
inline std::string validText(const std::string& text) {
  char* mended = g_utf8_make_valid(text.c_str(), -1);
  std::string result(mended);
  g_free(mended);
  return result;
}

/// A text as `validText` returns it, with the cursor at a byte position.
inline SelectedText withCursor(const std::string& text, std::size_t byte) {
  std::string valid = validText(text);
  const int cursor = charactersIn(valid, byte);
  return {std::move(valid), {cursor, cursor}};
}

/// A replacement that leads from one text to another: `inserted` replaces the range.
struct TextDifference {
  TextRange range;
  std::string inserted;
};

/// The smallest replacement that leads from one text to another. O(n).
inline TextDifference differenceBetween(const std::string& before, const std::string& after) {
  const char* from = before.c_str();
  const char* to = after.c_str();
  int start = 0;
  while (*from != 0 && g_utf8_get_char(from) == g_utf8_get_char(to)) {
    from = g_utf8_next_char(from);
    to = g_utf8_next_char(to);
    ++start;
  }
  const char* fromEnd = before.c_str() + before.size();
  const char* toEnd = after.c_str() + after.size();
  int end = charactersIn(before, before.size());
  while (fromEnd > from && toEnd > to) {
    const char* previousFrom = g_utf8_prev_char(fromEnd);
    const char* previousTo = g_utf8_prev_char(toEnd);
    if (g_utf8_get_char(previousFrom) != g_utf8_get_char(previousTo)) break;
    fromEnd = previousFrom;
    toEnd = previousTo;
    --end;
  }
  return {{start, end}, std::string(to, toEnd)};
}

}  // namespace Tessaly::inline v1::detail
